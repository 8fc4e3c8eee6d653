// What listings and counts say of themselves.
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "listing_fixture.h"
#include "log_capture.h"

namespace zolt {
namespace {

using test::LogCapture;
using ListingLogTest = test::ListingFixture;

TEST_F(ListingLogTest, LogsItsSteps) {
  dir.file("aa");
  dir.file("bb");
  const LogCapture log;
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  auto debug = log.bodies(LOG_DEBUG);
  ASSERT_EQ(debug.size(), 2U);
  const std::string state = "dir " + dir.path() + " dirp=0x";
  EXPECT_TRUE(debug[0].starts_with("open " + state)) << debug[0];
  EXPECT_TRUE(
      debug[0].ends_with(", ent count=0, buffer report=capacity: 20 total write: 0 remaining: 20"))
      << debug[0];
  EXPECT_TRUE(debug[1].starts_with("yield " + state)) << debug[1];
  EXPECT_TRUE(
      debug[1].ends_with(", ent count=1, buffer report=capacity: 20 total write: 4 remaining: 16"))
      << debug[1];

  ASSERT_EQ(list(memory), 0);
  debug = log.bodies(LOG_DEBUG);
  ASSERT_EQ(debug.size(), 3U);
  EXPECT_EQ(debug[2], "yield dir " + dir.path() +
                          " dirp=0, ent count=1, buffer report=capacity: 20 total write: 4 "
                          "remaining: 16");
  bool closed = false;
  for (const std::string& body : log.bodies(LOG_TRACE)) {
    closed |= body.starts_with("close " + state) &&
              body.ends_with(
                  ", ent count=1, buffer report=capacity: 20 total write: 20 "
                  "remaining: 0");
  }
  EXPECT_TRUE(closed) << log.all();
}

TEST_F(ListingLogTest, ALargeDirectoryIsWarnedAboutOnEveryCall) {
  dir.file("aa");
  dir.file("bb");
  const LogCapture log(LOG_WARN);
  std::vector<char> memory(4 + 14 + 2);
  zolt_fault_directory_size(104857601);
  ASSERT_EQ(list(memory), 1);
  ASSERT_EQ(list(memory), 0);
  getDirentCount(dir.path());
  const std::string warning = "Dir " + dir.path() + " is too large: 104857601";
  EXPECT_EQ(log.bodies(LOG_WARN), (std::vector<std::string>{warning, warning, warning}));
}

TEST_F(ListingLogTest, ADirectoryOfTheLimitIsNot) {
  const LogCapture log(LOG_WARN);
  zolt_fault_directory_size(104857600);
  std::vector<char> memory(64);
  list(memory);
  getDirentCount(dir.path());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListingLogTest, ALargeFileIsNoLargeDirectory) {
  const std::string file = dir.file("large");
  ASSERT_EQ(truncate(file.c_str(), 104857601), 0);
  const LogCapture log(LOG_WARN);
  EXPECT_TRUE(getDirentCount(file).failure);
  EXPECT_TRUE(log.lines().empty());
}

// Each line as its level, the native or function that it names, and the first word that it says.
std::vector<std::string> outline(const LogCapture& log) {
  std::vector<std::string> lines;
  for (const LogCapture::Line& line : log.lines()) {
    const std::string body = line.body();
    const std::string function = line.function();
    lines.push_back(std::to_string(line.level) + " " + function.substr(function.rfind('_') + 1) +
                    " " + body.substr(0, body.find(' ')));
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST_F(ListingLogTest, EachLineComesInItsPlace) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  zolt_fault_directory_size(104857601);
  std::vector<char> memory(4 + 14 + 2);
  {
    const LogCapture log;
    list(memory);
    EXPECT_EQ(outline(log),
              (Lines{"0 setBuffer wrapper", "3 getDirentsNative Dir", "1 getDirentsNative open",
                     "1 getDirentsNative yield", "0 ~Buffer unwrapper"}));
  }
  {
    const LogCapture log;
    list(memory);
    EXPECT_EQ(outline(log),
              (Lines{"0 setBuffer wrapper", "3 getDirentsNative Dir", "0 getDirentsNative close",
                     "1 getDirentsNative yield", "0 ~Buffer unwrapper"}));
  }
  list(memory);
  const LogCapture log;
  closeDirents("/path");
  EXPECT_EQ(outline(log), (Lines{"1 getDirentsNative close"}));
}

TEST_F(ListingLogTest, EachLineOfAFailureComesInItsPlace) {
  zolt_fault_directory_size(104857601);
  std::vector<char> memory(64);
  {
    const LogCapture log;
    zolt_fault_arm("opendir", 1, 1, EMFILE);
    EXPECT_THROW(list(memory), IOException);
    EXPECT_EQ(outline(log),
              (Lines{"0 setBuffer wrapper", "3 getDirentsNative Dir", "0 ~Buffer unwrapper"}));
  }
  {
    const LogCapture log;
    zolt_fault_arm("readdir", 1, 1, EIO);
    EXPECT_THROW(list(memory), IOException);
    EXPECT_EQ(outline(log),
              (Lines{"0 setBuffer wrapper", "3 getDirentsNative Dir", "1 getDirentsNative open",
                     "1 getDirentsNative readdir", "0 ~Buffer unwrapper"}));
  }
  {
    const LogCapture log;
    std::vector<char> small(4);
    EXPECT_THROW(list(small), std::out_of_range);
    EXPECT_EQ(outline(log), (Lines{"0 setBuffer wrapper", "3 getDirentsNative Dir",
                                   "1 getDirentsNative open", "0 ~Buffer unwrapper"}));
  }
}

TEST_F(ListingLogTest, ACountSaysLittle) {
  zolt_fault_directory_size(104857601);
  for (const int error : {ENOENT, EMFILE}) {
    const LogCapture log;
    zolt_fault_arm("opendir", 1, 1, error);
    try {
      getDirentCount(dir.path());
    } catch (const IOException&) {
      EXPECT_EQ(error, EMFILE);
    }
    EXPECT_EQ(outline(log), (Lines{"3 getDirentCountNative Dir"}));
  }
  const LogCapture log;
  zolt_fault_arm("readdir", 1, 1, EIO);
  getDirentCount(dir.path());
  EXPECT_EQ(outline(log), (Lines{"3 getDirentCountNative Dir", "1 getDirentCountNative readdir"}));
}

// Its virtual machine does not know the thread any more when the listing ends.
TEST_F(ListingLogTest, AListingThatEndsWithItsThreadSaysNothing) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  const LogCapture log;
  size_t said = 0;
  std::thread([&] {
    std::vector<char> memory(4 + 14 + 2);
    EXPECT_EQ(list(memory), 1);
    said = log.lines().size();
  }).join();
  EXPECT_GT(said, 0U);
  EXPECT_EQ(log.lines().size(), said) << log.all();
}

}  // namespace
}  // namespace zolt
