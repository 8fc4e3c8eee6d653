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
  UniqueFd() = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const noexcept { return fd_; }

  int release() noexcept { return std::exchange(fd_, -1); }

  void reset(int fd = -1) noexcept {
    const ErrnoKeeper keeper;
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace zolt
