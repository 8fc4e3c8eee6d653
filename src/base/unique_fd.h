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

/// What `opens` opens for reading with the flags that it is given; the descriptor, or -1 with
/// errno.
///
/// A terminal does not become the process's own, and a FIFO is not waited for: both may lie in the
/// namespace. A lease that another process has taken on the file and has to give back first
/// (fcntl(2), F_SETLEASE; file servers take them) is waited for, as a plain open does.
template <class Opens>
UniqueFd openedToRead(Opens opens, int flags) noexcept {
  const int all = O_RDONLY | O_CLOEXEC | O_NOCTTY | flags;
  int fd = opens(all | O_NONBLOCK);
  if (fd < 0 && errno == EAGAIN) fd = opens(all);
  return UniqueFd(fd);
}

/// open(2) to read, with the flags given beside.
inline UniqueFd openToRead(const char* path, int flags = 0) noexcept {
  return openedToRead([path](int all) { return open(path, all); }, flags);
}

/// openat(2) to read: for a path relative to a directory that is held open.
inline UniqueFd openToReadAt(int directory, const char* path, int flags) noexcept {
  return openedToRead([=](int all) { return openat(directory, path, all); }, flags);
}

}  // namespace zolt
