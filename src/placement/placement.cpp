#include "placement/placement.h"

#include <cerrno>

#include "base/io_exception.h"
#include "base/logger2.h"
#include "base/unique_fd.h"
#include "placement/replication.h"

namespace zolt {

namespace {

constexpr const char* REPLICATION = ZOLT_NATIVE(setReplication);
constexpr const char* SET_BGF = ZOLT_NATIVE(setBGF);

template <class... Pieces>
[[noreturn, gnu::cold]] void fail(Errno error, const Pieces&... pieces) {
  throw IOException(joined("", pieces...), error.value());
}

// A file open for the length of a scope. One that got descriptor 0 stays open, deliberately.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path) {
    if (const Errno error = openToRead(path.c_str(), 0, file_)) {
      fail(error, "failed to open ", path);
    }
  }
  ~OpenFile() {
    if (file_.get() == 0) file_.release();
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int fd() const { return file_.get(); }

 private:
  UniqueFd file_;
};

}  // namespace

void changeReplication(const std::string& path, short replication, bool restripe) try {
  ZOLT_TRACE_AS(REPLICATION, path << " replication " << replication);
  const OpenFile file(path);
  if (setReplication(file.fd(), replication) != 0) {
    fail(Errno::ofFailure(), "failed to set replication for ", path);
  }
  if (restripe && restripeFile(file.fd()) != 0) {
    fail(Errno::ofFailure(), "failed to restripe file ", path);
  }
} catch (const IOException& error) {
  ZOLT_ERROR_AS(REPLICATION, error.what());
  throw;
}

void changeBGF(const std::string& path, int bgf) try {
  if (bgf < 1 || bgf > LARGEST_BGF) fail(Errno(EINVAL), "Invalid BGF(", bgf, ")");
  const OpenFile file(path);
  if (setBGF(file.fd(), bgf) < 0) {
    fail(Errno::ofFailure(), "Failed to set BGF(", bgf, ") for ", path);
  }
} catch (const IOException& error) {
  ZOLT_ERROR_AS(SET_BGF, error.what());
  throw;
}

}  // namespace zolt
