#include "placement/placement.h"

#include <cerrno>

#include "base/logger2.h"
#include "base/unique_fd.h"
#include "placement/replication.h"

namespace zolt {

namespace {

constexpr const char* REPLICATION = ZOLT_NATIVE(setReplication);
constexpr const char* SET_BGF = ZOLT_NATIVE(setBGF);

// Logged for the native, and answered.
template <class... Pieces>
[[gnu::cold]] Failure failed(const char* native, Errno error, const Pieces&... pieces) {
  IOException exception(joined("", pieces...), error.value());
  ZOLT_ERROR_AS(native, exception.what());
  return exception;
}

// A file open for the length of a scope. One that got descriptor 0 stays open, deliberately.
class OpenFile {
 public:
  OpenFile() = default;
  ~OpenFile() {
    if (file_.get() == 0) file_.release();
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  Errno open(const std::string& path) { return openToRead(path.c_str(), 0, file_); }
  int fd() const { return file_.get(); }

 private:
  UniqueFd file_;
};

}  // namespace

Failure changeReplication(const std::string& path, short replication, bool restripe) {
  ZOLT_TRACE_AS(REPLICATION, path << " replication " << replication);
  OpenFile file;
  if (const Errno error = file.open(path)) {
    return failed(REPLICATION, error, "failed to open ", path);
  }
  if (setReplication(file.fd(), replication) != 0) {
    return failed(REPLICATION, Errno::ofFailure(), "failed to set replication for ", path);
  }
  if (restripe && restripeFile(file.fd()) != 0) {
    return failed(REPLICATION, Errno::ofFailure(), "failed to restripe file ", path);
  }
  return {};
}

Failure changeBGF(const std::string& path, int bgf) {
  if (bgf < 1 || bgf > LARGEST_BGF) {
    return failed(SET_BGF, Errno(EINVAL), "Invalid BGF(", bgf, ")");
  }
  OpenFile file;
  if (const Errno error = file.open(path)) return failed(SET_BGF, error, "failed to open ", path);
  if (setBGF(file.fd(), bgf) < 0) {
    return failed(SET_BGF, Errno::ofFailure(), "Failed to set BGF(", bgf, ") for ", path);
  }
  return {};
}

}  // namespace zolt
