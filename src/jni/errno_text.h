// errno in words, and errno kept: the two small things every layer needs around a system call.
#pragma once

#include <cerrno>
#include <string>

namespace zolt {

/// The C library's text for an errno value, safe on any number of threads (strerror_r(3), GNU
/// form).
std::string errnoText(int error);

/// Restores errno at the end of the scope, so that what runs in between (a close, a log line)
/// cannot change what a failed system call left there.
class ErrnoKeeper {
 public:
  ErrnoKeeper() noexcept : saved_(errno) {}
  ~ErrnoKeeper() { errno = saved_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  int saved_;
};

}  // namespace zolt
