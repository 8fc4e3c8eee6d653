#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>

#include "base/io_exception.h"
#include "faults.h"
#include "file_status_fixture.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;

class FileStatusFailureTest : public test::FileStatusFixture {};

TEST_F(FileStatusFailureTest, ABufferMustHoldARecord) {
  for (const unsigned long capacity : {0UL, 1UL, 87UL}) {
    const std::string line =
        "Direct ByteBuffer length error: length " + std::to_string(capacity) + " type size 88";
    memory_ = Memory(capacity);
    const LogCapture log;
    expectError(EINVAL, getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_));
    expectError(EINVAL, getFileStatusFast(file_.c_str(), true, NEVER, memory_));
    EXPECT_EQ((std::vector{line, line}), log.bodies(LOG_ERROR));
  }
  memory_ = Memory(88);
  expectWritten(getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_));
  memory_ = Memory(~0UL);  // a capacity has no sign
  expectWritten(getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_));
}

TEST_F(FileStatusFailureTest, TheCallerIsJudgedAndTheSuperuserReads) {
  ASSERT_EQ(0, chmod(file_.c_str(), 0600));
  std::filesystem::create_directory(dir_ / "locked");
  const std::string below = dir_.file("locked/file");
  ASSERT_EQ(0, chmod((dir_ / "locked").c_str(), 0700));
  onThread([&] {
    zolt_fault_user("alice", 70001, 70002, 0);
    const FSAccount alice("alice");
    const ThreadIdentity before = identity();
    expectWritten(full(file_));
    EXPECT_EQ(before, identity());
    for (const bool followLink : {true, false}) {
      const LogCapture log;
      expectError(EACCES, full(below, followLink));
      EXPECT_EQ(before, identity());
      EXPECT_TRUE(log.has(LOG_DEBUG, "stat failed with 13 for " + below + " followLink " +
                                         (followLink ? "1" : "0")))
          << log.all();
      EXPECT_EQ("getStat error (dump group ids): 70002", log.lines()[0].text);
    }
  });
}

TEST_F(FileStatusFailureTest, TheFastFormIsTheCallersAlone) {
  std::filesystem::create_directory(dir_ / "locked");
  const std::string below = dir_.file("locked/file");
  ASSERT_EQ(0, chmod((dir_ / "locked").c_str(), 0700));
  onThread([&] {
    zolt_fault_user("alice", 70001, 70002, 0);
    const FSAccount alice("alice");
    const LogCapture log(LOG_DEBUG);
    expectError(EACCES, fast(below));
    EXPECT_EQ(70001U, identity().fsuid);
  });
}

TEST_F(FileStatusFailureTest, AlwaysSuperChecksAndSwitchesNothing) {
  alwaysSuper = true;
  for (const char* call : {"stat", "lstat", "setfsuid", "setfsgid", "syscall_setgroups"})
    zolt_fault_arm(call, 0, 0, 0);
  expectWritten(full(file_));
  for (const char* call : {"stat", "lstat", "setfsuid", "setfsgid", "syscall_setgroups"})
    EXPECT_EQ(0, zolt_fault_calls(call)) << call;
}

TEST_F(FileStatusFailureTest, LinksAreFollowedWhenAsked) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  expectWritten(full(link, true));
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  const LogCapture log;
  expectError(ELOOP, full(link, false));
  EXPECT_TRUE(log.has(LOG_DEBUG, "open failed with 40 for " + link)) << log.all();
  expectWritten(full(file_, false));
}

// Not followed, a link that leads nowhere is there, and is no file to open.
TEST_F(FileStatusFailureTest, ADanglingLinkIsMissingOnlyWhenFollowed) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("nowhere", link.c_str()));
  for (const bool super : {false, true}) {
    alwaysSuper = super;
    const LogCapture log(LOG_DEBUG);
    expectError(ELOOP, full(link, false));
    EXPECT_EQ(1, std::ranges::count(log.bodies(LOG_DEBUG), "open failed with 40 for " + link));
    expectError(ENOENT, full(link, true));
    EXPECT_TRUE(log.has(LOG_DEBUG, super ? "open failed with 2 for " + link
                                         : "stat failed with 2 for " + link + " followLink 1"))
        << log.all();
  }
}

TEST_F(FileStatusFailureTest, MissingPathsAreEnoentHoweverTheyAreMissing) {
  for (const bool followLink : {true, false}) {
    for (const std::string& path : {dir_ / "none", file_ + "/below"}) {
      const LogCapture log(LOG_DEBUG);
      expectError(ENOENT, full(path, followLink));
      const std::string raw = path == dir_ / "none" ? "2" : "20";
      EXPECT_EQ(std::vector{"stat failed with " + raw + " for " + path + " followLink " +
                            (followLink ? "1" : "0")},
                log.bodies(LOG_DEBUG));
    }
  }
  const LogCapture log(LOG_DEBUG);
  expectError(ENOENT, fast(dir_ / "none"));
}

// Each system call on the way failing once: the error, the identity, no descriptor.
TEST_F(FileStatusFailureTest, EveryFailureLeavesTheCallersIdentityAndNoDescriptor) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  struct Failure {
    const char* call;
    int error;
    int reported;
  };
  const Failure failures[] = {
      {"stat", EACCES, EACCES},
      {"stat", ENOTDIR, ENOENT},
      {"stat", EIO, EIO},
      {"open", EMFILE, EMFILE},
      {"open", EACCES, EACCES},
      {"open", ENOTDIR, ENOTDIR},
      {"zolt_fstat_x", EIO, EIO},
      {"zolt_fstat_x", EACCES, EACCES},
      {"zolt_fcntl", ENOMEM, ENOMEM},
      {"zolt_fcntl", EIO, EIO},
      {"setfsuid", EPERM, -EPERM},
      {"setfsgid", EPERM, -EPERM},
      {"syscall_setgroups", EPERM, -EPERM},
  };
  for (const int level : {static_cast<int>(LOG_TRACE), static_cast<int>(LOG_OFF)}) {
    onThread([&] {
      zolt_fault_user("alice", 70001, 70002, 0);
      zolt_fault_user("root", 0, 0, 0);
      const FSAccount alice("alice");
      FSAccount::daemonGid = 12345;  // so that groups are set too
      for (const Failure& failure : failures) {
        const LogCapture log(level);
        const long before = openDescriptors();
        zolt_fault_arm(failure.call, 1, 1, failure.error);
        std::optional<int> thrown;
        StatusAnswer answer{.written = false, .error = {}};
        try {
          answer = full(link);
        } catch (const IOException& error) {
          thrown = -error.code();
        }
        EXPECT_FALSE(answer.written);
        EXPECT_EQ(failure.reported, thrown.value_or(answer.error.value())) << failure.call;
        EXPECT_EQ(70001U, identity().fsuid) << failure.call;
        EXPECT_EQ(70002U, identity().fsgid) << failure.call;
        EXPECT_EQ(before, openDescriptors()) << failure.call;
        zolt_fault_arm(failure.call, 0, 0, 0);
      }
      FSAccount::daemonGid = getegid();
    });
  }
}

TEST_F(FileStatusFailureTest, AtTraceAFailedExtendedStatIsDiagnosed) {
  for (const int level : {static_cast<int>(LOG_TRACE), static_cast<int>(LOG_DEBUG)}) {
    const LogCapture log(level);
    zolt_fault_arm("zolt_fstat_x", 1, 1, EIO);
    zolt_fault_arm("zolt_stat_x", 1, 1, EIO);
    expectError(EIO, full(file_));
    const auto diagnosed = [&log] { return log.all().find("@@@fails @") != std::string::npos; };
    EXPECT_EQ(level == LOG_TRACE, diagnosed()) << log.all();
    const LogCapture again(level);
    expectError(EIO, fast(file_));
    EXPECT_EQ(level == LOG_TRACE, diagnosed()) << again.all();
  }
}

}  // namespace
}  // namespace zolt
