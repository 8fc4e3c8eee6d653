// The library's own exception: a text and an errno-style code. It travels between the core and the
// native boundary (native.h) and never crosses into Java as a C++ exception.
#pragma once

#include <exception>
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

}  // namespace zolt
