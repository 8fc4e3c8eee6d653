#include "base/logger2.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>

#include "log_capture.h"

namespace zolt {
namespace {

using test::LogCapture;

void speakAtEveryLevel() {
  ZOLT_TRACE("t");
  ZOLT_DEBUG("d");
  ZOLT_INFO("i");
  ZOLT_WARN("w");
  ZOLT_ERROR("e");
}

TEST(Logger2, ASiteSpeaksAtItsLevelAndAbove) {
  for (int threshold = LOG_TRACE; threshold <= LOG_OFF; ++threshold) {
    const LogCapture log(threshold);
    speakAtEveryLevel();
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), static_cast<size_t>(LOG_OFF - threshold));
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_EQ(static_cast<int>(lines[i].level), threshold + static_cast<int>(i));
    }
  }
}

TEST(Logger2, TheLineHasFunctionLineNumberAndText) {
  const LogCapture log;
  const int line = __LINE__ + 1;
  ZOLT_WARN("value " << 7 << " of " << std::string("x"));
  EXPECT_EQ(log.lines().at(0).text, "@TestBody:" + std::to_string(line) + " value 7 of x");
}

TEST(Logger2, NothingIsEvaluatedBelowTheThreshold) {
  const LogCapture log(LOG_OFF);
  int evaluated = 0;
  ZOLT_ERROR(++evaluated);
  EXPECT_EQ(evaluated, 0);
}

TEST(Logger2, ALineLeavesErrnoAlone) {
  const LogCapture log;
  errno = EACCES;
  ZOLT_ERROR("x" << (errno = 0));
  EXPECT_EQ(errno, EACCES);
}

struct Unprintable {};
std::ostream& operator<<(std::ostream& out, const Unprintable& /*unused*/) {
  throw std::bad_alloc();
  return out;
}

TEST(Logger2, ALineThatCannotBeBuiltIsLostAndHarmsNothing) {
  const LogCapture log;
  EXPECT_NO_THROW(ZOLT_ERROR("x" << Unprintable{}));
  EXPECT_TRUE(log.lines().empty());
}

TEST(Logger2, ASiteIsOneStatement) {
  const LogCapture log;
  if (log.lines().empty())
    ZOLT_WARN("first");
  else
    ZOLT_WARN("second");
  EXPECT_TRUE(log.has(LOG_WARN, "first"));
}

}  // namespace
}  // namespace zolt
