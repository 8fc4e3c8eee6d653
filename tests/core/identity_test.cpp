#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "faults.h"
#include "identity/groups.h"
#include "identity_fixture.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

class IdentityTest : public test::IdentityFixture {
 protected:
  static void expectRefused(const char* call, int error, const std::string& message) {
    const LogCapture log;
    zolt_fault_arm(call, 1, 1, error);
    expectIOException(message, error, [] { const FSAccount account("alice"); });
    EXPECT_EQ(std::vector{message}, log.bodies(LOG_WARN));
  }
};

constexpr uint32_t NOBODY = 65534;
constexpr FSAccount::Superuser ASKED{.askedBy = "getFailedPath"};

std::string setfsidLine(const void* account, const std::string& change) {
  return joined("", "@", account, " ", change);
}

TEST_F(IdentityTest, TheDaemonIsTheProcessAsItWasLoaded) {
  EXPECT_EQ(geteuid(), FSAccount::daemonUid);
  EXPECT_EQ(getegid(), FSAccount::daemonGid);
}

// The raw system calls change the calling thread alone, the C library's every thread.
TEST_F(IdentityTest, TheDaemonStaysWhoItWasWhenAThreadBecomesAnother) {
  withAccounts([] {
    ASSERT_EQ(0, syscall(SYS_setresgid, -1, 70002, -1));
    ASSERT_EQ(70002U, getegid());
    zolt_fault_arm("syscall_setgroups", 0, 0, 0);
    { const FSAccount account("alice"); }
    EXPECT_EQ(1, zolt_fault_calls("syscall_setgroups"))
        << "hers is the thread's group, and not the daemon's";
    ASSERT_EQ(0, syscall(SYS_setresuid, -1, 70001, -1));
    ASSERT_EQ(70001U, identity().fsuid);
    { const FSAccount daemon{FSAccount::DaemonAtEnd()}; }
    EXPECT_EQ(0U, identity().fsuid);
    EXPECT_EQ(0U, identity().fsgid);
    EXPECT_EQ(0U, FSAccount::daemonUid);
    EXPECT_EQ(0U, FSAccount::daemonGid);
  });
}

TEST_F(IdentityTest, TheDaemonStaysWhoItWasWhenTheProcessBecomesAnother) {
  ASSERT_EQ(0, setegid(70002));
  ASSERT_EQ(0, seteuid(70001));
  const ThreadIdentity became = identity();
  ThreadIdentity ended;
  onThread([&] {
    { const FSAccount daemon{FSAccount::DaemonAtEnd()}; }
    ended = identity();
  });
  EXPECT_EQ(0, seteuid(0));
  EXPECT_EQ(0, setegid(0));
  EXPECT_EQ(70001U, became.fsuid);
  EXPECT_EQ(70002U, became.fsgid);
  EXPECT_EQ(0U, ended.fsuid);
  EXPECT_EQ(0U, ended.fsgid);
  EXPECT_EQ(0U, FSAccount::daemonUid);
  EXPECT_EQ(0U, FSAccount::daemonGid);
}

TEST_F(IdentityTest, AnAccountSwitchesAndRestores) {
  withAccounts([] {
    const ThreadIdentity before = identity();
    {
      const LogCapture log;
      const FSAccount account("alice");
      EXPECT_EQ((ThreadIdentity{70001, 70002, {70002}}), identity());
      EXPECT_EQ((std::vector<std::string>{"setgroups: 70002",
                                          setfsidLine(&account, "(0, 0) => (70001, 70002)")}),
                log.bodies(LOG_DEBUG));
    }
    EXPECT_EQ((ThreadIdentity{before.fsuid, before.fsgid, {70002}}), identity())
        << "the groups stay";
  });
}

TEST_F(IdentityTest, TheRestoreIsLoggedAsASwitchBack) {
  withAccounts([] {
    std::string line;
    const LogCapture log;
    {
      const FSAccount account("alice");
      line = setfsidLine(&account, "(70001, 70002) => (0, 0)");
    }
    EXPECT_EQ(line, log.bodies(LOG_DEBUG).back());
  });
}

TEST_F(IdentityTest, SwitchesNest) {
  withAccounts([] {
    zolt_fault_user("bob", 70011, 70012, 0);
    const FSAccount outer("alice");
    {
      const FSAccount inner("bob");
      EXPECT_EQ((ThreadIdentity{70011, 70012, {70012}}), identity());
    }
    EXPECT_EQ((ThreadIdentity{70001, 70002, {70012}}), identity());
  });
}

TEST_F(IdentityTest, TheFileSystemJudgesByTheSwitchedIdentity) {
  const TempDir dir;
  const std::string file = dir.file("secret", "x");
  ASSERT_EQ(0, chmod(file.c_str(), 0600));
  withAccounts([&] {
    const FSAccount account("alice");
    EXPECT_EQ(-1, open(file.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(EACCES, errno);
  });
}

TEST_F(IdentityTest, TheUserIsSwitchedBeforeTheGroup) {
  withAccounts([] {
    zolt_fault_arm("setfsuid", 1, 1, EPERM);
    zolt_fault_arm("setfsgid", 0, 0, 0);
    EXPECT_THROW(const FSAccount account("alice"), IOException);
    EXPECT_EQ(0, zolt_fault_calls("setfsgid"));
  });
}

TEST_F(IdentityTest, AGroupOfTheDaemonsLeavesTheGroupsAlone) {
  withAccounts([] {
    setgroups("alice", 70002);
    zolt_fault_arm("syscall_setgroups", 0, 0, 0);
    const FSAccount account("service");
    EXPECT_EQ(0, zolt_fault_calls("syscall_setgroups"));
    EXPECT_EQ((ThreadIdentity{70003, FSAccount::daemonGid, {70002}}), identity());
  });
}

TEST_F(IdentityTest, AnUnknownUserGetsTheIdsOfNobodyAndTheGroupsOfTheNameGiven) {
  onThread([] {
    const LogCapture log;
    const FSAccount account("no such user");
    EXPECT_EQ((ThreadIdentity{NOBODY, NOBODY, {NOBODY}}), identity());
    EXPECT_EQ((std::vector<std::string>{
                  "Unknown user \"no such user\", create the user on all kolvane nodes with the "
                  "same uid and try it again!",
                  "Unable to map username: no such user to uid. Try nobody"}),
              log.bodies(LOG_WARN));
  });
  onThread([] {
    const LogCapture log;
    zolt_fault_arm("syscall_setgroups", 1, 1, EPERM);
    expectIOException("SYS_setgroups error for user=no such user gid:65534", EPERM,
                      [] { const FSAccount account("no such user"); });
  });
}

TEST_F(IdentityTest, WithoutNobodyTheUnknownUserIsAnError) {
  onThread([] {
    const ThreadIdentity before = identity();
    zolt_fault_arm("getpwnam_r", 1, 2, EIO);
    expectIOException(
        "getpwnam_r() failed: Unknown user \"nobody\", create the user on all kolvane nodes with "
        "the same uid and try it again!",
        EIO, [] { const FSAccount account("root"); });
    EXPECT_EQ(before, identity());
  });
}

TEST_F(IdentityTest, ALookupThatFailsInSilenceGivesNobodysRightsAndNeverTheDaemons) {
  onThread([] {
    const LogCapture log;
    zolt_fault_arm("getpwnam_r", 1, 1, 0);
    const FSAccount account("root");
    EXPECT_EQ(NOBODY, identity().fsuid);
    EXPECT_EQ(log.bodies(LOG_WARN),
              (std::vector<std::string>{"No ids for user \"root\"",
                                        "Unable to map username: root to uid. Try nobody"}));
  });
  onThread([] {
    const ThreadIdentity before = identity();
    const LogCapture log;
    zolt_fault_arm("getpwnam_r", 1, 2, 0);
    expectIOException("No ids for user \"nobody\"", EINVAL,
                      [] { const FSAccount account("root"); });
    EXPECT_EQ(log.bodies(LOG_WARN).back(), "No ids for user \"nobody\"");
    EXPECT_EQ(before, identity());
  });
}

TEST_F(IdentityTest, RefusedGroupsLeaveTheIdsAsTheyWere) {
  withAccounts([] {
    const ThreadIdentity before = identity();
    expectRefused("syscall_setgroups", EPERM, "SYS_setgroups error for user=alice gid:70002");
    EXPECT_EQ(before, identity());
  });
}

TEST_F(IdentityTest, ARefusedUserChangesNothing) {
  withAccounts([] {
    const ThreadIdentity before = identity();
    expectRefused("setfsuid", EAGAIN, "setfsuid error: 4294967295 -> 70001");
    EXPECT_EQ(before.fsuid, identity().fsuid);
    EXPECT_EQ(before.fsgid, identity().fsgid);
  });
}

TEST_F(IdentityTest, ARefusedGroupSwitchesTheUserBack) {
  withAccounts([] {
    const ThreadIdentity before = identity();
    expectRefused("setfsgid", EAGAIN, "setfsgid error: 4294967295 -> 70002");
    EXPECT_EQ(before.fsuid, identity().fsuid);
    EXPECT_EQ(before.fsgid, identity().fsgid);
  });
}

TEST_F(IdentityTest, AfterARefusedGroupTheObjectHoldsTheUserThatHadJustBeenSet) {
  withAccounts([] {
    {
      FSAccount account("alice");
      zolt_fault_arm("setfsgid", 1, 1, EAGAIN);
      EXPECT_THROW(account.setfsid(70011, 70012), IOException);
      EXPECT_EQ(70001U, identity().fsuid);
    }
    // Restored to the ids 70011 and -1, of which the kernel ignores the second.
    EXPECT_EQ(70011U, identity().fsuid);
    EXPECT_EQ(70002U, identity().fsgid);
    setfsuid(0);
    setfsgid(0);
  });
}

TEST_F(IdentityTest, ADestructorThatCannotRestoreOnlyWarns) {
  withAccounts([] {
    const LogCapture log;
    {
      const FSAccount account("alice");
      zolt_fault_arm("setfsuid", 1, 1, EPERM);
      errno = EXDEV;
    }
    EXPECT_EQ(EXDEV, errno);
    EXPECT_EQ(std::vector<std::string>{"setfsuid error: 4294967295 -> 0"}, log.bodies(LOG_WARN));
    setfsuid(0);
    setfsgid(0);
  });
}

TEST_F(IdentityTest, EndRestoresOnceAndReportsAFailure) {
  withAccounts([] {
    auto* account = new FSAccount("alice");
    zolt_fault_arm("setfsuid", 0, 0, 0);
    FSAccount::end(account);
    EXPECT_EQ(1, zolt_fault_calls("setfsuid"));
    EXPECT_EQ(0U, identity().fsuid);
    EXPECT_EQ(0U, identity().fsgid);

    account = new FSAccount("alice");
    zolt_fault_arm("setfsgid", 1, 1, EPERM);
    expectIOException("setfsgid error: 4294967295 -> 0", EPERM,
                      [account] { FSAccount::end(account); });
    setfsuid(0);
    setfsgid(0);
  });
}

TEST_F(IdentityTest, AlwaysSuperMeansNoSystemCallAtAll) {
  withAccounts([] {
    alwaysSuper = true;
    const ThreadIdentity before = identity();
    for (const char* call : {"getpwnam_r", "getpwuid_r", "getgrouplist", "syscall_setgroups",
                             "setfsuid", "setfsgid"}) {
      zolt_fault_arm(call, 0, 0, 0);
    }
    {
      const FSAccount account("alice");
      const FSAccount superuser{ASKED};
      const FSAccount daemon{FSAccount::DaemonAtEnd()};
      FSAccount::end(new FSAccount("no such user"));
      EXPECT_EQ(before, identity());
    }
    for (const char* call : {"getpwnam_r", "getpwuid_r", "getgrouplist", "syscall_setgroups",
                             "setfsuid", "setfsgid"}) {
      EXPECT_EQ(0, zolt_fault_calls(call)) << call;
    }
  });
}

TEST_F(IdentityTest, TheSuperuserReturnsToTheCallersIdentity) {
  withAccounts([] {
    const FSAccount caller("alice");
    const ThreadIdentity before = identity();
    {
      zolt_fault_arm("syscall_setgroups", 0, 0, 0);
      const FSAccount superuser{ASKED};
      EXPECT_EQ((ThreadIdentity{0, 0, before.groups}), identity());
      EXPECT_EQ(0, zolt_fault_calls("syscall_setgroups")) << "the daemon's group is 0 already";
    }
    EXPECT_EQ(before, identity());
  });
}

TEST_F(IdentityTest, ADaemonOfAnotherGroupGetsTheSuperusersGroups) {
  FSAccount::daemonGid = 12345;
  withAccounts([] {
    zolt_fault_user("toor", 0, 0, 0);
    const FSAccount caller("alice");
    {
      const LogCapture log;
      const FSAccount superuser{ASKED};
      EXPECT_EQ((ThreadIdentity{0, 0, {0}}), identity());
      EXPECT_EQ("setgroups: 0", log.bodies(LOG_DEBUG).front());
    }
    EXPECT_EQ(70001U, identity().fsuid);
    EXPECT_EQ(70002U, identity().fsgid);

    zolt_fault_arm("syscall_setgroups", 1, 1, EPERM);
    expectIOException("SYS_setgroups error for user=toor gid:0", EPERM,
                      [] { const FSAccount superuser{ASKED}; });
    EXPECT_EQ(70001U, identity().fsuid) << "the caller's, and not the daemon's";
    EXPECT_EQ(70002U, identity().fsgid);
  });
}

TEST_F(IdentityTest, ASuperuserWithoutANameIsNobodyToTheGroups) {
  FSAccount::daemonGid = 12345;
  withAccounts([] {
    const LogCapture log;
    zolt_fault_arm("getpwuid_r", 1, 1, EIO);
    zolt_fault_arm("syscall_setgroups", 1, 1, EPERM);
    expectIOException("SYS_setgroups error for user=nobody gid:0", EPERM,
                      [] { const FSAccount superuser{ASKED}; });
    EXPECT_TRUE(log.has(LOG_WARN, "Unable to map uid: 0 to username. Try nobody")) << log.all();
  });
}

TEST_F(IdentityTest, TheDaemonAtEndIsTheServicesOwnIdentity) {
  FSAccount::daemonUid = 70021;
  FSAccount::daemonGid = 70022;
  withAccounts([] {
    const FSAccount caller("alice");
    { const FSAccount daemon{FSAccount::DaemonAtEnd()}; }
    EXPECT_EQ(70021U, identity().fsuid);
    EXPECT_EQ(70022U, identity().fsgid);
  });
}

}  // namespace
}  // namespace zolt
