#include "status/stat.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "acl_bytes.h"
#include "faults.h"
#include "log_capture.h"
#include "scripted_client.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

class StatTest : public testing::Test {
 protected:
  void SetUp() override { zolt_fault_clear(); }
  void TearDown() override { zolt_fault_clear(); }

  // One line of the form that dump_gid has.
  static bool dumpedGroups(const LogCapture& log, const std::string& label) {
    for (const LogCapture::Line& line : log.lines()) {
      if (line.text.starts_with(label + " (dump group ids):")) return line.level == LOG_DEBUG;
    }
    return false;
  }

  TempDir dir_;
};

TEST_F(StatTest, TellsWhatLstatTells) {
  const std::string file = dir_.file("file", "12345");
  for (const bool followLink : {true, false}) {
    const LogCapture log;
    struct stat st {};
    ASSERT_EQ(0, getStat(file.c_str(), followLink, st));
    EXPECT_EQ(5, st.st_size);
    const std::string line =
        joined("", "path: ", file, " ino: ", st.st_ino, " uid: ", st.st_uid, " gid: ", st.st_gid,
               " mtime: ", st.st_mtim.tv_sec, ",", st.st_mtim.tv_nsec,
               " ctime: ", st.st_ctim.tv_sec, ",", st.st_ctim.tv_nsec);
    ASSERT_EQ(1U, log.lines().size()) << log.all();
    EXPECT_TRUE(log.has(LOG_TRACE, line)) << log.all();
  }
}

TEST_F(StatTest, FollowsALinkOnlyWhenAsked) {
  const std::string file = dir_.file("file");
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  struct stat target {};
  ASSERT_EQ(0, getStat(file.c_str(), false, target));

  struct stat st {};
  zolt_fault_arm("stat", 0, 0, 0);
  ASSERT_EQ(0, getStat(link.c_str(), true, st));
  EXPECT_EQ(target.st_ino, st.st_ino);
  EXPECT_EQ(1, zolt_fault_calls("stat"));
  ASSERT_EQ(0, getStat(link.c_str(), false, st));
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(0, getStat(file.c_str(), true, st));
  EXPECT_EQ(1, zolt_fault_calls("stat")) << "no second call for what is no link";
}

TEST_F(StatTest, AMissingPathIsEnoent) {
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ(ENOENT, getStat((dir_ / "none").c_str(), true, st));
  EXPECT_EQ(ENOENT, getStat((dir_ / "none").c_str(), false, st));
  EXPECT_EQ((std::vector<std::string>{"lstat for " + (dir_ / "none") + " error 2 resolveLink 1",
                                      "lstat for " + (dir_ / "none") + " error 2 resolveLink 0"}),
            log.bodies(LOG_DEBUG));
  EXPECT_TRUE(log.bodies(LOG_TRACE).empty());
}

TEST_F(StatTest, APathBelowAFileIsMissing) {
  const std::string below = dir_.file("file") + "/below";
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ(ENOENT, getStat(below.c_str(), false, st));
  EXPECT_EQ(std::vector{"lstat for " + below + " error 20 resolveLink 0"}, log.bodies(LOG_DEBUG));
}

TEST_F(StatTest, ADanglingLinkIsMissingOnlyWhenFollowed) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("nowhere", link.c_str()));
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ(0, getStat(link.c_str(), false, st));
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(ENOENT, getStat(link.c_str(), true, st));
  EXPECT_EQ(std::vector{"link target is invalid, stat for " + link + " error 2 resolveLink 1"},
            log.bodies(LOG_DEBUG));
}

TEST_F(StatTest, ALinkToBelowAFileIsMissing) {
  dir_.file("file");
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file/below", link.c_str()));
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ(ENOENT, getStat(link.c_str(), true, st));
  EXPECT_EQ(std::vector{"link target is invalid, stat for " + link + " error 20 resolveLink 1"},
            log.bodies(LOG_DEBUG));
}

TEST_F(StatTest, ARefusedPathDumpsTheGroups) {
  for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG}) {
    const LogCapture log;
    struct stat st {};
    zolt_fault_arm("lstat", 1, 1, error);
    EXPECT_EQ(error, getStat("/", true, st));
    EXPECT_EQ(error == EACCES, dumpedGroups(log, "getStat error")) << log.all();
  }
}

TEST_F(StatTest, ARefusedTargetDumpsNothing) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("/", link.c_str()));
  const LogCapture log;
  struct stat st {};
  zolt_fault_arm("stat", 1, 1, EACCES);
  EXPECT_EQ(EACCES, getStat(link.c_str(), true, st));
  EXPECT_FALSE(dumpedGroups(log, "getStat error")) << log.all();
}

TEST_F(StatTest, ANullPathIsAnAddressOfNothing) {
  const LogCapture log;
  struct stat st {};
  EXPECT_EQ(EFAULT, getStat(nullptr, true, st));
  EXPECT_TRUE(log.has(LOG_DEBUG, "lstat for null error 14 resolveLink 1")) << log.all();
}

// Both forms of the extended stat, by the name of the client's call.
struct Extended {
  const char* call;
  std::function<int(const std::string& path, zolt_iattr64& attr)> run;
};

std::vector<Extended> bothForms() {
  return {{"zolt_stat_x", [](const std::string& path,
                             zolt_iattr64& attr) { return getStatX(path.c_str(), attr); }},
          {"zolt_fstat_x", [](const std::string& path, zolt_iattr64& attr) {
             const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
             const int result = getStatX(fd, attr);
             close(fd);
             return result;
           }}};
}

TEST_F(StatTest, TheExtendedAttributesAreTheClients) {
  const std::string file = dir_.file("file", "12345");
  struct stat st {};
  ASSERT_EQ(0, stat(file.c_str(), &st));
  for (const Extended& form : bothForms()) {
    const LogCapture log;
    zolt_iattr64 attr{};
    ASSERT_EQ(0, form.run(file, attr)) << form.call;
    EXPECT_EQ(st.st_ino, attr.ia_inode);
    EXPECT_EQ(5, attr.ia_size);
    EXPECT_TRUE(log.lines().empty()) << log.all();
  }
}

// The client takes the mask and the room for the record from its caller, and may write to both.
TEST_F(StatTest, TheClientIsAskedWithAnEmptyMaskAndRoomForOneRecord) {
  const std::string file = dir_.file("file", "12345");
  const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const test::ScriptedClient client;
  for (int round = 0; round < 2; ++round) {
    zolt_iattr64 attr{};
    EXPECT_EQ(0, getStatX(file.c_str(), attr));
    EXPECT_EQ(0, getStatX(fd, attr));
    EXPECT_EQ(5, attr.ia_size);
  }
  close(fd);
  using Stat = test::ScriptedClient::Stat;
  const Stat byPath{file, -1, 0, 264};
  const Stat byDescriptor{"", fd, 0, 264};
  EXPECT_EQ((std::vector{byPath, byDescriptor, byPath, byDescriptor}), client.stats());
}

TEST_F(StatTest, TheErrorsOfTheClientAreTheCallers) {
  for (const Extended& form : bothForms()) {
    for (const int error : {ENOENT, ENOTDIR, EACCES, EIO, ENOMEM}) {
      const LogCapture log;
      zolt_iattr64 attr{};
      zolt_fault_arm(form.call, 1, 1, error);
      EXPECT_EQ(error, form.run(dir_.path(), attr));
      EXPECT_EQ(error == EACCES, dumpedGroups(log, "getStatX error")) << log.all();
    }
  }
}

TEST_F(StatTest, AClientThatFailsWithoutAnErrorHasFailed) {
  for (const Extended& form : bothForms()) {
    zolt_iattr64 attr{};
    zolt_fault_arm(form.call, 1, 1, 0);
    EXPECT_EQ(EIO, form.run(dir_.path(), attr));
  }
}

TEST_F(StatTest, ARecordOfAnotherVersionIsRefused) {
  for (const Extended& form : bothForms()) {
    for (const int version : {2, 4, 0, -3}) {
      zolt_fault_clear();
      zolt_fault_attribute(0, 4, static_cast<unsigned>(version));
      zolt_fault_attribute(4, 4, 260);
      const LogCapture log;
      zolt_iattr64 attr{};
      EXPECT_EQ(EIO, form.run(dir_.path(), attr));
      // Two blanks: the sentence begins with one of its own.
      EXPECT_EQ(std::vector{"Invalid ia_version " + std::to_string(version) +
                            "  at least ZOLT 4.2.3 is required."},
                log.bodies(LOG_WARN));
      EXPECT_EQ(1U, log.lines().size()) << log.all();
      EXPECT_EQ(0U, log.lines()[0].text.find("@getStatX:"));
    }
  }
}

TEST_F(StatTest, ARecordOfAnotherLengthIsRemarkedOn) {
  for (const Extended& form : bothForms()) {
    zolt_fault_clear();
    zolt_fault_attribute(4, 4, 260);
    const LogCapture log;
    zolt_iattr64 attr{};
    EXPECT_EQ(0, form.run(dir_.path(), attr));
    EXPECT_EQ(std::vector<std::string>{"Unmatch ia_reclen 260 input 264"}, log.bodies(LOG_DEBUG));
  }
}

TEST_F(StatTest, TheAclBitIsTheLowestOfItsWord) {
  zolt_iattr64 attr{};
  const std::pair<uint32_t, int> cases[] = {
      {0, 0}, {1, 0x1000}, {0xfffffffe, 0}, {0xffffffff, 0x1000}, {0x1000, 0}};
  for (const auto& [flags, bit] : cases) {
    attr.ia_flags = flags;
    EXPECT_EQ(bit, getAclBit(attr)) << flags;
  }
}

TEST_F(StatTest, AnAclOfEitherTypeIsSeen) {
  const std::string plain = dir_.file("plain");
  const std::string access = dir_.file("access");
  ASSERT_EQ(0, test::storeAcl(access, "system.posix_acl_access"));
  const std::string parent = dir_ / "parent";
  ASSERT_EQ(0, mkdir(parent.c_str(), 0755));
  ASSERT_EQ(0, test::storeAcl(parent, "system.posix_acl_default"));
  for (const bool followLink : {true, false}) {
    const LogCapture log;
    EXPECT_EQ(0, getPermissionFromMode(plain, followLink));
    EXPECT_EQ(0x1000, getPermissionFromMode(access, followLink));
    EXPECT_EQ(0x1000, getPermissionFromMode(parent, followLink));
    EXPECT_EQ(0, getPermissionFromMode(dir_ / "none", followLink));
    EXPECT_EQ(
        (std::vector<std::string>{"No Acl for " + plain, "Acl is set for " + access,
                                  "Acl is set for " + parent, "No Acl for " + (dir_ / "none")}),
        log.bodies(LOG_DEBUG));
  }
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("access", link.c_str()));
  EXPECT_EQ(0x1000, getPermissionFromMode(link, true));
  EXPECT_EQ(0, getPermissionFromMode(link, false));
}

}  // namespace
}  // namespace zolt
