#include "placement/placement.h"

#include <cerrno>

#include "base/io_exception.h"
#include "base/logger2.h"
#include "base/unique_fd.h"
#include "placement/replication.h"

namespace zolt {

namespace {

constexpr const char* REPLICATION = ZOLT_NATIVE(setReplication);
constexpr const char* BGF = ZOLT_NATIVE(setBGF);

// With errno as the failed call left it: making the text must not change it.
template <class... Pieces>
[[noreturn, gnu::cold]] void fail(const Pieces&... pieces) {
  const int error = errnoOfFailure();
  throw IOException(joined("", pieces...), error);
}

// A file open for the length of a scope. One that got descriptor 0 stays open, deliberately.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path) : fd_(openToRead(path.c_str())) {
    if (fd_.get() < 0) fail("failed to open ", path);
  }
  ~OpenFile() {
    if (fd_.get() == 0) fd_.release();
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int fd() const { return fd_.get(); }

 private:
  UniqueFd fd_;
};

}  // namespace

void setReplication(const std::string& path, short replication, bool restripe) try {
  ZOLT_TRACE_AS(REPLICATION, path << " replication " << replication);
  const OpenFile file(path);
  if (setReplication(file.fd(), replication) != 0) fail("failed to set replication for ", path);
  if (restripe && restripeFile(file.fd()) != 0) fail("failed to restripe file ", path);
} catch (const IOException& error) {
  ZOLT_ERROR_AS(REPLICATION, error.what());
  throw;
}

void setBGF(const std::string& path, int bgf) try {
  if (bgf < 1 || bgf > LARGEST_BGF) {
    errno = EINVAL;
    fail("Invalid BGF(", bgf, ")");
  }
  const OpenFile file(path);
  if (setBGF(file.fd(), bgf) < 0) fail("Failed to set BGF(", bgf, ") for ", path);
} catch (const IOException& error) {
  ZOLT_ERROR_AS(BGF, error.what());
  throw;
}

}  // namespace zolt
