#include "status/failed_path.h"

#include <gtest/gtest.h>
#include <linux/limits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>

#include "acl/acl_util.h"
#include "acl_bytes.h"
#include "base/io_exception.h"
#include "base/settings.h"
#include "faults.h"
#include "identity/fs_account.h"
#include "log_capture.h"
#include "temp_dir.h"
#include "thread_identity.h"

namespace zolt {
namespace {

using namespace test;

// A directory "locked" that only root may search, in it "inner/file".
class FailedPathTest : public testing::Test {
 protected:
  void SetUp() override {
    zolt_fault_clear();
    ACLUtil::init();
    std::filesystem::create_directories(inner_);
    dir_.file("locked/inner/file");
    ASSERT_EQ(0, chmod(locked_.c_str(), 0700));
  }
  void TearDown() override {
    zolt_fault_clear();
    alwaysSuper = false;
    FSAccount::daemonUid = geteuid();
    FSAccount::daemonGid = getegid();
  }

  static void asAlice(const std::function<void()>& body) {
    onThread([&] {
      zolt_fault_user("alice", 70001, 70002, 0);
      const FSAccount alice("alice");
      body();
    });
  }

  // The two reports, caller's and superuser's: the debug lines of the walk.
  static std::vector<std::string> reports(const LogCapture& log) {
    std::vector<std::string> found;
    for (const LogCapture::Line& line : log.lines()) {
      if (line.level != LOG_DEBUG || !line.text.starts_with("@getFailedPathInt:")) continue;
      found.push_back(line.text.substr(line.text.find(' ') + 1));
    }
    return found;
  }

  // The paths of the blocks of a report, in their order.
  static std::vector<std::string> blocks(const std::string& report) {
    std::vector<std::string> found;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
      if (const size_t end = line.find(" ino:"); end != std::string::npos) {
        found.push_back(line.substr(0, end));
      }
    }
    return found;
  }

  TempDir dir_;
  std::string locked_ = dir_ / "locked";
  std::string inner_ = dir_ / "locked/inner";
  std::string file_ = dir_ / "locked/inner/file";
};

using Paths = std::vector<std::string>;

TEST_F(FailedPathTest, NamesTheDeepestComponentForTheCallerAndTheRestAsTheSuperuser) {
  asAlice([&] {
    const LogCapture log;
    getFailedPath(file_.c_str(), true);
    const auto found = reports(log);
    ASSERT_EQ(2U, found.size()) << log.all();
    EXPECT_EQ(Paths{locked_}, blocks(found[0]));
    EXPECT_TRUE(found[0].ends_with("\n@@@fails @" + locked_)) << found[0];
    EXPECT_EQ((Paths{file_, inner_}), blocks(found[1]));
    EXPECT_EQ(std::string::npos, found[1].find("@@@fails"));
  });
}

TEST_F(FailedPathTest, APathWithoutObstaclesIsReportedOnce) {
  const LogCapture log;
  getFailedPath(file_.c_str(), true);
  const auto found = reports(log);
  ASSERT_EQ(2U, found.size()) << log.all();
  EXPECT_EQ(Paths{file_}, blocks(found[0]));
  EXPECT_TRUE(found[0].ends_with("\n@@@fails @" + file_)) << found[0];
  EXPECT_EQ("", found[1]);
}

TEST_F(FailedPathTest, AMissingFileIsReportedDownToItsParent) {
  const LogCapture log;
  getFailedPath((inner_ + "//none//deeper").c_str(), true);
  const auto found = reports(log);
  ASSERT_EQ(2U, found.size()) << log.all();
  EXPECT_EQ(Paths{inner_}, blocks(found[0]));
  EXPECT_EQ((Paths{inner_ + "//none//deeper", inner_ + "//none"}), blocks(found[1]));
}

TEST_F(FailedPathTest, TheRootHasNoBlock) {
  const LogCapture log;
  getFailedPath("/", true);
  EXPECT_EQ((Paths{"\n@@@fails @/", ""}), reports(log));
}

TEST_F(FailedPathTest, NothingHappensUnlessTheThresholdIsTrace) {
  for (int level = LOG_DEBUG; level <= LOG_OFF; ++level) {
    asAlice([&] {
      const LogCapture log(level);
      zolt_fault_arm("lstat", 0, 0, 0);
      zolt_fault_arm("setfsuid", 0, 0, 0);
      getFailedPath(file_.c_str(), true);
      EXPECT_EQ(0, zolt_fault_calls("lstat"));
      EXPECT_EQ(0, zolt_fault_calls("setfsuid"));
      EXPECT_TRUE(log.lines().empty()) << log.all();
    });
  }
}

TEST_F(FailedPathTest, TheThreadEndsWithTheDaemonsIdentityWhateverItHadBefore) {
  FSAccount::daemonUid = 70021;
  FSAccount::daemonGid = 70022;
  asAlice([&] {
    const LogCapture log;
    zolt_fault_arm("setfsuid", 0, 0, 0);
    getFailedPath(file_.c_str(), true);
    EXPECT_EQ((ThreadIdentity{70021, 70022, {0}}), identity());
    EXPECT_EQ(2, zolt_fault_calls("setfsuid")) << "to the superuser, and from there to the daemon";
    EXPECT_EQ((Paths{file_, inner_}), blocks(reports(log).back())) << "read as the superuser";
  });
}

TEST_F(FailedPathTest, AlwaysSuperSwitchesNothing) {
  alwaysSuper = true;
  const ThreadIdentity before = identity();
  const LogCapture log;
  for (const char* call : {"setfsuid", "setfsgid", "syscall_setgroups"})
    zolt_fault_arm(call, 0, 0, 0);
  getFailedPath(file_.c_str(), true);
  for (const char* call : {"setfsuid", "setfsgid", "syscall_setgroups"})
    EXPECT_EQ(0, zolt_fault_calls(call)) << call;
  EXPECT_EQ(before, identity());
  EXPECT_EQ(2U, reports(log).size());
}

TEST_F(FailedPathTest, ASwitchThatFailsIsLoggedAndEndsWithTheDaemonsIdentity) {
  FSAccount::daemonUid = 70021;
  FSAccount::daemonGid = 70022;
  asAlice([&] {
    const LogCapture log;
    zolt_fault_user("root", 0, 0, 0);
    zolt_fault_arm("syscall_setgroups", 1, 1, EPERM);
    getFailedPath(file_.c_str(), true);
    EXPECT_TRUE(
        log.has(LOG_DEBUG, "fails @" + file_ + " error:SYS_setgroups error for user=root gid:0"))
        << log.all();
    EXPECT_EQ(1U, reports(log).size());
    EXPECT_EQ(70021U, identity().fsuid);
    EXPECT_EQ(70022U, identity().fsgid);
  });
}

TEST_F(FailedPathTest, ASuperuserWithoutANameIsTriedAsNobody) {
  FSAccount::daemonGid = 70022;
  asAlice([&] {
    const LogCapture log;
    // The lookups of the first block's owner come before.
    zolt_fault_arm("getpwuid_r", 2, 2, EIO);
    getFailedPath(file_.c_str(), true);
    EXPECT_TRUE(log.has(LOG_WARN, "Unable to map uid: 0 to username. Try nobody")) << log.all();
    EXPECT_EQ(2U, reports(log).size());
  });
}

TEST_F(FailedPathTest, ABlockTellsWhatAnAdministratorAsks) {
  zolt_fault_user("alice", 70001, 70002, 0);
  zolt_fault_group("staff-of-alice", 70002, 0);
  ASSERT_EQ(0, chown(inner_.c_str(), 70001, 70002));
  ASSERT_EQ(0, chmod(inner_.c_str(), 01755));
  ASSERT_EQ(0, test::storeAcl(inner_, "system.posix_acl_default"));
  struct stat st {};
  ASSERT_EQ(0, stat(inner_.c_str(), &st));
  const LogCapture log;
  struct stat last {};
  EXPECT_EQ(inner_, getFailedPathInt(inner_.c_str(), "/", true, last, false));
  const std::string report = reports(log).at(0);
  const std::string head =
      joined("", "\n", inner_, " ino:", st.st_ino, " owner:alice group:staff-of-alice mode:41755",
             " ctime: ", st.st_ctim.tv_sec, ",", st.st_ctim.tv_nsec, " mtime: ", st.st_mtim.tv_sec,
             ",", st.st_mtim.tv_nsec, " ACLs: ");
  ASSERT_EQ(0U, report.find(head)) << report;
  // The access list comes first, then the directory's default list.
  const std::string acls = report.substr(head.size());
  EXPECT_TRUE(acls.starts_with("user_obj:")) << acls;
  EXPECT_NE(std::string::npos, acls.find(" default:user_obj:")) << acls;
  EXPECT_EQ(last.st_ino, st.st_ino);
}

TEST_F(FailedPathTest, AFileHasNoDefaultList) {
  const LogCapture log;
  struct stat st {};
  getFailedPathInt(file_.c_str(), "/", true, st, false);
  EXPECT_EQ(std::string::npos, reports(log).at(0).find("default:")) << log.all();
}

TEST_F(FailedPathTest, OwnersWithoutNamesAreNumbers) {
  ASSERT_EQ(0, chown(file_.c_str(), 4123456789U, 4123456788U));
  const LogCapture log;
  struct stat st {};
  getFailedPathInt(file_.c_str(), "/", true, st, false);
  EXPECT_NE(std::string::npos, reports(log).at(0).find(" owner:4123456789 group:4123456788 "))
      << log.all();
  EXPECT_TRUE(log.has(LOG_WARN, "Unable to map uid to name for uid: 4123456789")) << log.all();
  EXPECT_TRUE(log.has(LOG_WARN, "Unable to map gid to name for gid: 4123456788")) << log.all();
}

TEST_F(FailedPathTest, AnAclThatCannotBeReadIsToldInItsPlace) {
  for (const int call : {1, 2}) {
    const LogCapture log;
    zolt_fault_arm("acl_get_file", call, call, EIO);
    struct stat st {};
    getFailedPathInt(locked_.c_str(), "/", true, st, false);
    const std::string report = reports(log).at(0);
    const std::string error = (call == 1 ? " ACLs: " : " ") + ("ACL error:" + locked_);
    EXPECT_NE(std::string::npos, report.find(error)) << report;
    EXPECT_EQ(call == 2, report.find("user_obj:") != std::string::npos) << report;
  }
}

TEST_F(FailedPathTest, WithoutLibaclTheReportSaysSo) {
  ACLUtil::uninit();
  const LogCapture log;
  struct stat st {};
  getFailedPathInt(file_.c_str(), "/", true, st, false);
  EXPECT_NE(std::string::npos,
            reports(log).at(0).find(" ACLs: ACL error:libacl.so.1 is not available"));
  EXPECT_TRUE(ACLUtil::init());
}

TEST_F(FailedPathTest, AVerboseWalkReportsWhatCannotBeStatedWithTheLastStatus) {
  const LogCapture log;
  struct stat st {};
  const std::string path = inner_ + "/none";
  EXPECT_EQ(inner_, getFailedPathInt(path.c_str(), inner_.c_str(), true, st, true));
  EXPECT_NE(std::string::npos, reports(log).at(0).find(path + " ino:0 ")) << log.all();

  ASSERT_EQ(0, stat(file_.c_str(), &st));
  EXPECT_EQ(inner_, getFailedPathInt(path.c_str(), inner_.c_str(), true, st, true));
  const std::string block = path + " ino:" + std::to_string(st.st_ino) + " ";
  EXPECT_NE(std::string::npos, reports(log).at(1).find(block)) << log.all();
}

TEST_F(FailedPathTest, AVerboseWalkEndsAtTheRootToo) {
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ("/", getFailedPathInt("/tmp", "/nowhere", true, st, true));
  EXPECT_EQ(Paths{"/tmp"}, blocks(reports(log).at(0)));
}

TEST_F(FailedPathTest, LinksAreFollowedWhenAsked) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("nowhere", link.c_str()));
  struct stat st {};
  const LogCapture log;
  EXPECT_EQ(link, getFailedPathInt(link.c_str(), "/", false, st, false));
  EXPECT_EQ(dir_.path(), getFailedPathInt(link.c_str(), "/", true, st, false));
}

TEST_F(FailedPathTest, WalksWithoutARootEnd) {
  struct stat st {};
  const LogCapture log;
  EXPECT_EQ(".", getFailedPathInt("no/such/path", "/", true, st, false));
  EXPECT_EQ(".", getFailedPathInt("", "/", true, st, false));
  EXPECT_EQ(".", getFailedPathInt("no/such/path", "/", true, st, true));
  EXPECT_EQ((Paths{"no/such/path", "no/such", "no", "."}), blocks(reports(log).back()));
  zolt_fault_arm("lstat", 1, 100, EACCES);
  EXPECT_EQ(".", getFailedPathInt("no/such/path", "/", true, st, false));
  EXPECT_EQ("\n@@@fails @.", reports(log).back());
}

TEST_F(FailedPathTest, WhatNoCallTakesIsPassedOverAtOnce) {
  std::string path = dir_.path();
  const std::string component = "/" + std::string(200, 'n');
  while (path.size() + component.size() < PATH_MAX)
    path += component;
  const std::string longest = path;
  while (path.size() < 70000)
    path += component;
  struct stat st {};
  const LogCapture log;
  EXPECT_EQ(dir_.path(), getFailedPathInt(path.c_str(), "/", true, st, false));
  getFailedPathInt(path.c_str(), dir_.path().c_str(), true, st, true);
  const Paths told = blocks(reports(log).back());
  ASSERT_LE(2U, told.size());
  EXPECT_EQ(path, told[0]);
  EXPECT_EQ(longest, told[1]);
  EXPECT_EQ(1 + (longest.size() - dir_.path().size()) / component.size(), told.size());
}

TEST_F(FailedPathTest, ALongPathIsPassedOverUpToItsLastComponentThatACallTakes) {
  struct stat st {};
  const LogCapture log;
  const std::string name(PATH_MAX - 2, 'n');
  getFailedPathInt(("/" + name + "/x").c_str(), "/", true, st, true);
  EXPECT_EQ((Paths{"/" + name + "/x", "/" + name}), blocks(reports(log).back()));
  getFailedPathInt(("/" + name + "n/x").c_str(), "/", true, st, true);
  EXPECT_EQ((Paths{"/" + name + "n/x"}), blocks(reports(log).back()));
}

TEST_F(FailedPathTest, ANullPathIsSpelledOut) {
  const LogCapture log;
  getFailedPath(nullptr, true);
  EXPECT_EQ((Paths{"\n@@@fails @null", ""}), reports(log));
}

}  // namespace
}  // namespace zolt
