// What the client remembers of a file, and when it looks again.
#include "marks.h"

#include <sys/statfs.h>
#include <sys/xattr.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "faults.h"
#include "slot.h"
#include "stage.h"

namespace zolt_local {
namespace {

using namespace test;

// user::rw-, user:1234:r--, group::r--, mask::r--, other::r-- in the kernel's form (acl(5)).
std::string someAcl() {
  const uint16_t entries[][4] = {{1, 6, 0xFFFF, 0xFFFF},
                                 {2, 4, 1234, 0},
                                 {4, 4, 0xFFFF, 0xFFFF},
                                 {16, 4, 0xFFFF, 0xFFFF},
                                 {32, 4, 0xFFFF, 0xFFFF}};
  std::string acl("\2\0\0\0", 4);
  acl.append(reinterpret_cast<const char*>(entries), sizeof entries);
  return acl;
}

struct MarksTest : ClientTest {
  MarksTest() { setClock(10); }
  void SetUp() override {
    struct statfs system {};
    ASSERT_EQ(statfs(path.c_str(), &system), 0);
    if (system.f_type == 0x794c7630) {
      GTEST_SKIP() << "the temporary folder lies on an overlay, of which nothing is remembered";
    }
  }
  ~MarksTest() override { zolt_fault_clear(); }

  // So many seconds after the file's last change.
  void setClock(time_t seconds) {
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    clock_ = {st.st_ctim.tv_sec + seconds, 0};
    zolt_fault_realtime(&clock_);
  }

  static zolt_iattr64 attributes(const std::string& of) {
    unsigned mask = 0;
    zolt_iattr64 attr{};
    EXPECT_EQ(zolt_stat_x(of.c_str(), &mask, &attr, 264), 0);
    return attr;
  }
  zolt_iattr64 attributes() { return attributes(path); }

  // A status, and how often the names were listed for it.
  static int listings(const std::string& of) {
    zolt_fault_arm("listxattr", 1000, 1000, EIO);
    attributes(of);
    return zolt_fault_calls("listxattr");
  }
  int listings() { return listings(path); }

  // Until it is remembered; kernels give all changes of one tick the same time.
  void meet(const std::string& of) {
    attributes(of);
    attributes(of);
    ASSERT_EQ(listings(of), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  void meet() {
    setClock(10);
    meet(path);
  }

  void setAcl() {
    const std::string acl = someAcl();
    ASSERT_EQ(fsetxattr(fd, "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  }

  timespec clock_{};
};

TEST_F(MarksTest, NamesAreListedTwice) {
  EXPECT_EQ(listings(), 1);
  EXPECT_EQ(listings(), 1);
  EXPECT_EQ(listings(), 0);
  zolt_fault_arm("fgetxattr", 1000, 1000, EIO);
  EXPECT_EQ(replicas(), 3U);
  auto request = bgfRequest(6001, 24);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(request.record.status, ENODATA);
  EXPECT_EQ(zolt_fault_calls("fgetxattr"), 0) << "what is not there is not asked for";
}

TEST_F(MarksTest, WhatIsLearnedByDescriptorIsKnownByPath) {
  setAcl();
  setClock(10);
  EXPECT_EQ(replicas(), 3U);
  EXPECT_EQ(replicas(), 3U);
  EXPECT_EQ(listings(), 0);
  EXPECT_EQ(attributes().ia_flags, 1U);
}

TEST_F(MarksTest, WhatWasFoundIsRememberedToo) {
  setAcl();
  ASSERT_EQ(setReplicas(7), 0);
  meet();
  EXPECT_EQ(attributes().ia_flags, 1U);
  EXPECT_EQ(attributes().ia_replication, 7);
}

// Another change within the same unit of time would not show.
TEST_F(MarksTest, AFileThatHasJustChangedIsLookedAtEachTime) {
  for (const time_t seconds : {-100, 0, 1, 2}) {
    setClock(seconds);
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(listings(), 1) << seconds;
  }
  setClock(3);
  EXPECT_EQ(listings() + listings(), 2);
  EXPECT_EQ(listings(), 0);
}

TEST_F(MarksTest, AnAclThatComesOrGoesShows) {
  meet();
  setAcl();
  EXPECT_EQ(attributes().ia_flags, 1U);
  meet();
  ASSERT_EQ(fremovexattr(fd, "system.posix_acl_access"), 0);
  EXPECT_EQ(attributes().ia_flags, 0U);
}

TEST_F(MarksTest, ADefaultAclThatComesOrGoesShows) {
  const std::string acl = someAcl();
  const char* directory = dir.path().c_str();
  clock_.tv_sec += 10;
  meet(directory);
  ASSERT_EQ(setxattr(directory, "system.posix_acl_default", acl.data(), acl.size(), 0), 0);
  EXPECT_EQ(attributes(directory).ia_flags, 1U);
  clock_.tv_sec += 10;
  meet(directory);
  ASSERT_EQ(removexattr(directory, "system.posix_acl_default"), 0);
  EXPECT_EQ(attributes(directory).ia_flags, 0U);
}

TEST_F(MarksTest, ASettingThatComesOrGoesShows) {
  meet();
  ASSERT_EQ(setReplicas(7), 0);
  EXPECT_EQ(attributes().ia_replication, 7);
  EXPECT_EQ(replicas(), 7U);
  meet();
  ASSERT_EQ(fremovexattr(fd, "trusted.zolt.replication"), 0);
  EXPECT_EQ(attributes().ia_replication, 3);

  meet();
  auto request = bgfRequest(6001, 4);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  ASSERT_EQ(request.record.status, ENODATA);
  auto write = bgfRequest(6002, 4, std::string("\0\0\0\4", 4));
  ASSERT_EQ(zolt_fcntl(fd, &write), 0);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(request.record.status, 0);
}

TEST_F(MarksTest, AnotherFileOfThatNameIsAnotherFile) {
  meet();
  const std::string other = dir.file("other");
  const std::string acl = someAcl();
  ASSERT_EQ(setxattr(other.c_str(), "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  ASSERT_EQ(rename(other.c_str(), path.c_str()), 0);
  EXPECT_EQ(attributes().ia_flags, 1U);
}

// Without its effective capabilities a process does not see what is kept in "trusted.".
TEST_F(MarksTest, WhatIsToBeWrittenIsNotTakenFromMemory) {
  ASSERT_EQ(setReplicas(7), 0);
  ASSERT_EQ(restripe(), 0);
  ASSERT_EQ(setReplicas(2), 0);
  setClock(10);
  ASSERT_EQ(seteuid(65534), 0);
  meet(path);
  EXPECT_EQ(attributes().ia_replication, 3) << "as nobody sees it";
  ASSERT_EQ(seteuid(0), 0);
  ASSERT_EQ(setReplicas(5), 0);
  uint8_t kept[2] = {};
  ASSERT_EQ(fgetxattr(fd, "trusted.zolt.replication", kept, sizeof kept), 2);
  EXPECT_EQ(kept[0], 5);
  EXPECT_EQ(kept[1], 7) << "what the data was placed with";
}

// Names that cannot be listed say nothing, and nothing is remembered of them.
TEST_F(MarksTest, WithoutNamesEverythingIsAskedFor) {
  setAcl();
  ASSERT_EQ(setReplicas(7), 0);
  setClock(10);
  for (int i = 0; i < 4; ++i) {
    zolt_fault_arm("listxattr", 1, 2, E2BIG);
    const zolt_iattr64 attr = attributes();
    EXPECT_EQ(zolt_fault_calls("listxattr"), i == 0 ? 1 : 2);
    EXPECT_EQ(attr.ia_flags, 1U);
    EXPECT_EQ(attr.ia_replication, 7);
  }
}

TEST_F(MarksTest, WithoutNamesADefaultAclIsFound) {
  const std::string acl = someAcl();
  ASSERT_EQ(setxattr(dir.path().c_str(), "system.posix_acl_default", acl.data(), acl.size(), 0), 0);
  zolt_fault_arm("listxattr", 1, 1, E2BIG);
  EXPECT_EQ(attributes(dir.path()).ia_flags, 1U);
}

// The path leads elsewhere when the file is met again: nothing is learned of either.
TEST_F(MarksTest, APathThatLeadsElsewhereTeachesNothing) {
  attributes();
  zolt_fault_arm("stat", 2, 2, ENOENT);  // of the file that was pinned
  attributes();
  EXPECT_EQ(zolt_fault_calls("stat"), 2);
  EXPECT_EQ(listings(), 1);
  EXPECT_EQ(listings(), 0);
}

TEST_F(MarksTest, FileSystemsThatAreNotKnownAreLookedAtEachTime) {
  const std::string other = "/proc/self/status";
  for (int i = 0; i < 4; ++i) {
    zolt_fault_arm("stat", 1000, 1000, EIO);
    EXPECT_EQ(listings(other), 1);
    EXPECT_EQ(zolt_fault_calls("stat"), i == 1 ? 2 : 1) << "what they are is asked once";
  }
}

// A link that flips between a file with an ACL and one without, as fast as it can.
TEST_F(MarksTest, AFlippingPathSpoilsNoOnesMarks) {
  const zolt::test::TempDir memory("/dev/shm");
  setAcl();
  const std::string plain = dir.file("plain");
  const std::string link = memory / "link";
  const std::string spare = memory / "spare";
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  ASSERT_EQ(symlink(plain.c_str(), spare.c_str()), 0);
  std::atomic<bool> done{false};
  std::thread flipper([&] {
    while (!done)
      renameat2(AT_FDCWD, link.c_str(), AT_FDCWD, spare.c_str(), RENAME_EXCHANGE);
  });
  int wrong = 0;
  for (int i = 0; i < 2000; ++i) {
    EXPECT_EQ(fchmod(fd, 0600), 0);
    setClock(10);
    for (int turn = 0; turn < 6; ++turn)
      attributes(link);
    if (attributes().ia_flags != 1 || attributes(plain).ia_flags != 0) ++wrong;
  }
  done = true;
  flipper.join();
  EXPECT_EQ(wrong, 0);
}

// Files whose inode numbers are as far apart as there are slots.
struct SharedSlotTest : MarksTest {
  SharedSlotTest() : memory("/dev/shm") {
    const uint64_t wanted = inodeOf(memory.file("first")) % 16384;
    for (int i = 0; second.empty() && i < 200000; ++i) {
      const std::string candidate = memory.file("candidate");
      if (inodeOf(candidate) % 16384 == wanted) {
        second = candidate;
      } else {
        std::filesystem::remove(candidate);
      }
    }
  }
  static uint64_t inodeOf(const std::string& of) {
    struct stat st;
    EXPECT_EQ(stat(of.c_str(), &st), 0);
    return st.st_ino;
  }

  zolt::test::TempDir memory;
  std::string second;
};

TEST_F(SharedSlotTest, OneTakesTheOthersPlaceAndNeitherItsMarks) {
  ASSERT_FALSE(second.empty());
  const std::string acl = someAcl();
  ASSERT_EQ(setxattr(second.c_str(), "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  clock_.tv_sec = time(nullptr) + 100;
  for (int i = 0; i < 3; ++i) {
    meet(memory / "first");
    EXPECT_EQ(attributes(memory / "first").ia_flags, 0U);
    EXPECT_EQ(listings(second), 1);
    meet(second);
    EXPECT_EQ(attributes(second).ia_flags, 1U);
    EXPECT_EQ(listings(memory / "first"), 1);
  }
}

// More threads than processors, so that they are stopped halfway through writing and reading.
TEST(SlotTest, AMixtureIsNeverFound) {
  const Version files[] = {{1, 1, 1, 1}, {2, 2, 2, 2}};
  Slot slot;
  std::atomic<bool> done{false};
  std::atomic<int> found{0};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (uint32_t turn = 0; !done; ++turn)
        slot.keep(files[turn % 2], 1 + turn % 2);
    });
    threads.emplace_back([&] {
      while (!done) {
        Marks marks = 0;
        if (!slot.find(files[0], marks)) continue;
        ++found;
        if (marks != 1) ++wrong;
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(1));
  done = true;
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_GT(found, 0);
  EXPECT_EQ(wrong, 0);
}

TEST(SlotTest, OnlyTheVeryFileIsFound) {
  Slot slot;
  slot.keep({1, 2, 3, 4}, 5);
  Marks marks = 9;
  for (const Version& other :
       {Version{9, 2, 3, 4}, Version{1, 9, 3, 4}, Version{1, 2, 9, 4}, Version{1, 2, 3, 9}})
    EXPECT_FALSE(slot.find(other, marks));
  EXPECT_EQ(marks, 9U);
  EXPECT_TRUE(slot.find({1, 2, 3, 4}, marks));
  EXPECT_EQ(marks, 5U);
}

}  // namespace
}  // namespace zolt_local
