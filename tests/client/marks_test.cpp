// What the client remembers of a file, and when it looks again.
#include "marks.h"

#include <sys/statfs.h>
#include <sys/xattr.h>

#include <atomic>
#include <chrono>
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

  zolt_iattr64 attributes(const std::string& of) {
    unsigned mask = 0;
    zolt_iattr64 attr{};
    EXPECT_EQ(zolt_stat_x(of.c_str(), &mask, &attr, 264), 0);
    return attr;
  }
  zolt_iattr64 attributes() { return attributes(path); }

  // How often the names were listed for a status.
  int listings() {
    zolt_fault_arm("listxattr", 1000, 1000, EIO);
    attributes();
    return zolt_fault_calls("listxattr");
  }

  timespec clock_{};
};

TEST_F(MarksTest, NamesAreListedOnce) {
  EXPECT_EQ(listings(), 1);
  EXPECT_EQ(listings(), 0);
  zolt_fault_arm("fgetxattr", 1000, 1000, EIO);
  EXPECT_EQ(replicas(), 3U);
  auto request = bgfRequest(6001, 24);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(request.record.status, ENODATA);
  EXPECT_EQ(zolt_fault_calls("fgetxattr"), 0) << "what is not there is not asked for";
}

TEST_F(MarksTest, WhatWasFoundIsRememberedToo) {
  const std::string acl = someAcl();
  ASSERT_EQ(fsetxattr(fd, "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  ASSERT_EQ(setReplicas(7), 0);
  setClock(10);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(listings(), i == 0 ? 1 : 0);
    EXPECT_EQ(attributes().ia_flags, 1U);
    EXPECT_EQ(attributes().ia_replication, 7);
  }
}

// Another change within the same unit of time would not show.
TEST_F(MarksTest, AFileThatHasJustChangedIsLookedAtEachTime) {
  for (const time_t seconds : {-100, 0, 1, 2}) {
    setClock(seconds);
    EXPECT_EQ(listings(), 1) << seconds;
    EXPECT_EQ(listings(), 1) << seconds;
  }
  setClock(3);
  EXPECT_EQ(listings(), 1);
  EXPECT_EQ(listings(), 0);
}

TEST_F(MarksTest, EveryChangeShows) {
  const std::string acl = someAcl();
  EXPECT_EQ(attributes().ia_flags, 0U);
  ASSERT_EQ(fsetxattr(fd, "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  EXPECT_EQ(attributes().ia_flags, 1U);
  setClock(10);
  EXPECT_EQ(attributes().ia_flags, 1U);
  ASSERT_EQ(fremovexattr(fd, "system.posix_acl_access"), 0);
  EXPECT_EQ(attributes().ia_flags, 0U);

  setClock(10);
  EXPECT_EQ(attributes().ia_replication, 3);
  ASSERT_EQ(setReplicas(7), 0);
  EXPECT_EQ(attributes().ia_replication, 7);
  EXPECT_EQ(replicas(), 7U);

  setClock(10);
  auto request = bgfRequest(6001, 4);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  ASSERT_EQ(request.record.status, ENODATA);
  auto write = bgfRequest(6002, 4, std::string("\0\0\0\4", 4));
  ASSERT_EQ(zolt_fcntl(fd, &write), 0);
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(request.record.status, 0);
}

TEST_F(MarksTest, ADefaultAclIsOneToo) {
  const std::string acl = someAcl();
  const std::string& directory = dir.path();
  EXPECT_EQ(attributes(directory).ia_flags, 0U);
  ASSERT_EQ(setxattr(directory.c_str(), "system.posix_acl_default", acl.data(), acl.size(), 0), 0);
  EXPECT_EQ(attributes(directory).ia_flags, 1U);
}

// Names that cannot be listed say nothing, and nothing is remembered of them.
TEST_F(MarksTest, WithoutNamesEverythingIsAskedFor) {
  const std::string acl = someAcl();
  ASSERT_EQ(fsetxattr(fd, "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  ASSERT_EQ(setReplicas(7), 0);
  setClock(10);
  for (int i = 0; i < 2; ++i) {
    zolt_fault_arm("listxattr", 1, 1, E2BIG);
    const zolt_iattr64 attr = attributes();
    EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
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

// By a path that meant another file when the names were read, nothing is remembered.
TEST_F(MarksTest, APathThatMeansAnotherFileIsNotTrusted) {
  zolt_fault_arm("stat", 2, 2, ENOENT);
  attributes();
  EXPECT_EQ(zolt_fault_calls("stat"), 2);
  EXPECT_EQ(listings(), 1);
}

TEST_F(MarksTest, FileSystemsThatAreNotKnownAreLookedAtEachTime) {
  const std::string other = "/proc/self/status";
  attributes(other);
  zolt_fault_arm("listxattr", 1000, 1000, EIO);
  attributes(other);
  EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
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
    EXPECT_EQ(attributes(memory / "first").ia_flags, 0U);
    EXPECT_EQ(attributes(second).ia_flags, 1U);
  }
  zolt_fault_arm("listxattr", 1000, 1000, EIO);
  attributes(second);
  EXPECT_EQ(zolt_fault_calls("listxattr"), 0);
  attributes(memory / "first");
  EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
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
