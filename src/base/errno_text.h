// errno in words, taken and kept: the small things every layer needs around a system call.
#pragma once

#include <sys/types.h>

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

/// What a function of the library's own answers when it can fail: an errno value, or none. It
/// reads "if (const Errno error = ...)". What has words of its own to say: Failure, IOException.
class [[nodiscard]] Errno {
 public:
  constexpr Errno() noexcept = default;  // nothing failed
  constexpr explicit Errno(int value) noexcept : value_(value) {}

  /// That of a system call, or of the client's, that has just failed.
  static Errno ofFailure() noexcept { return Errno(errnoOfFailure()); }

  /// Of an answer in which failures are minus the errno value.
  static constexpr Errno ofNegative(ssize_t answer) noexcept {
    return Errno(answer < 0 ? static_cast<int>(-answer) : 0);
  }

  /// Whether something failed.
  constexpr explicit operator bool() const noexcept { return value_ != 0; }

  /// The errno value; 0 where nothing failed.
  constexpr int value() const noexcept { return value_; }

  /// The form of a system call's answer: 0, or -1 with errno.
  int asSystemCall() const noexcept {
    if (value_ == 0) return 0;
    errno = value_;
    return -1;
  }

  friend constexpr bool operator==(Errno a, Errno b) noexcept = default;
  friend constexpr bool operator==(Errno error, int value) noexcept {
    return error.value_ == value;
  }

 private:
  int value_ = 0;
};

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
