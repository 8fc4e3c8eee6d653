#include "log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <regex>

#include "log_names.h"

namespace zolt::test {

namespace {

std::mutex mutex;
std::vector<LogCapture::Line> captured;

// Only the list of a thread's groups goes without a prefix.
std::smatch splitAtPrefix(const std::string& text) {
  static const std::regex prefix("@([A-Za-z0-9_~+]+):[0-9]+ ");
  std::smatch match;
  if (!std::regex_search(text, match, prefix, std::regex_constants::match_continuous)) {
    EXPECT_NE(text.find("(dump group ids):"), std::string::npos) << "no prefix: " << text;
  }
  return match;
}

// The name in a line is that of the message, whichever helper it is logged in.
void expectItsName(const std::string& text) {
  const std::smatch match = splitAtPrefix(text);
  if (match.empty()) return;
  const std::vector<std::string> names = namesOf(match.suffix());
  EXPECT_NE(std::ranges::find(names, match[1].str()), names.end()) << text;
}

}  // namespace

LogCapture::LogCapture(int threshold) : saved_(logger2::currentLevel) {
  const std::scoped_lock lock(mutex);
  captured.clear();
  logger2::currentLevel = threshold;
}

LogCapture::~LogCapture() {
  logger2::currentLevel = saved_;
}

std::string LogCapture::Line::function() const {
  return splitAtPrefix(text)[1];
}

std::string LogCapture::Line::body() const {
  const std::smatch match = splitAtPrefix(text);
  return match.empty() ? text : match.suffix().str();
}

std::vector<LogCapture::Line> LogCapture::lines() const {
  const std::scoped_lock lock(mutex);
  return captured;
}

std::vector<std::string> LogCapture::bodies(LOG_LEVEL level) const {
  std::vector<std::string> found;
  for (const Line& line : lines()) {
    if (line.level == level) found.push_back(line.body());
  }
  return found;
}

bool LogCapture::has(LOG_LEVEL level, const std::string& body) const {
  const auto found = bodies(level);
  return std::find(found.begin(), found.end(), body) != found.end();
}

std::string LogCapture::all() const {
  std::string text;
  for (const Line& line : lines())
    text += std::to_string(line.level) + " " + line.text + "\n";
  return text;
}

}  // namespace zolt::test

// The delivery that the library proper makes to Java.
void zolt::logger2::log(const std::string& text, LOG_LEVEL level) {
  test::expectItsName(text);
  const std::scoped_lock lock(test::mutex);
  test::captured.push_back({level, text});
}
