#include "dirents/listing.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <thread>
#include <vector>

#include "faults.h"
#include "jni/io_exception.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::openDescriptors;
using test::TempDir;

struct Entry {
  uint64_t inode;
  int type;
  bool operator==(const Entry&) const = default;
};
using Entries = std::map<std::string, Entry>;

// The records of a buffer, in their order.
std::vector<std::pair<std::string, Entry>> parse(const std::vector<char>& memory) {
  std::vector<std::pair<std::string, Entry>> entries;
  int32_t count = 0;
  std::memcpy(&count, memory.data(), sizeof count);
  size_t pos = sizeof count;
  for (int32_t i = 0; i < count; ++i) {
    DirentHeader header{};
    std::memcpy(&header, memory.data() + pos, sizeof header);
    pos += sizeof header;
    const uint64_t inode = header.inode;
    entries.emplace_back(std::string(memory.data() + pos, static_cast<size_t>(header.nameLength)),
                         Entry{inode, header.type});
    pos += static_cast<size_t>(header.nameLength);
  }
  return entries;
}

Entries expected(const std::string& path, bool dirOnly = false) {
  Entries found;
  DIR* stream = opendir(path.c_str());
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || (dirOnly && entry->d_type != DT_DIR)) continue;
    found[name] = {entry->d_ino, entry->d_type};
  }
  closedir(stream);
  return found;
}

struct ListingTest : ::testing::Test {
  ~ListingTest() override {
    zolt_fault_clear();
    closeDirents("");
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }

  // One call.
  int list(std::vector<char>& memory, bool dirOnly = false) {
    Buffer<char> out;
    out.setBuffer(memory.data(), memory.size());
    return getDirents(dir.path(), out, dirOnly);
  }

  // A whole listing through buffers of that size; how many it took goes to `calls`.
  Entries listAll(size_t size, bool dirOnly = false) {
    Entries all;
    int result = 1;
    for (calls = 0; result == 1; ++calls) {
      std::vector<char> memory(size, 'x');
      result = list(memory, dirOnly);
      for (const auto& [name, entry] : parse(memory)) {
        EXPECT_TRUE(all.emplace(name, entry).second) << name << " came twice";
      }
    }
    return all;
  }

  int errorOf(std::vector<char>& memory, std::string* text) {
    try {
      list(memory);
    } catch (const IOException& error) {
      *text = error.what();
      return error.code();
    }
    return 0;
  }

  long descriptorsBefore = openDescriptors();
  TempDir dir;
  int calls = 0;
};

TEST_F(ListingTest, AnEmptyDirectoryIsOneCallWithCountZero) {
  std::vector<char> memory(5, 'x');
  EXPECT_EQ(list(memory), 0);
  EXPECT_EQ(memory, (std::vector<char>{0, 0, 0, 0, 'x'}));
}

TEST_F(ListingTest, ARecordIsInodeTypeLengthAndName) {
  dir.file("name");
  struct stat st;
  ASSERT_EQ(stat((dir / "name").c_str(), &st), 0);
  std::vector<char> memory(64, 'x');
  ASSERT_EQ(list(memory), 0);

  std::vector<char> wanted(64, 'x');
  const int32_t count = 1;
  const uint64_t inode = st.st_ino;
  const uint16_t type = 8;
  const int32_t length = 4;
  std::memcpy(wanted.data(), &count, 4);
  std::memcpy(wanted.data() + 4, &inode, 8);
  std::memcpy(wanted.data() + 12, &type, 2);
  std::memcpy(wanted.data() + 14, &length, 4);
  std::memcpy(wanted.data() + 18, "name", 4);
  EXPECT_EQ(memory, wanted);
}

TEST_F(ListingTest, AnExactBufferHoldsASingleEntry) {
  dir.file("exact");
  std::vector<char> memory(4 + 14 + 5);
  EXPECT_EQ(list(memory), 0);
  EXPECT_EQ(parse(memory).size(), 1U);
}

TEST_F(ListingTest, ABufferOneByteTooSmallStartsTheDirectoryOver) {
  dir.file("exact");
  for (int i = 0; i < 3; ++i) {
    std::vector<char> memory(4 + 14 + 4);
    EXPECT_EQ(list(memory), 1);
    EXPECT_TRUE(parse(memory).empty());
  }
  std::vector<char> enough(64);
  EXPECT_EQ(list(enough), 0);
  EXPECT_EQ(parse(enough).size(), 1U);
}

// A continuation remembers nothing of the call before: when its very first entry does not fit it
// goes back to the beginning of the directory, not to where the call before had stopped.
TEST_F(ListingTest, AContinuationWhoseFirstEntryDoesNotFitStartsOver) {
  for (const char* name : {"aa", "bb", "cc"})
    dir.file(name);
  std::vector<char> one(4 + 14 + 2);
  ASSERT_EQ(list(one), 1);
  const auto first = parse(one);
  ASSERT_EQ(first.size(), 1U);
  std::vector<char> none(4 + 14 + 1);
  ASSERT_EQ(list(none), 1);
  EXPECT_TRUE(parse(none).empty());
  ASSERT_EQ(list(one), 1);
  EXPECT_EQ(parse(one), first);
}

TEST_F(ListingTest, EveryBufferSizeGivesTheSameEntries) {
  for (int i = 0; i < 150; ++i)
    dir.file("f" + std::string(static_cast<size_t>(i), 'n'));
  mkdir((dir / "sub").c_str(), 0755);
  EXPECT_EQ(symlink("nowhere", (dir / "link").c_str()), 0);
  const Entries wanted = expected(dir.path());
  ASSERT_EQ(wanted.size(), 152U);
  for (const size_t size : {168U, 200U, 500U, 1000U, 4096U, 20000U}) {
    EXPECT_EQ(listAll(size), wanted) << size;
  }
  EXPECT_EQ(calls, 1);
}

TEST_F(ListingTest, OneEntryABufferIsAThousandBuffers) {
  for (int i = 0; i < 1000; ++i)
    dir.file("f" + std::to_string(1000 + i));
  const Entries wanted = expected(dir.path());
  EXPECT_EQ(listAll(4 + 14 + 5), wanted);
  // A buffer that the last entry fills exactly still shows the end in the same call.
  EXPECT_EQ(calls, 1000);
}

TEST_F(ListingTest, DirOnlyShowsDirectoriesAlone) {
  for (int i = 0; i < 50; ++i) {
    dir.file("f" + std::to_string(i));
    mkdir((dir / ("d" + std::to_string(i))).c_str(), 0755);
  }
  const Entries wanted = expected(dir.path(), true);
  ASSERT_EQ(wanted.size(), 50U);
  EXPECT_EQ(listAll(60, true), wanted);
}

TEST_F(ListingTest, DirOnlyOnFilesAloneIsOver) {
  dir.file("a");
  dir.file("b");
  std::vector<char> memory(64);
  EXPECT_EQ(list(memory, true), 0);
  EXPECT_TRUE(parse(memory).empty());
}

TEST_F(ListingTest, NamesThatOnlyLookLikeDotsAreEntries) {
  for (const char* name : {"...", ".a", "..b", "a.", "a.."})
    dir.file(name);
  EXPECT_EQ(listAll(4096).size(), 5U);
  EXPECT_EQ(getDirentCount(dir.path()).count, 5);
}

TEST_F(ListingTest, NamesAreBytes) {
  const std::string odd = "\xff\x80 \n\t\xe2\x82";
  dir.file(odd);
  EXPECT_EQ(listAll(64).count(odd), 1U);
}

TEST_F(ListingTest, AListingUnderWayGoesOnWhateverThePath) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  const Entries wanted = expected(dir.path());
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  Entries all;
  for (const auto& entry : parse(memory))
    all.insert(entry);
  Buffer<char> out;
  std::vector<char> rest(100);
  out.setBuffer(rest.data(), rest.size());
  EXPECT_EQ(getDirents("/no/such/directory", out, false), 0);
  for (const auto& entry : parse(rest))
    all.insert(entry);
  EXPECT_EQ(all, wanted);
}

TEST_F(ListingTest, CloseEndsTheListingAndTheNextOneStartsAnew) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  const auto first = parse(memory);
  {
    const LogCapture log;
    closeDirents(dir.path());
    EXPECT_TRUE(log.has(LOG_DEBUG, "close dir" + dir.path()));
  }
  EXPECT_EQ(openDescriptors(), descriptorsBefore);
  const LogCapture log;
  closeDirents(dir.path());
  EXPECT_TRUE(log.lines().empty());
  ASSERT_EQ(list(memory), 1);
  EXPECT_EQ(parse(memory), first);
}

TEST_F(ListingTest, ACountLeavesTheListingAlone) {
  for (const char* name : {"aa", "bb", "cc"})
    dir.file(name);
  const Entries wanted = expected(dir.path());
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  Entries all;
  for (const auto& entry : parse(memory))
    all.insert(entry);
  EXPECT_EQ(getDirentCount(dir.path()).count, 3);
  all.merge(listAll(64));
  EXPECT_EQ(all, wanted);
}

TEST_F(ListingTest, AMissingDirectoryIsAnError) {
  std::vector<char> memory(64, 'x');
  Buffer<char> out;
  out.setBuffer(memory.data(), memory.size());
  try {
    getDirents(dir / "none", out, false);
    FAIL();
  } catch (const IOException& error) {
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_STREQ(error.what(), "failed to open directory");
  }
  EXPECT_EQ(memory, std::vector<char>(64, 'x'));
}

TEST_F(ListingTest, EachErrnoOfOpendirIsReported) {
  std::vector<char> memory(64);
  for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, ENOTDIR, ELOOP, EIO}) {
    zolt_fault_arm("opendir", 1, 1, error);
    std::string text;
    EXPECT_EQ(errorOf(memory, &text), error);
    EXPECT_EQ(text, "failed to open directory");
  }
}

TEST_F(ListingTest, AReadErrorEndsTheListingAndLeavesTheCountUnwritten) {
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
    EXPECT_TRUE(bodies.back().starts_with("readdir error dir " + dir.path() + " dirp=0x"));
    EXPECT_TRUE(bodies.back().ends_with(", errno=5")) << bodies.back();
  }
  EXPECT_EQ(listAll(4096).size(), 10U);
}

TEST_F(ListingTest, AReadErrorInAContinuationEndsTheListingToo) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  zolt_fault_arm("readdir", 1, 1, EBADF);
  std::string text;
  EXPECT_EQ(errorOf(memory, &text), EBADF);
  EXPECT_EQ(openDescriptors(), descriptorsBefore);
}

TEST_F(ListingTest, AStaleErrnoIsNoReadError) {
  dir.file("a");
  std::vector<char> memory(64);
  errno = EIO;
  EXPECT_EQ(list(memory), 0);
  errno = EIO;
  EXPECT_EQ(getDirentCount(dir.path()).error, 0);
}

TEST_F(ListingTest, ATooSmallBufferIsAnErrorAndEndsTheListing) {
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

TEST_F(ListingTest, AnOpenErrorComesBeforeThatOfTheBuffer) {
  Buffer<char> out;
  out.setBuffer(nullptr, 0);
  EXPECT_THROW(getDirents(dir / "none", out, false), IOException);
}

TEST_F(ListingTest, AThreadThatEndsTakesItsListingAlong) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  std::thread([&] {
    std::vector<char> memory(4 + 14 + 2);
    EXPECT_EQ(list(memory), 1);
    EXPECT_EQ(openDescriptors(), descriptorsBefore + 1);
  }).join();
  EXPECT_EQ(openDescriptors(), descriptorsBefore);
}

TEST_F(ListingTest, EveryThreadHasAListingOfItsOwn) {
  std::array<TempDir, 8> dirs;
  for (size_t d = 0; d < dirs.size(); ++d) {
    for (int i = 0; i < 300; ++i)
      dirs[d].file("d" + std::to_string(d) + "-" + std::to_string(i));
  }
  std::vector<std::thread> threads;
  for (const TempDir& own : dirs) {
    threads.emplace_back([&own] {
      const Entries wanted = expected(own.path());
      for (int round = 0; round < 5; ++round) {
        Entries all;
        int more = 1;
        while (more == 1) {
          std::vector<char> memory(128);
          Buffer<char> out;
          out.setBuffer(memory.data(), memory.size());
          more = getDirents(own.path(), out, false);
          for (const auto& entry : parse(memory))
            all.insert(entry);
        }
        EXPECT_EQ(all, wanted);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

TEST_F(ListingTest, LogsItsSteps) {
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

TEST_F(ListingTest, ALargeDirectoryIsWarnedAboutOnEveryCall) {
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

TEST_F(ListingTest, ADirectoryOfTheLimitIsNot) {
  const LogCapture log(LOG_WARN);
  zolt_fault_directory_size(104857600);
  std::vector<char> memory(64);
  list(memory);
  getDirentCount(dir.path());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListingTest, ALargeFileIsNoLargeDirectory) {
  const std::string file = dir.file("large");
  ASSERT_EQ(truncate(file.c_str(), 104857601), 0);
  const LogCapture log(LOG_WARN);
  EXPECT_THROW(getDirentCount(file), IOException);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListingTest, SteppingBackSeeksOrRewinds) {
  for (const char* name : {"aa", "bb"})
    dir.file(name);
  zolt_fault_clear();
  std::vector<char> memory(4 + 14 + 2);
  ASSERT_EQ(list(memory), 1);
  EXPECT_EQ(zolt_fault_calls("seekdir"), 1);
  EXPECT_EQ(zolt_fault_calls("rewinddir"), 0);
  std::vector<char> none(4 + 14 + 1);
  ASSERT_EQ(list(none), 1);
  EXPECT_EQ(zolt_fault_calls("seekdir"), 1);
  EXPECT_EQ(zolt_fault_calls("rewinddir"), 1);
}

TEST_F(ListingTest, AFailedStatDoesNotMatter) {
  dir.file("a");
  zolt_fault_arm("stat", 1, 1, EIO);
  EXPECT_EQ(listAll(64).size(), 1U);
}

TEST_F(ListingTest, CountsAllButTheDots) {
  EXPECT_EQ(getDirentCount(dir.path()).count, 0);
  for (int i = 0; i < 77; ++i)
    dir.file("f" + std::to_string(i));
  mkdir((dir / "d").c_str(), 0755);
  EXPECT_EQ(getDirentCount(dir.path()).count, 78);
  EXPECT_EQ(getDirentCount(dir.path()).error, 0);
}

TEST_F(ListingTest, CountingWhatIsNotThereOrMayNotBeReadIsZero) {
  EXPECT_EQ(getDirentCount(dir / "none").count, 0);
  for (const int error : {ENOENT, EACCES}) {
    zolt_fault_arm("opendir", 1, 1, error);
    const DirentCount found = getDirentCount(dir.path());
    EXPECT_EQ(found.count, 0);
    EXPECT_EQ(found.error, 0);
  }
}

TEST_F(ListingTest, CountingReportsAnyOtherFailureToOpen) {
  for (const int error : {ENOTDIR, EMFILE, ENOMEM, EPERM}) {
    zolt_fault_arm("opendir", 1, 1, error);
    try {
      getDirentCount(dir.path());
      ADD_FAILURE() << error;
    } catch (const IOException& failure) {
      EXPECT_EQ(failure.code(), error);
      EXPECT_EQ(failure.what(), "failed to open directory " + dir.path());
    }
  }
}

TEST_F(ListingTest, CountingAnswersWhatItReadBeforeAnError) {
  for (int i = 0; i < 5; ++i)
    dir.file("f" + std::to_string(i));
  zolt_fault_arm("readdir", 8, 8, EIO);  // after five files and two dots
  const LogCapture log;
  const DirentCount found = getDirentCount(dir.path());
  EXPECT_EQ(found.count, 5);
  EXPECT_EQ(found.error, EIO);
  EXPECT_TRUE(log.has(LOG_DEBUG, "readdir error, errno=5"));
}

}  // namespace
}  // namespace zolt
