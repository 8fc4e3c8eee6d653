#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "file_status_fixture.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;

class FileStatusChangeTest : public test::FileStatusFixture {};

// Times of a file around a known one: before, the same, after, by seconds and by nanoseconds.
struct Known {
  FileTime time;
  bool fileIsLater;
};

// The file's own time is 100 s and 500 ns.
constexpr Known KNOWN[] = {
    {{99, 500}, true},   {{99, 999999999}, true}, {{100, 499}, true}, {{100, 500}, false},
    {{100, 501}, false}, {{101, 0}, false},       {{0, 0}, true},     {{-1, 999}, true},
};

TEST_F(FileStatusChangeTest, TheFullFormNeedsBothTimesLater) {
  for (const unsigned offset : {96U, 120U}) {
    attribute(offset, 8, 100);
    attribute(offset + 8, 8, 500);
  }
  for (const Known& ctime : KNOWN) {
    for (const Known& mtime : KNOWN) {
      Memory memory;
      const LogCapture log;
      const StatusAnswer answer =
          getFileStatus(file_.c_str(), true, true, ctime.time, mtime.time, memory);
      const bool changed = ctime.fileIsLater && mtime.fileIsLater;
      EXPECT_EQ(changed, answer.written);
      EXPECT_EQ(0, answer.error);
      EXPECT_EQ(!changed, memory.untouched());
      EXPECT_EQ(!changed,
                log.has(LOG_TRACE, "not changed: " + file_ + " mtime: 100,500 ctime: 100,500"))
          << log.all();
    }
  }
}

TEST_F(FileStatusChangeTest, AnUnchangedFileIsTracedWithBothItsTimes) {
  attribute(96, 8, 100);
  attribute(104, 8, 500);
  attribute(120, 8, 200);
  attribute(128, 8, 700);
  const std::string line = "not changed: " + file_ + " mtime: 100,500 ctime: 200,700";
  const std::pair<FileTime, FileTime> cases[] = {// ctime, mtime
                                                 {{200, 700}, NEVER},
                                                 {NEVER, {100, 500}},
                                                 {{200, 700}, {100, 500}}};
  for (const auto& [ctime, mtime] : cases) {
    Memory memory;
    const LogCapture log;
    EXPECT_FALSE(getFileStatus(file_.c_str(), true, true, ctime, mtime, memory).written);
    EXPECT_EQ(std::vector{line}, log.bodies(LOG_TRACE));
  }
  Memory memory;
  const LogCapture log;
  EXPECT_FALSE(getFileStatusFast(file_.c_str(), true, {200, 700}, memory).written);
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

// A caller that polls need not bring a buffer that could hold the record.
TEST_F(FileStatusChangeTest, AnUnchangedFileNeedsNoBuffer) {
  constexpr FileTime EVER{INT64_MAX, 0};
  for (const unsigned long capacity : {0UL, 1UL, 87UL}) {
    Memory memory(capacity);
    const LogCapture log;
    for (const StatusAnswer& answer :
         {getFileStatus(file_.c_str(), true, true, EVER, NEVER, memory),
          getFileStatus(file_.c_str(), true, true, NEVER, EVER, memory),
          getFileStatusFast(file_.c_str(), true, EVER, memory)}) {
      EXPECT_FALSE(answer.written);
      EXPECT_EQ(0, answer.error);
    }
    EXPECT_TRUE(memory.untouched());
    EXPECT_TRUE(log.bodies(LOG_ERROR).empty()) << log.all();
  }
}

TEST_F(FileStatusChangeTest, TheFastFormLooksAtTheStatusChangeAlone) {
  attribute(96, 8, 1);
  attribute(120, 8, 100);
  attribute(128, 8, 500);
  for (const Known& ctime : KNOWN) {
    Memory memory;
    const StatusAnswer answer = getFileStatusFast(file_.c_str(), true, ctime.time, memory);
    EXPECT_EQ(ctime.fileIsLater, answer.written);
    EXPECT_EQ(0, answer.error);
    EXPECT_EQ(!ctime.fileIsLater, memory.untouched());
  }
}

TEST_F(FileStatusChangeTest, NanosecondsHaveNoSign) {
  attribute(120, 8, 100);
  attribute(128, 4, -1);
  Memory memory;
  EXPECT_TRUE(getFileStatusFast(file_.c_str(), true, {100, 999999999}, memory).written);
}

TEST_F(FileStatusChangeTest, OneLaterTimeIsAChangeToTheTest) {
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  const FileTime mtime{st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
  const auto before = [](const FileTime& time, int64_t seconds, int64_t nanoseconds) {
    return FileTime{time.seconds - seconds, time.nanoseconds - nanoseconds};
  };
  const struct {
    FileTime ctime;
    FileTime mtime;
    bool changed;
  } cases[] = {
      {ctime, mtime, false},
      {before(ctime, 0, 1), mtime, true},
      {ctime, before(mtime, 0, 1), true},
      {before(ctime, 1, -999999999), mtime, true},
      {ctime, before(mtime, 1, -999999999), true},
      {before(ctime, -1, 999999999), before(mtime, -1, 999999999), false},
      {before(ctime, 0, -1), before(mtime, 0, -1), false},
      {{0, 0}, {0, 0}, true},
  };
  for (const auto& each : cases) {
    const LogCapture log;
    bool changed = !each.changed;
    EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, each.ctime, each.mtime, changed));
    EXPECT_EQ(each.changed, changed);
    const std::string line =
        joined("", "path: ", file_, " mtime: ", mtime.seconds, ",", mtime.nanoseconds,
               " ctime: ", ctime.seconds, ",", ctime.nanoseconds);
    EXPECT_EQ(each.changed, log.has(LOG_TRACE, line)) << log.all();
  }
  bool changed = false;
  EXPECT_EQ(ENOENT, isCMTimeChanged((file_ + "/below").c_str(), true, NEVER, NEVER, changed));
  EXPECT_FALSE(changed);
}

TEST_F(FileStatusChangeTest, ANewerModificationAloneIsNoChangeToTheFullForm) {
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  Memory memory;
  EXPECT_FALSE(getFileStatus(file_.c_str(), true, true, ctime, NEVER, memory).written);
  bool changed = false;
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, NEVER, changed));
  EXPECT_TRUE(changed);
}

TEST_F(FileStatusChangeTest, ALinkHasTimesOfItsOwnAndItsTargetsWhenFollowed) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  const std::string dangling = dir_ / "dangling";
  ASSERT_EQ(0, symlink("nowhere", dangling.c_str()));
  const timespec of2000[] = {{2000, 0}, {2000, 0}};
  const timespec of1000[] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, file_.c_str(), of2000, 0));
  for (const std::string& each : {link, dangling})
    ASSERT_EQ(0, utimensat(AT_FDCWD, each.c_str(), of1000, AT_SYMLINK_NOFOLLOW));
  constexpr FileTime EVER{INT64_MAX, 0};
  const auto changed = [&](const std::string& path, bool followLink, int64_t since) {
    bool answer = false;
    EXPECT_EQ(0, isCMTimeChanged(path.c_str(), followLink, EVER, {since, 0}, answer));
    return answer;
  };
  EXPECT_TRUE(changed(link, true, 1999));
  EXPECT_FALSE(changed(link, true, 2000));
  for (const std::string& each : {link, dangling}) {
    EXPECT_TRUE(changed(each, false, 999)) << each;
    EXPECT_FALSE(changed(each, false, 1000)) << each;
  }
  bool answer = false;
  EXPECT_EQ(ENOENT, isCMTimeChanged(dangling.c_str(), true, NEVER, NEVER, answer));
  EXPECT_FALSE(answer);
}

// A file that was changed after it was modified, as after a chmod: each time has its own to meet.
TEST_F(FileStatusChangeTest, EachTimeIsComparedWithItsOwn) {
  attribute(96, 8, 100);
  attribute(104, 8, 500);
  attribute(120, 8, 200);
  attribute(128, 8, 700);
  const auto written = [this](const FileTime& ctime, const FileTime& mtime) {
    Memory memory;
    return getFileStatus(file_.c_str(), true, false, ctime, mtime, memory).written;
  };
  EXPECT_TRUE(written({150, 0}, {50, 0}));
  EXPECT_TRUE(written({200, 699}, {100, 499}));
  EXPECT_FALSE(written({50, 0}, {150, 0}));
  EXPECT_FALSE(written({250, 0}, {0, 0}));

  const timespec old[] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, file_.c_str(), old, 0));
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  bool changed = true;
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, {1000, 0}, changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, {999, 0}, changed));
  EXPECT_TRUE(changed);
}

}  // namespace
}  // namespace zolt
