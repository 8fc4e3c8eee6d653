// Listings and counts of directories that cannot be opened, read or closed.
#include <cerrno>
#include <regex>

#include "listing_fixture.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;
using ListingFailureTest = test::ListingFixture;

TEST_F(ListingFailureTest, AMissingDirectoryIsAnError) {
  std::vector<char> memory(64, 'x');
  Buffer<char> out;
  out.setBuffer(memory.data(), memory.size());
  try {
    list(dir / "none", out);
    FAIL();
  } catch (const IOException& error) {
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_STREQ(error.what(), "failed to open directory");
  }
  EXPECT_EQ(memory, std::vector<char>(64, 'x'));
}

TEST_F(ListingFailureTest, EachErrnoOfOpendirIsReported) {
  std::vector<char> memory(64);
  for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, ENOTDIR, ELOOP, EIO}) {
    zolt_fault_arm("opendir", 1, 1, error);
    std::string text;
    EXPECT_EQ(errorOf(memory, &text), error);
    EXPECT_EQ(text, "failed to open directory");
  }
}

TEST_F(ListingFailureTest, AReadErrorEndsTheListingAndLeavesTheCountUnwritten) {
  for (int i = 0; i < 10; ++i)
    dir.file("f" + std::to_string(i));
  // The two dots are read too, wherever they come.
  for (const int nth : {1, 2, 5, 12, 13}) {
    std::vector<char> memory(4096, 'x');
    zolt_fault_arm("readdir", nth, nth, EIO);
    const LogCapture log;
    std::string text;
    EXPECT_EQ(errorOf(memory, &text), EIO);
    EXPECT_EQ(text, "failed to readdir");
    EXPECT_EQ(std::string(memory.data(), 4), "xxxx");
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
    const auto bodies = log.bodies(LOG_DEBUG);
    const std::regex line("readdir error dir " + dir.path() +
                          " dirp=0x[0-9a-f]+, ent count=[0-9]+, buffer report=capacity: 4096 "
                          "total write: [0-9]+ remaining: [0-9]+, errno=5");
    EXPECT_TRUE(std::regex_match(bodies.back(), line)) << bodies.back();
  }
  EXPECT_EQ(listAll(4096).size(), 10U);
}

// What was read ahead is lost with it, so going on would leave a gap.
TEST_F(ListingFailureTest, AStreamThatCannotGoBackEndsTheListing) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  for (const auto& [call, room] : {std::pair{"seekdir", 2}, std::pair{"rewinddir", 1}}) {
    std::vector<char> memory(4 + 14 + static_cast<size_t>(room));
    zolt_fault_arm(call, 1, 1, EIO);
    std::string text;
    EXPECT_EQ(errorOf(memory, &text), EIO) << call;
    EXPECT_EQ(text, "failed to readdir");
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }
}

TEST_F(ListingFailureTest, AReadErrorInAContinuationEndsTheListingToo) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  zolt_fault_arm("readdir", 1, 1, EBADF);
  std::string text;
  EXPECT_EQ(errorOf(memory, &text), EBADF);
  EXPECT_EQ(openDescriptors(), descriptorsBefore);
}

TEST_F(ListingFailureTest, AStaleErrnoIsNoReadError) {
  dir.file("a");
  std::vector<char> memory(64);
  errno = EIO;
  EXPECT_EQ(list(memory), 0);
  errno = EIO;
  EXPECT_FALSE(getDirentCount(dir.path()).failure);
}

TEST_F(ListingFailureTest, ATooSmallBufferIsAnErrorAndEndsTheListing) {
  dir.file("a");
  for (const size_t size : {0U, 1U, 4U}) {
    std::vector<char> memory(4 + 14);
    ASSERT_EQ(list(memory), 1);
    memory.resize(size);
    try {
      list(memory);
      FAIL();
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "Buffer overflow: current pos 0 seek 4");
    }
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }
}

TEST_F(ListingFailureTest, AnOpenErrorComesBeforeThatOfTheBuffer) {
  Buffer<char> out;
  out.setBuffer(nullptr, 0);
  EXPECT_THROW(list(dir / "none", out), IOException);
}

TEST_F(ListingFailureTest, AFailedStatDoesNotMatter) {
  dir.file("a");
  zolt_fault_arm("stat", 1, 1, EIO);
  EXPECT_EQ(listAll(64).size(), 1U);
}

TEST_F(ListingFailureTest, CountingWhatIsNotThereOrMayNotBeReadIsZero) {
  EXPECT_EQ(getDirentCount(dir / "none").count, 0);
  for (const int error : {ENOENT, EACCES}) {
    zolt_fault_arm("opendir", 1, 1, error);
    const DirentCount found = getDirentCount(dir.path());
    EXPECT_EQ(found.count, 0);
    EXPECT_FALSE(found.failure);
  }
}

TEST_F(ListingFailureTest, CountingReportsAnyOtherFailureToOpen) {
  for (const int error : {ENOTDIR, EMFILE, ENOMEM, EPERM}) {
    zolt_fault_arm("opendir", 1, 1, error);
    const Failure failure = getDirentCount(dir.path()).failure;
    ASSERT_TRUE(failure) << error;
    EXPECT_EQ(failure->code(), error);
    EXPECT_EQ(failure->what(), "failed to open directory " + dir.path());
  }
}

TEST_F(ListingFailureTest, CountingAnswersWhatItReadBeforeAnError) {
  for (int i = 0; i < 5; ++i)
    dir.file("f" + std::to_string(i));
  zolt_fault_arm("readdir", 8, 8, EIO);  // after five files and two dots
  const LogCapture log;
  const DirentCount found = getDirentCount(dir.path());
  EXPECT_EQ(found.count, 5);
  ASSERT_TRUE(found.failure);
  EXPECT_EQ(found.failure->code(), EIO);
  EXPECT_STREQ(found.failure->what(), "failed to readdir");
  EXPECT_TRUE(log.has(LOG_DEBUG, "readdir error, errno=5"));
}

// On an empty directory the two dots are read, and skipped, right before the end.
TEST_F(ListingFailureTest, AnErrnoThatASuccessfulReadLeavesIsNoError) {
  zolt_fault_stray_errno(EIO);
  for (const char* name : {"", "a", "b"}) {
    if (*name != '\0') dir.file(name);
    std::vector<char> memory(64);
    std::string text;
    EXPECT_EQ(errorOf(memory, &text), 0) << text;
    EXPECT_FALSE(getDirentCount(dir.path()).failure);
  }
  EXPECT_EQ(listAll(64).size(), 2U);
}

TEST_F(ListingFailureTest, ACloseThatFailsChangesNoResult) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  zolt_fault_arm("closedir", 1, 100, EIO);
  EXPECT_EQ(listAll(64).size(), 2U);
  EXPECT_EQ(zolt_fault_calls("closedir"), 1);

  const DirentCount found = getDirentCount(dir.path());
  EXPECT_EQ(found.count, 2);
  EXPECT_FALSE(found.failure);
  EXPECT_EQ(zolt_fault_calls("closedir"), 2);

  std::vector<char> one(4 + 14 + 2);
  ASSERT_EQ(list(one), 1);
  errno = EACCES;
  closeDirents(dir.path());
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(zolt_fault_calls("closedir"), 3);
}

TEST_F(ListingFailureTest, ACloseThatFailsDoesNotHideTheReadError) {
  dir.file("a");
  zolt_fault_arm("closedir", 1, 100, EBADF);
  zolt_fault_arm("readdir", 2, 2, ENOMEM);
  std::vector<char> memory(64);
  std::string text;
  EXPECT_EQ(errorOf(memory, &text), ENOMEM);
  EXPECT_EQ(text, "failed to readdir");

  zolt_fault_arm("readdir", 2, 2, ENOMEM);
  EXPECT_EQ(getDirentCount(dir.path()).failure->code(), ENOMEM);
  EXPECT_EQ(zolt_fault_calls("closedir"), 2);
}

}  // namespace
}  // namespace zolt
