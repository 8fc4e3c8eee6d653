#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <set>
#include <thread>

#include "listing_fixture.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;
using ListingTest = test::ListingFixture;

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
  add(memory, all);
  Buffer<char> out;
  std::vector<char> rest(100);
  out.setBuffer(rest.data(), rest.size());
  EXPECT_EQ(list("/no/such/directory", out), 0);
  add(rest, all);
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
  add(memory, all);
  EXPECT_EQ(getDirentCount(dir.path()).count, 3);
  all.merge(listAll(64));
  EXPECT_EQ(all, wanted);
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
          more = list(own.path(), out);
          add(memory, all);
        }
        EXPECT_EQ(all, wanted);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
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

// The first position that is not the beginning.
TEST_F(ListingTest, APositionOfOneIsOneToGoBackTo) {
  for (const char* name : {"aa", "bb", "cc"})
    dir.file(name);
  const Entries wanted = expected(dir.path());
  zolt_fault_clear();
  zolt_fault_numbered_entries(1);
  Entries all;
  for (int call = 1; call <= 3; ++call) {
    std::vector<char> one(4 + 14 + 2);
    EXPECT_EQ(list(one), call < 3 ? 1 : 0) << call;
    add(one, all);
    EXPECT_EQ(zolt_fault_calls("seekdir"), std::min(call, 2));
  }
  EXPECT_EQ(zolt_fault_calls("rewinddir"), 0);
  EXPECT_EQ(all, wanted);
}

class ChangingListingTest : public ListingTest {
 protected:
  ChangingListingTest() {
    for (int i = 0; i < 10; ++i)
      dir.file("f" + std::to_string(i));
  }

  // Adds the records of one more call to `all`.
  int more(bool dirOnly = false) {
    std::vector<char> memory(4 + 3 * (14 + 2));
    const int result = list(memory, dirOnly);
    add(memory, all);
    return result;
  }

  Entries all;
};

// Its times may be those of another machine's clock: that they lie long ago proves nothing.
TEST_F(ChangingListingTest, GoesBackAtEachFullCallHoweverOldTheDirectoryIs) {
  const timespec later{time(nullptr) + 100, 0};
  zolt_fault_realtime(&later);
  EXPECT_EQ(listAll(4 + 3 * (14 + 2)), expected(dir.path()));
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(zolt_fault_calls("seekdir"), 3);
}

TEST_F(ChangingListingTest, WhatIsRemovedBetweenTwoCallsIsNotListed) {
  ASSERT_EQ(more(), 1);
  for (int i = 0; i < 10; ++i) {
    const std::string name = "f" + std::to_string(i);
    if (!all.contains(name)) unlink((dir / name).c_str());
  }
  EXPECT_EQ(more(), 0);
  EXPECT_EQ(all, expected(dir.path()));
  EXPECT_EQ(all.size(), 3U);
}

TEST_F(ChangingListingTest, WhatIsReplacedBetweenTwoCallsIsListedAsItIs) {
  ASSERT_EQ(more(), 1);
  for (int i = 0; i < 10; ++i) {
    const std::string name = "f" + std::to_string(i);
    if (all.contains(name)) continue;
    unlink((dir / name).c_str());
    mkdir((dir / name).c_str(), 0755);
  }
  while (more() == 1)
    continue;
  EXPECT_EQ(all, expected(dir.path()));
}

TEST_F(ChangingListingTest, AListingGoesOnWhateverThePath) {
  ASSERT_EQ(more(), 1);
  const TempDir other;
  std::vector<char> memory(4096);
  Buffer<char> out;
  out.setBuffer(memory.data(), memory.size());
  EXPECT_EQ(list(other.path(), out), 0);
  add(memory, all);
  EXPECT_EQ(all, expected(dir.path()));
  EXPECT_EQ(zolt_fault_calls("seekdir"), 1);
}

// The files that were passed over on the way to the directory that did not fit come again when the
// next call wants them.
TEST_F(ChangingListingTest, WhatOneCallPassesOverTheNextMayWant) {
  for (const char* name : {"d1", "d2", "d3", "d4"})
    mkdir((dir / name).c_str(), 0755);
  ASSERT_EQ(more(true), 1);
  const Entries first = all;
  const dirent* entry = nullptr;
  std::set<std::string> passed;
  DIR* stream = opendir(dir.path().c_str());
  while ((entry = readdir(stream)) != nullptr && passed.size() < first.size())
    if (first.contains(entry->d_name)) passed.insert(entry->d_name);
  std::set<std::string> rest;
  for (; entry != nullptr; entry = readdir(stream))
    if (entry->d_name[0] != '.') rest.insert(entry->d_name);
  closedir(stream);
  while (more() == 1)
    continue;
  for (const auto& [name, unused] : first)
    all.erase(name);
  std::set<std::string> names;
  for (const auto& [name, unused] : all)
    names.insert(name);
  EXPECT_EQ(names, rest);
}

TEST_F(ListingTest, CountsAllButTheDots) {
  EXPECT_EQ(getDirentCount(dir.path()).count, 0);
  for (int i = 0; i < 77; ++i)
    dir.file("f" + std::to_string(i));
  mkdir((dir / "d").c_str(), 0755);
  EXPECT_EQ(getDirentCount(dir.path()).count, 78);
  EXPECT_FALSE(getDirentCount(dir.path()).failure);
}

TEST_F(ListingTest, EveryKindOfEntryHasItsType) {
  dir.file("file");
  ASSERT_EQ(mkdir((dir / "dir").c_str(), 0755), 0);
  ASSERT_EQ(symlink("nowhere", (dir / "link").c_str()), 0);
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0644), 0);
  ASSERT_EQ(mknod((dir / "socket").c_str(), S_IFSOCK | 0644, 0), 0);
  std::map<std::string, int> types;
  for (const auto& [name, entry] : listAll(4096))
    types[name] = entry.type;
  EXPECT_EQ(types, (std::map<std::string, int>{
                       {"file", 8}, {"dir", 4}, {"link", 10}, {"fifo", 1}, {"socket", 12}}));
}

TEST_F(ListingTest, ATypeThatTheFileSystemDoesNotTellIsNotLookedUp) {
  dir.file("file");
  ASSERT_EQ(mkdir((dir / "dir").c_str(), 0755), 0);
  zolt_fault_clear();
  zolt_fault_entry_type(DT_UNKNOWN);
  std::vector<char> memory(4096);
  ASSERT_EQ(list(memory), 0);
  const auto entries = parse(memory);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].second.type, 0);
  EXPECT_EQ(entries[1].second.type, 0);
  ASSERT_EQ(list(memory, true), 0);
  EXPECT_TRUE(parse(memory).empty());
  EXPECT_EQ(getDirentCount(dir.path()).count, 2);
  EXPECT_EQ(zolt_fault_calls("stat"), 3) << "the directory's own, once a call";
}

}  // namespace
}  // namespace zolt
