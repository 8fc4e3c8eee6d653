#include "xattr/lease.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "faults.h"
#include "log_capture.h"
#include "temp_dir.h"
#include "xattr/xattr.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

// The clock: seconds in thousands, and the microseconds on top of them.
static_assert(leaseClock({0, 0}) == 0);
static_assert(leaseClock({10, 999'999'000}) == 1'009'999);
static_assert(leaseClock({11, 0}) == 11'000);
static_assert(leaseClock({7, 500'000'000}) - leaseClock({7, 0}) == 500'000);
static_assert(leaseClock({1, 999}) == 1'000);
static_assert(leaseClock({1, 1'000}) == 1'001);
static_assert(leaseClock({1, 1'999}) == 1'001);
static_assert(leaseClock({1'700'000'000, 999'999'999}) == 1'700'000'999'999);
static_assert(leaseClock({-1, 0}) == -1'000);
// No overflow, which a constant expression would not survive.
static_assert(leaseClock({LONG_MAX, 999'999'999}) == -1'000 + 999'999);
static_assert(leaseAge(5, 3) == 2);
static_assert(leaseAge(11'000, 1'009'999) == -998'999);
static_assert(leaseAge(INT64_MIN, 1) == INT64_MAX);
static_assert(leaseAge(INT64_MAX, -1) == INT64_MIN);

struct LeaseTest : ::testing::Test {
  ~LeaseTest() override { zolt_fault_clear(); }

  // The bytes of an attribute, or "none".
  std::string attribute(const char* name) const {
    char value[256];
    const ssize_t length = getxattr(file.c_str(), name, value, sizeof value);
    return length < 0 ? "none" : std::string(value, static_cast<size_t>(length));
  }
  std::string holder() const { return attribute("user.lease.holder"); }
  std::string update() const { return attribute("user.lease.update"); }

  void put(const char* name, const std::string& value) const {
    ASSERT_EQ(setxattr(file.c_str(), name, value.data(), value.size(), 0), 0) << errno;
  }

  static std::string stamp(int64_t clock) {
    std::string bytes(8, '\0');
    std::memcpy(bytes.data(), &clock, 8);
    return bytes;
  }

  // A failure in one line: "17 setxattr user.lease.holder", or "" for none.
  static std::string text(const XattrError& failed) {
    if (!failed) return "";
    return std::to_string(failed.error.value()) + " " + failed.operation + " " + failed.name;
  }

  static XattrError setLease(const char* path, bool follow, const std::string& who, int64_t now) {
    int givenBack = 0;
    const XattrError failed = zolt::setLease(path, follow, who, now, [&] { ++givenBack; });
    EXPECT_EQ(givenBack, 1);
    return failed;
  }
  std::string set(const std::string& who, int64_t now) const {
    return text(setLease(file.c_str(), true, who, now));
  }

  // What a read answers.
  struct LeaseRead {
    XattrError failure;
    XattrValue holder;
  };
  static LeaseRead getLease(const char* path, bool follow, int size, int64_t limit, int64_t now) {
    LeaseRead lease;
    lease.failure = zolt::getLease(path, follow, size, limit, now, lease.holder);
    return lease;
  }

  // What a read finds: the holder in brackets, the failure, or "expired".
  std::string get(int size, int64_t limit, int64_t now) const {
    const LeaseRead lease = getLease(file.c_str(), true, size, limit, now);
    const char* bytes = lease.holder.bytes.get();
    if (lease.failure) {
      EXPECT_EQ(bytes, nullptr);
      return text(lease.failure);
    }
    if (bytes == nullptr) return "expired";
    return "[" + std::string(bytes, static_cast<size_t>(lease.holder.length)) + "]";
  }

  TempDir dir;
  const std::string file = dir.file("file");
};

TEST_F(LeaseTest, TheClockIsTheRealTime) {
  const timespec late{10, 999'999'999};
  zolt_fault_realtime(&late);
  int64_t now = 0;
  EXPECT_EQ(readLeaseClock(now), 0);
  EXPECT_EQ(now, 1'009'999);

  zolt_fault_clear();
  timespec before{};
  timespec after{};
  do {  // within one second the clock only rises
    clock_gettime(CLOCK_REALTIME, &before);
    EXPECT_EQ(readLeaseClock(now), 0);
    clock_gettime(CLOCK_REALTIME, &after);
  } while (before.tv_sec != after.tv_sec);
  EXPECT_LE(leaseClock(before), now);
  EXPECT_LE(now, leaseClock(after));
}

TEST_F(LeaseTest, AClockThatCannotBeReadIsItsErrno) {
  zolt_fault_arm("clock_gettime", 1, 1, EFAULT);
  int64_t now = 0;
  EXPECT_EQ(readLeaseClock(now), EFAULT);
}

TEST_F(LeaseTest, ALeaseIsTheHoldersBytesAndEightBytesOfClock) {
  const std::string who("a\0\xff", 3);
  EXPECT_EQ(set(who, 0x0102030405060708), "");
  EXPECT_EQ(holder(), who);
  EXPECT_EQ(update(), stamp(0x0102030405060708));
}

TEST_F(LeaseTest, AHolderMayBeEmpty) {
  EXPECT_EQ(set("", 5), "");
  EXPECT_EQ(holder(), "");
  EXPECT_EQ(get(16, 0, 5), "[]");
  EXPECT_EQ(set("me", 6), "17 setxattr user.lease.holder");
}

TEST_F(LeaseTest, ASecondSetterIsRefusedAndChangesNothing) {
  EXPECT_EQ(set("first", 5), "");
  EXPECT_EQ(set("second", 6), "17 setxattr user.lease.holder");
  EXPECT_EQ(holder(), "first");
  EXPECT_EQ(update(), stamp(5));
}

TEST_F(LeaseTest, AnUpdateWithoutAHolderBlocksALease) {
  put("user.lease.update", "stale");
  EXPECT_EQ(set("me", 5), "17 setxattr user.lease.update");
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), "stale");
}

TEST_F(LeaseTest, AHolderThatCannotBeWrittenEndsTheSet) {
  zolt_fault_arm("setxattr", 1, 1, ENOSPC);
  EXPECT_EQ(set("me", 5), "28 setxattr user.lease.holder");
  EXPECT_EQ(zolt_fault_calls("setxattr"), 1);
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), "none");
}

TEST_F(LeaseTest, AnUpdateThatCannotBeWrittenTakesTheHolderBack) {
  zolt_fault_arm("setxattr", 2, 2, ENOSPC);
  EXPECT_EQ(set("me", 5), "28 setxattr user.lease.update");
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), "none");
}

TEST_F(LeaseTest, TheHolderIsTakenBackAsItWasWritten) {
  for (const bool follow : {true, false}) {
    zolt_fault_arm(follow ? "setxattr" : "lsetxattr", 2, 2, ENOSPC);
    zolt_fault_arm("removexattr", 0, 0, 0);
    zolt_fault_arm("lremovexattr", 0, 0, 0);
    EXPECT_EQ(text(setLease(file.c_str(), follow, "me", 5)), "28 setxattr user.lease.update");
    EXPECT_EQ(zolt_fault_calls("removexattr"), follow ? 1 : 0);
    EXPECT_EQ(zolt_fault_calls("lremovexattr"), follow ? 0 : 1);
    EXPECT_EQ(holder(), "none");
  }
}

TEST_F(LeaseTest, TheFailureOfTakingTheHolderBackIsNotTheOneReported) {
  zolt_fault_arm("setxattr", 2, 2, ENOSPC);
  zolt_fault_arm("removexattr", 1, 1, EROFS);
  EXPECT_EQ(set("me", 5), "28 setxattr user.lease.update");
  EXPECT_EQ(zolt_fault_calls("removexattr"), 1);
  EXPECT_EQ(holder(), "me");
}

TEST_F(LeaseTest, ALeaseLivesUpToItsLimitAndNotOneUnitLonger) {
  ASSERT_EQ(set("me", 1000), "");
  EXPECT_EQ(get(16, 50, 1050), "[me]");
  EXPECT_EQ(holder(), "me");
  EXPECT_EQ(get(16, 50, 1051), "expired");
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), "none");
  EXPECT_EQ(get(16, 50, 1051), "61 getxattr user.lease.update");
  EXPECT_EQ(set("you", 1051), "");
}

TEST_F(LeaseTest, ALeaseStampedLateInASecondLivesInTheNext) {
  ASSERT_EQ(set("me", leaseClock({10, 999'999'000})), "");
  EXPECT_EQ(get(16, 0, leaseClock({11, 0})), "[me]");
  EXPECT_EQ(get(16, 0, leaseClock({10, 999'999'999})), "[me]");
  EXPECT_EQ(get(16, 0, leaseClock({11, 998'999'000})), "[me]");
  EXPECT_EQ(get(16, 0, leaseClock({11, 999'000'000})), "expired");
}

TEST_F(LeaseTest, TheDifferenceOfClocksWraps) {
  put("user.lease.holder", "me");
  put("user.lease.update", stamp(INT64_MIN));
  EXPECT_EQ(get(16, 0, 0), "[me]");  // 2^63 apart, which is INT64_MIN
  EXPECT_EQ(get(16, INT64_MAX, -1), "[me]");
  EXPECT_EQ(get(16, INT64_MAX - 1, -1), "expired");
  put("user.lease.holder", "me");
  put("user.lease.update", stamp(INT64_MAX));
  EXPECT_EQ(get(16, 5, INT64_MIN + 4), "[me]");  // 5 - 2^64, which is 5
  EXPECT_EQ(get(16, 4, INT64_MIN + 4), "expired");
}

TEST_F(LeaseTest, TheLimitMayBeAnyNumber) {
  ASSERT_EQ(set("me", 1000), "");
  EXPECT_EQ(get(16, INT64_MAX, INT64_MAX), "[me]");
  EXPECT_EQ(get(16, 0, 1000), "[me]");
  EXPECT_EQ(get(16, -1, 999), "[me]");
  EXPECT_EQ(get(16, -1, 1000), "expired");
}

TEST_F(LeaseTest, TheFailureOfAnExpiryIsThatOfTheRemoval) {
  ASSERT_EQ(set("me", 1000), "");
  zolt_fault_arm("removexattr", 2, 2, EROFS);
  EXPECT_EQ(get(16, 0, 1001), "30 removexattr user.lease.*");
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), stamp(1000));
}

TEST_F(LeaseTest, AnUpdateOfFewerBytesFillsTheLowOnes) {
  put("user.lease.holder", "me");
  put("user.lease.update", std::string("\x05", 1));
  EXPECT_EQ(get(16, 1, 6), "[me]");
  put("user.lease.update", "");
  EXPECT_EQ(get(16, 6, 6), "[me]");
  EXPECT_EQ(get(16, 5, 6), "expired");
}

TEST_F(LeaseTest, AnUpdateOfMoreBytesIsARangeError) {
  put("user.lease.holder", "me");
  put("user.lease.update", "ninebytes");
  EXPECT_EQ(get(16, 0, 0), "34 getxattr user.lease.update");
  EXPECT_EQ(holder(), "me");
}

TEST_F(LeaseTest, AHolderComesAtItsOwnLength) {
  ASSERT_EQ(set("12345", 0), "");
  EXPECT_EQ(get(5, 0, 0), "[12345]");
  EXPECT_EQ(get(6, 0, 0), "[12345]");
  EXPECT_EQ(get(4, 0, 0), "34 getxattr user.lease.holder");
  EXPECT_EQ(get(1 << 20, 0, 0), "[12345]");
  EXPECT_EQ(holder(), "12345");
}

TEST_F(LeaseTest, NoSizeFromJavaCostsMemory) {
  const auto peak = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;  // KiB
  };
  ASSERT_EQ(set("me", 0), "");
  const long before = peak();
  EXPECT_EQ(get(INT_MAX, 0, 0), "[me]");
  EXPECT_LT(peak() - before, 100'000);
}

TEST_F(LeaseTest, AHolderNeedsRoom) {
  ASSERT_EQ(set("", 0), "");
  for (const int size : {0, -1, INT_MIN}) {
    EXPECT_EQ(get(size, 0, 0), "22 getxattr user.lease.holder");
  }
}

TEST_F(LeaseTest, WhatComesBeforeTheHolderComesBeforeItsSize) {
  EXPECT_EQ(get(-1, 0, 0), "61 getxattr user.lease.update");
  ASSERT_EQ(set("me", 0), "");
  EXPECT_EQ(get(-1, 0, 1), "expired");
}

TEST_F(LeaseTest, AStampWithoutAHolderIsNoLease) {
  EXPECT_EQ(text(renewLease(file.c_str(), true, 5)), "");
  EXPECT_EQ(update(), stamp(5));
  EXPECT_EQ(get(16, 0, 5), "61 getxattr user.lease.holder");
}

TEST_F(LeaseTest, AStampWithoutAHolderExpiresLikeALease) {
  put("user.lease.update", stamp(5));
  EXPECT_EQ(get(16, 7, 12), "61 getxattr user.lease.holder");
  EXPECT_EQ(update(), stamp(5));
  EXPECT_EQ(get(16, 7, 13), "61 removexattr user.lease.*");
  EXPECT_EQ(update(), "none");
}

TEST_F(LeaseTest, ARenewalMovesTheClockAndNothingElse) {
  ASSERT_EQ(set("me", 5), "");
  EXPECT_EQ(text(renewLease(file.c_str(), true, 100)), "");
  EXPECT_EQ(update(), stamp(100));
  EXPECT_EQ(get(16, 0, 100), "[me]");
  zolt_fault_arm("setxattr", 1, 1, EDQUOT);
  EXPECT_EQ(text(renewLease(file.c_str(), true, 200)), "122 setxattr user.lease.update");
  EXPECT_EQ(update(), stamp(100));
}

TEST_F(LeaseTest, RemovingTakesBothAttributes) {
  ASSERT_EQ(set("me", 5), "");
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "");
  EXPECT_EQ(holder(), "none");
  EXPECT_EQ(update(), "none");
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "61 removexattr user.lease.*");
}

TEST_F(LeaseTest, RemovingHalfALeaseRemovesItAndFails) {
  put("user.lease.update", "x");
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "61 removexattr user.lease.*");
  EXPECT_EQ(update(), "none");
  put("user.lease.holder", "x");
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "61 removexattr user.lease.*");
  EXPECT_EQ(holder(), "none");
}

TEST_F(LeaseTest, OfTwoFailuresTheHoldersIsReported) {
  zolt_fault_arm("removexattr", 1, 1, EROFS);
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "30 removexattr user.lease.*");
  EXPECT_EQ(zolt_fault_calls("removexattr"), 2);
  put("user.lease.holder", "x");
  zolt_fault_arm("removexattr", 2, 2, EROFS);
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "30 removexattr user.lease.*");
}

TEST_F(LeaseTest, EveryCallFollowsALinkOrDoesNot) {
  const std::string link = dir / "link";
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  EXPECT_EQ(text(setLease(link.c_str(), false, "me", 5)), "1 setxattr user.lease.holder");
  EXPECT_EQ(text(renewLease(link.c_str(), false, 5)), "1 setxattr user.lease.update");
  EXPECT_EQ(holder() + update(), "nonenone");

  EXPECT_EQ(text(setLease(link.c_str(), true, "me", 5)), "");
  EXPECT_EQ(text(renewLease(link.c_str(), true, 6)), "");
  EXPECT_EQ(text(getLease(link.c_str(), false, 16, 0, 6).failure), "61 getxattr user.lease.update");
  EXPECT_EQ(text(removeLease(link.c_str(), false)), "1 removexattr user.lease.*");
  EXPECT_EQ(holder() + update(), "me" + stamp(6));
  EXPECT_EQ(getLease(link.c_str(), true, 16, 0, 6).holder.length, 2);
  EXPECT_EQ(text(removeLease(link.c_str(), true)), "");
  EXPECT_EQ(holder() + update(), "nonenone");

  // A lease of the file itself needs no following.
  for (const char* call : {"getxattr", "setxattr", "removexattr"})
    zolt_fault_arm(call, 1, INT_MAX, EIO);
  EXPECT_EQ(text(setLease(file.c_str(), false, "me", 5)), "");
  EXPECT_EQ(text(renewLease(file.c_str(), false, 5)), "");
  EXPECT_EQ(getLease(file.c_str(), false, 16, 0, 5).holder.length, 2);
  EXPECT_EQ(text(getLease(file.c_str(), false, 16, 0, 6).failure), "");
  zolt_fault_clear();
  EXPECT_EQ(holder() + update(), "nonenone");
}

TEST_F(LeaseTest, SettingIsTraced) {
  const LogCapture log;
  set("0123456789abcde", 42);
  set("\xff"
      "123456789abcdefg",
      -7);
  using Lines = std::vector<std::string>;
  EXPECT_EQ(log.bodies(LOG_TRACE),
            (Lines{"lease update 42 lease holder 15",
                   "lease update -7 lease holder 17 255 49 50 51 52 53 54 55 56 57 97 98 99 100 "
                   "101 102"}));
}

TEST_F(LeaseTest, AReadIsTraced) {
  using Lines = std::vector<std::string>;
  {
    const LogCapture log;
    get(16, 7, 100);
    EXPECT_EQ(log.bodies(LOG_TRACE),
              Lines{"lease overdue now 100 last update 0 limit 7 overdue 100"});
  }
  ASSERT_EQ(set("me", 40), "");
  {
    const LogCapture log;
    get(16, 70, 100);
    get(15, 70, 30);
    EXPECT_EQ(
        log.bodies(LOG_TRACE),
        (Lines{"now 100 lease last update 40 lease limit 70 lease overdue 60 lease holder 2 "
               "109 101 0 0 0 0 0 0 0 0 0 0 0 0 0 0",
               "now 30 lease last update 40 lease limit 70 lease overdue -10 lease holder 2"}));
  }
  const LogCapture log;
  get(16, 0, 100);
  EXPECT_EQ(log.bodies(LOG_TRACE), Lines{file});
}

TEST_F(LeaseTest, RenewingAndRemovingAreTraced) {
  const LogCapture log;
  EXPECT_EQ(text(renewLease(file.c_str(), true, 42)), "");
  EXPECT_EQ(text(removeLease(file.c_str(), true)), "61 removexattr user.lease.*");
  EXPECT_EQ(log.bodies(LOG_TRACE), (std::vector<std::string>{file + " 42", file}));
}

}  // namespace
}  // namespace zolt
