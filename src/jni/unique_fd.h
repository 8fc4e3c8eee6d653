// An open file descriptor and its owner.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "jni/errno_text.h"

namespace zolt {

/// The flags with which the library opens what a path names. The last three change nothing for a
/// file or a directory, but opening a FIFO must not wait for its writer, nor a terminal become the
/// process's own.
inline constexpr int OPEN_READ = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

/// Closes its descriptor, if it is one (not negative), and keeps errno.
class UniqueFd {
 public:
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  ~UniqueFd() {
    const ErrnoKeeper keeper;
    if (fd_ >= 0) close(fd_);
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const noexcept { return fd_; }

  int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace zolt
