#include "settings.h"

#include <cstdlib>

#include "environment.h"

namespace zolt_cephfs {

namespace {

std::string textFrom(const char* variable) {
  const char* text = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read once
  return text != nullptr ? text : "";
}

Settings fromEnvironment() {
  using zolt_client::numberFrom;
  return {textFrom("ZOLT_CEPHFS_ID"),
          std::chrono::seconds(numberFrom("ZOLT_CEPHFS_TIMEOUT", 600, 5)),
          std::chrono::milliseconds(numberFrom("ZOLT_CEPHFS_FRESH", 60000, 1000)),
          textFrom("ZOLT_CEPHFS_LOG")};
}

}  // namespace

// Never destroyed: a thread may ask while the process ends.
const Settings& settings() {
  static const Settings& theSettings = *new Settings(fromEnvironment());
  return theSettings;
}

}  // namespace zolt_cephfs
