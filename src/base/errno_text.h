// errno in words, taken and kept: the small things every layer needs around a system call.
#pragma once

#include <array>
#include <cerrno>

namespace zolt {

/// The C library's text for an errno value, safe on any number of threads (strerror_r(3), GNU
/// form), for the length of a scope.
class ErrnoText {
 public:
  explicit ErrnoText(int error);
  ErrnoText(const ErrnoText&) = delete;
  ErrnoText& operator=(const ErrnoText&) = delete;

  const char* c_str() const { return text_; }

 private:
  std::array<char, 512> buffer_;  // for what the C library has no text of its own for
  const char* text_;
};

/// The errno of a call that has just failed, and EIO where it left none: no failure may ever pass
/// for success.
inline int errnoOfFailure() noexcept {
  return errno != 0 ? errno : EIO;
}

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
