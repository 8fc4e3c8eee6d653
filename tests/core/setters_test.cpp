#include "status/setters.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "faults.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

class SettersTest : public testing::Test {
 protected:
  void SetUp() override { zolt_fault_clear(); }
  void TearDown() override { zolt_fault_clear(); }

  struct stat status() const {
    struct stat st {};
    EXPECT_EQ(0, stat(file_.c_str(), &st));
    return st;
  }

  TempDir dir_;
  std::string file_ = dir_.file("file");
};

TEST_F(SettersTest, KeepsTheStickyBitAndThePermissionsAndDropsTheRest) {
  const std::pair<int, mode_t> cases[] = {
      {0644, 0644},
      {0, 0},
      {0777, 0777},
      {01755, 01755},
      {01777, 01777},
      {02755, 0755},
      {04755, 0755},
      {07777, 01777},
      {010644, 0644},
      {077777, 01777},
      // C's remainder of a negative number, of which the kernel takes the low bits.
      {-1, 07777},
      {-1024, 0},
      {-01023, 06755},
      {-32768, 0},
  };
  for (const auto& [permission, mode] : cases) {
    EXPECT_EQ(0, setPermission(file_.c_str(), static_cast<int16_t>(permission)));
    EXPECT_EQ(mode, status().st_mode & 07777) << permission;
  }
}

TEST_F(SettersTest, PermissionsOfALinkAreItsTargets) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  const LogCapture log;
  EXPECT_EQ(0, setPermission(link.c_str(), 0751));
  EXPECT_EQ(0751U, status().st_mode & 07777);
  EXPECT_EQ(std::vector{link + ", 489"}, log.bodies(LOG_TRACE));
  EXPECT_EQ(1U, log.lines().size()) << log.all();
}

TEST_F(SettersTest, APermissionThatCannotBeSetIsTheKernelsError) {
  EXPECT_EQ(ENOENT, setPermission((dir_ / "none").c_str(), 0644));
  EXPECT_EQ(ENOTDIR, setPermission((file_ + "/below").c_str(), 0644));
  for (const int error : {EPERM, EACCES, EROFS}) {
    zolt_fault_arm("chmod", 1, 1, error);
    EXPECT_EQ(error, setPermission(file_.c_str(), 0644));
  }
}

TEST_F(SettersTest, TimesAreMilliseconds) {
  const std::pair<int64_t, timespec> cases[] = {
      {1500, {1, 500000000}},
      {0, {0, 0}},
      {1, {0, 1000000}},
      {999, {0, 999000000}},
      {1700000000123, {1700000000, 123000000}},
      {-2000, {-2, 0}},
  };
  for (const auto& [value, time] : cases) {
    EXPECT_EQ(0, setTimes(file_.c_str(), value, 7000));
    EXPECT_EQ(time.tv_sec, status().st_mtim.tv_sec) << value;
    EXPECT_EQ(time.tv_nsec, status().st_mtim.tv_nsec) << value;
    EXPECT_EQ(7, status().st_atim.tv_sec);
    EXPECT_EQ(0, setTimes(file_.c_str(), 9000, value));
    EXPECT_EQ(time.tv_sec, status().st_atim.tv_sec) << value;
    EXPECT_EQ(time.tv_nsec, status().st_atim.tv_nsec) << value;
    EXPECT_EQ(9, status().st_mtim.tv_sec);
  }
}

TEST_F(SettersTest, MinusOneLeavesATimeAsItIs) {
  ASSERT_EQ(0, setTimes(file_.c_str(), 5000, 6000));
  EXPECT_EQ(0, setTimes(file_.c_str(), -1, 8000));
  EXPECT_EQ(5, status().st_mtim.tv_sec);
  EXPECT_EQ(8, status().st_atim.tv_sec);
  EXPECT_EQ(0, setTimes(file_.c_str(), 9000, -1));
  EXPECT_EQ(9, status().st_mtim.tv_sec);
  EXPECT_EQ(8, status().st_atim.tv_sec);
  const LogCapture log;
  EXPECT_EQ(0, setTimes(file_.c_str(), -1, -1));
  EXPECT_EQ(9, status().st_mtim.tv_sec);
  EXPECT_EQ(8, status().st_atim.tv_sec);
  EXPECT_EQ(std::vector{file_ + ", -1, -1"}, log.bodies(LOG_TRACE));
}

TEST_F(SettersTest, AFractionBeforeTheEpochIsRefused) {
  EXPECT_EQ(EINVAL, setTimes(file_.c_str(), -2, 0));
  EXPECT_EQ(EINVAL, setTimes(file_.c_str(), 0, -1500));
}

TEST_F(SettersTest, TimesOfALinkAreItsTargets) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  EXPECT_EQ(0, setTimes(link.c_str(), 3000, 4000));
  EXPECT_EQ(3, status().st_mtim.tv_sec);
}

TEST_F(SettersTest, ARelativePathHasNoDirectory) {
  const LogCapture log;
  EXPECT_EQ(EBADF, setTimes("file", 1, 2));
  EXPECT_EQ(std::vector<std::string>{"failed to set time for file mtime 1 atime 2"},
            log.bodies(LOG_ERROR));
}

TEST_F(SettersTest, TimesThatCannotBeSetAreTheKernelsError) {
  EXPECT_EQ(ENOENT, setTimes((dir_ / "none").c_str(), 1, 2));
  for (const int error : {EPERM, EACCES, EROFS}) {
    zolt_fault_arm("utimensat", 1, 1, error);
    const LogCapture log;
    EXPECT_EQ(error, setTimes(file_.c_str(), 1500, -1));
    EXPECT_EQ(std::vector{"failed to set time for " + file_ + " mtime 1500 atime -1"},
              log.bodies(LOG_ERROR));
  }
}

}  // namespace
}  // namespace zolt
