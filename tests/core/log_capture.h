// The logger of the core tests: what reaches logger2::log is kept, line by line.
#pragma once

#include <string>
#include <vector>

#include "base/logger2.h"

namespace zolt::test {

/// For its lifetime, sets the threshold and collects the lines that pass it. Lines of other threads
/// are collected too. One at a time.
class LogCapture {
 public:
  explicit LogCapture(int threshold = LOG_TRACE);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  struct Line {
    LOG_LEVEL level;
    std::string text;  // "@function:line body" as the logger gets it

    // A line of another form is a failure of the test.
    std::string function() const;
    std::string body() const;
  };
  std::vector<Line> lines() const;

  /// The bodies of the lines of that level, without "@function:line ".
  std::vector<std::string> bodies(LOG_LEVEL level) const;

  /// True when a line of that level has exactly that body.
  bool has(LOG_LEVEL level, const std::string& body) const;

  /// All lines, for a failed expectation's message.
  std::string all() const;

 private:
  int saved_;
};

}  // namespace zolt::test
