// An open file descriptor and its owner.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/errno_text.h"

namespace zolt {

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

/// Opens what a path names for reading, with the flags given beside; the descriptor, or -1 with
/// errno.
///
/// A terminal does not become the process's own, and a FIFO is not waited for: both may lie in the
/// namespace. A lease that another process has taken on the file and has to give back first
/// (fcntl(2), F_SETLEASE; file servers take them) is waited for, as a plain open does.
inline UniqueFd openToReadAt(int directory, const char* path, int flags) noexcept {
  const int all = O_RDONLY | O_CLOEXEC | O_NOCTTY | flags;
  int fd = openat(directory, path, all | O_NONBLOCK);
  if (fd < 0 && errno == EAGAIN) fd = openat(directory, path, all);
  return UniqueFd(fd);
}

inline UniqueFd openToRead(const char* path, int flags = 0) noexcept {
  return openToReadAt(AT_FDCWD, path, flags);
}

}  // namespace zolt
