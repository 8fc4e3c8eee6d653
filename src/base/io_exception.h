// The library's own exception: a text and an errno-style code. It travels between the core and the
// native boundary (native.h), thrown or answered, and never crosses into Java as a C++ exception.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace zolt {

class IOException : public std::exception {
 public:
  /// `error` is an errno value, or 0 where the message says everything.
  IOException(std::string message, int error) : message_(std::move(message)), error_(error) {}

  const char* what() const noexcept override { return message_.c_str(); }
  int code() const noexcept { return error_; }

  /// The message ("null" for a subclass whose what() answers none) + " errno:" + code + " " + the
  /// system's text for it.
  std::string detail() const;

 private:
  std::string message_;
  int error_;
};

/// What a function answers that can fail with words of its own: the IOException, or none. It reads
/// "if (const Failure failure = ...)". A request that fails is everyday life, and to throw takes
/// longer than the system calls that it came from.
class [[nodiscard]] Failure : public std::optional<IOException> {
 public:
  using std::optional<IOException>::optional;

  void orThrow() const {
    if (has_value()) throw IOException((*this)->what(), (*this)->code());
  }
};

}  // namespace zolt
