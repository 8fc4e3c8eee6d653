#include "identity/groups.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <latch>
#include <thread>

#include "faults.h"
#include "identity_fixture.h"
#include "log_capture.h"
#include "walk.h"

namespace zolt {
namespace {

using namespace test;

class GroupsTest : public test::IdentityFixture {};

// What counts towards RLIMIT_DATA.
rlim_t dataBytes() {
  std::ifstream status("/proc/self/status");
  std::string field;
  while (status >> field && field != "VmData:") {
  }
  rlim_t kilobytes = 0;
  status >> kilobytes;
  return kilobytes * 1024;
}

TEST_F(GroupsTest, GroupsChangeOnTheCallingThreadOnly) {
  std::latch started(1);
  std::latch changed(1);
  ThreadIdentity before;
  ThreadIdentity after;
  pid_t otherThread = 0;
  std::thread other([&] {
    before = identity();
    otherThread = threadId();
    started.count_down();
    changed.wait();
    after = identity();
  });
  started.wait();
  withAccounts([&] {
    zolt_fault_arm("setgroups", 0, 0, 0);
    const FSAccount account("alice");
    EXPECT_EQ((ThreadIdentity{70001, 70002, {70002}}), identity());
    EXPECT_EQ(before, identityOf(otherThread));
    EXPECT_EQ(before, identityOf(getpid())) << "the main thread's";
    EXPECT_EQ(0, zolt_fault_calls("setgroups")) << "the C library's changes every thread";
  });
  changed.count_down();
  other.join();
  EXPECT_EQ(before, after);
}

TEST_F(GroupsTest, MoreThan128GroupsTakeOneMoreCall) {
  for (const int count : {128, 129, 1000}) {
    onThread([count] {
      zolt_fault_group_count(count);
      zolt_fault_arm("getgrouplist", 0, 0, 0);
      setgroups("alice", 70002);
      EXPECT_EQ(count > 128 ? 2 : 1, zolt_fault_calls("getgrouplist"));
      const auto groups = identity().groups;
      ASSERT_EQ(static_cast<size_t>(count), groups.size());
      EXPECT_EQ(70002U, groups[0]);
      EXPECT_EQ(100000U + static_cast<uint32_t>(count) - 1, groups.back());
    });
  }
}

TEST_F(GroupsTest, GroupsThatTheCLibraryCannotListAreNotSet) {
  onThread([] {
    const ThreadIdentity before = identity();
    const LogCapture log;
    zolt_fault_arm("getgrouplist", 1, 1, ENOMEM);  // with the count left alone
    const std::string message = "failed to alloc 128 gid buffer";
    expectIOException(message, ENOMEM, [] { setgroups("alice", 70002); });
    EXPECT_EQ(std::vector{message}, log.bodies(LOG_WARN));
    EXPECT_EQ(before, identity());
  });
}

TEST_F(GroupsTest, AGroupListTooLongForMemory) {
  onThread([] {
    const ThreadIdentity before = identity();
    rlimit memory{};
    ASSERT_EQ(0, getrlimit(RLIMIT_DATA, &memory));
    const rlimit little{dataBytes() + (1UL << 30), memory.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_DATA, &little));
    const LogCapture log;
    zolt_fault_group_count(0x7fffffff);
    const std::string message = "failed to alloc 2147483647 gid buffer";
    expectIOException(message, ENOMEM, [] { setgroups("alice", 70002); });
    EXPECT_EQ(0, setrlimit(RLIMIT_DATA, &memory));
    EXPECT_EQ(std::vector{message}, log.bodies(LOG_WARN));
    EXPECT_EQ(before, identity());
  });
}

TEST_F(GroupsTest, GroupsOfANullUser) {
  onThread([] {
    setgroups(nullptr, 70002);
    EXPECT_EQ(std::vector<uint32_t>{70002}, identity().groups);
    const LogCapture log;
    zolt_fault_arm("syscall_setgroups", 1, 1, EINVAL);
    expectIOException("SYS_setgroups error for user=null gid:70002", EINVAL,
                      [] { setgroups(nullptr, 70002); });
  });
}

TEST_F(GroupsTest, DumpsTheGroupsAtDebugWithoutAPrefix) {
  onThread([] {
    zolt_fault_group_count(3);
    setgroups("alice", 70002);
    for (const int level : {static_cast<int>(LOG_TRACE), static_cast<int>(LOG_DEBUG)}) {
      const LogCapture log(level);
      EXPECT_EQ(0, dump_gid("some error"));
      EXPECT_EQ(0, dump_gid(nullptr));
      ASSERT_EQ(2U, log.lines().size());
      EXPECT_EQ("some error (dump group ids): 70002 100001 100002", log.lines()[0].text);
      EXPECT_EQ("(dump group ids): 70002 100001 100002", log.lines()[1].text);
      EXPECT_EQ(LOG_DEBUG, log.lines()[0].level);
    }
  });
}

TEST_F(GroupsTest, DumpingNothingAsksNothing) {
  for (int level = LOG_INFO; level <= LOG_OFF; ++level) {
    const LogCapture log(level);
    zolt_fault_arm("getgroups", 1, 2, EIO);
    EXPECT_EQ(0, dump_gid("label"));
    EXPECT_EQ(0, zolt_fault_calls("getgroups"));
  }
}

TEST_F(GroupsTest, GroupsThatTheKernelDoesNotTell) {
  for (const int call : {1, 2}) {
    const LogCapture log;
    zolt_fault_arm("getgroups", call, call, EFAULT);
    EXPECT_EQ(-EFAULT, dump_gid("label"));
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST_F(GroupsTest, GroupsThatThereIsNoMemoryToListEndNothing) {
  withAccounts([&] {
    const LogCapture log(LOG_DEBUG);
    int failing = 0;
    do {
      zolt_walk_begin(0, 0, 0, ++failing, 0);
      const int result = dump_gid("label");
      zolt_walk_end();
      if (zolt_walk_allocations() == 0) GTEST_SKIP() << "a sanitizer has its own allocations";
      // After the groups themselves, a stream may lose its text without a word.
      EXPECT_TRUE(result == -ENOMEM || (result == 0 && failing > 1)) << result;
    } while (zolt_walk_allocations() >= failing);
  });
}

}  // namespace
}  // namespace zolt
