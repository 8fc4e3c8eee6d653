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
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  ~UniqueFd() {
    const ErrnoKeeper keeper;
    if (fd_ >= 0) close(fd_);
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const noexcept { return fd_; }

  int release() noexcept { return std::exchange(fd_, -1); }

  /// Owns the descriptor that `open(flags)` answers, where it owns none yet.
  template <class Open>
  Errno openToRead(int flags, const Open& open) noexcept {
    const int all = O_RDONLY | O_CLOEXEC | O_NOCTTY | flags;
    fd_ = open(all | O_NONBLOCK);
    if (fd_ < 0 && errno == EAGAIN) fd_ = open(all);
    return fd_ < 0 ? Errno::ofFailure() : Errno();
  }

 private:
  int fd_ = -1;
};

/// Opens what a path names for reading, with the flags given beside. `file` must own nothing yet.
///
/// A terminal does not become the process's own, and a FIFO is not waited for: both may lie in the
/// namespace. A lease that another process has taken on the file and has to give back first
/// (fcntl(2), F_SETLEASE; file servers take them) is waited for, as a plain open does.
inline Errno openToRead(const char* path, int flags, UniqueFd& file) noexcept {
  return file.openToRead(flags, [path](int all) { return open(path, all); });
}

/// The same, from an open directory (openat(2)).
inline Errno openToReadAt(int directory, const char* path, int flags, UniqueFd& file) noexcept {
  return file.openToRead(flags, [=](int all) { return openat(directory, path, all); });
}

}  // namespace zolt
