#include "base/settings.h"

#include "base/logger2.h"

namespace zolt {

namespace {

constexpr const char* DEFAULTS = ZOLT_NATIVE(setDefaultBlockSizeReplication);

}  // namespace

uint64_t defaultBlockSize = 0;
int defaultReplication = 1;
constinit std::atomic<bool> alwaysSuper{false};

void setDefaultBlockSizeReplication(int64_t blockSize, int replication) {
  if (blockSize > 0) {
    defaultBlockSize = static_cast<uint64_t>(blockSize);
  } else {
    ZOLT_WARN_AS(DEFAULTS, "Invalid default blocksize " << blockSize);
  }
  if (replication > 0) {
    defaultReplication = replication;
  } else {
    ZOLT_WARN_AS(DEFAULTS, "Invalid default replication " << replication);
  }
}

}  // namespace zolt
