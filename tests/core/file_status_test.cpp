#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "faults.h"
#include "file_status_fixture.h"
#include "log_capture.h"
#include "placement/replication.h"

namespace zolt {
namespace {

using test::BLOCK_SIZE_AT;
using test::LogCapture;
using test::REPLICATION_AT;

class FileStatusTest : public test::FileStatusFixture {};

TEST_F(FileStatusTest, AFileInFull) {
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "client", 6, 0));
  attribute(REPLICATION_AT, 1, 200);
  attribute(BLOCK_SIZE_AT, 4, 4096);
  defaultBlockSize = 5000;
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const LogCapture log;
  expectWritten(full(file_));
  EXPECT_EQ(st.st_ino, memory_.at<uint64_t>(0));
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  EXPECT_EQ(st.st_mode, memory_.at<uint32_t>(24));
  EXPECT_EQ(8192U, memory_.blockSize());
  EXPECT_EQ(st.st_mtim.tv_sec, memory_.at<int64_t>(48));
  EXPECT_EQ(st.st_mtim.tv_nsec, memory_.at<int64_t>(56));
  EXPECT_EQ(0, memory_.at<uint16_t>(80));
  EXPECT_EQ(200, memory_.replication()) << "one byte without a sign";
  EXPECT_EQ(6, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(88));
  const auto time = [](const timespec& each) {
    return std::to_string(each.tv_sec) + "," + std::to_string(each.tv_nsec);
  };
  const std::string line =
      joined("", "path: ", file_, " ino: ", st.st_ino, " size: 5 mode ", st.st_mode,
             " uid: 0 gid 0 ", "mtime: ", time(st.st_mtim), " ctime: ", time(st.st_ctim),
             " blocksize 8192 rep 200 acl 0 lease 6 bgf 0");
  EXPECT_TRUE(log.has(LOG_TRACE, line)) << log.all();
}

TEST_F(FileStatusTest, AFileInItsFastForm) {
  attribute(REPLICATION_AT, 1, 3);
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const LogCapture log;
  zolt_fault_arm("open", 0, 0, 0);
  zolt_fault_arm("setfsuid", 0, 0, 0);
  expectWritten(fast(file_));
  EXPECT_EQ(0, zolt_fault_calls("open"));
  EXPECT_EQ(0, zolt_fault_calls("setfsuid"));
  EXPECT_EQ(st.st_ino, memory_.at<uint64_t>(0));
  EXPECT_EQ(0, memory_.at<uint16_t>(80));
  EXPECT_EQ(0xeeeeeeeeU, memory_.blockSize());
  EXPECT_EQ(0xeeee, memory_.replication());
  EXPECT_EQ(0xeeee, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(1U, log.bodies(LOG_TRACE).size()) << log.all();
  EXPECT_EQ(0U, log.bodies(LOG_TRACE)[0].find("path: " + file_ + " ino: ")) << log.all();
}

// No two members have the same value, so each must stand where its name does.
TEST_F(FileStatusTest, BothFormsTraceEveryMemberByItsName) {
  const int fd = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, setBGF(fd, 4));
  close(fd);
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "client", 6, 0));
  attribute(12, 4, 0100640);
  attribute(16, 8, 71);
  attribute(24, 8, 72);
  attribute(32, 8, 73);
  attribute(56, 8, 74);
  attribute(72, 8, 75);
  attribute(80, 8, 76);
  attribute(96, 8, 77);
  attribute(104, 8, 78);
  attribute(REPLICATION_AT, 1, 79);
  attribute(120, 8, 80);
  attribute(128, 8, 81);
  attribute(BLOCK_SIZE_AT, 4, 4096);
  attribute(184, 4, 1);
  const std::string common =
      "path: " + file_ +
      " ino: 73 size: 74 mode 33184 uid: 71 gid 72 mtime: 77,78 ctime: 80,81 blocksize ";
  {
    const LogCapture log;
    expectWritten(full(file_));
    EXPECT_TRUE(log.has(LOG_TRACE, common + "16384 rep 79 acl 4096 lease 6 bgf 4")) << log.all();
  }
  const LogCapture log;
  expectWritten(fast(file_));
  EXPECT_EQ(std::vector{common + "0 rep 0 acl 4096 lease 0 bgf 0"}, log.bodies(LOG_TRACE));
}

TEST_F(FileStatusTest, WhatIsNoRegularFileHasNoBlocks) {
  defaultBlockSize = 4096;
  attribute(REPLICATION_AT, 1, 3);
  const std::string fifo = dir_ / "fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0644));
  ASSERT_EQ(0, setxattr(dir_.path().c_str(), "user.lease.holder", "client", 6, 0));
  zolt_fault_arm("zolt_fcntl", 0, 0, 0);
  zolt_fault_arm("fgetxattr", 0, 0, 0);
  for (const std::string& path : {dir_.path(), fifo}) {  // the FIFO has no writer to wait for
    expectWritten(full(path));
    EXPECT_EQ(0U, memory_.blockSize());
    EXPECT_EQ(0, memory_.replication());
    EXPECT_EQ(0, memory_.leaseLength());
  }
  EXPECT_EQ(0, zolt_fault_calls("zolt_fcntl"));
}

TEST_F(FileStatusTest, TheDefaultBlockSizeIsRoundedUpToWholeBlocks) {
  attribute(BLOCK_SIZE_AT, 4, 4096);
  const std::pair<uint64_t, uint32_t> cases[] = {
      {0, 0},
      {1, 4096},
      {4096, 4096},
      {4097, 8192},
      {134217728, 134217728},
      {0x100000001, 4096},      // stored as 32 bits
      {0xffffffffffffffff, 0},  // the sum wraps
  };
  for (const auto& [size, reported] : cases) {
    defaultBlockSize = size;
    expectWritten(full(file_));
    EXPECT_EQ(reported, memory_.blockSize()) << size;
  }
}

TEST_F(FileStatusTest, ABlockGroupFactorMultipliesTheBlockSize) {
  const int fd = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, setBGF(fd, 4));
  close(fd);
  defaultBlockSize = 1 << 20;
  const std::pair<int, uint32_t> cases[] = {
      {4096, 16384}, {1, 4}, {0x40000000, 0}, {0, 0}, {-1, 0xfffffffc}};
  for (const auto& [size, reported] : cases) {
    zolt_fault_attribute(0, 0, 0);
    attribute(BLOCK_SIZE_AT, 4, size);
    const LogCapture log;
    expectWritten(full(file_));
    EXPECT_EQ(reported, memory_.blockSize()) << size;
    EXPECT_TRUE(log.bodies(LOG_TRACE).back().ends_with(" bgf 4")) << log.all();
  }
}

TEST_F(FileStatusTest, ABlockSizeThatCannotDivideIsAnInputError) {
  attribute(REPLICATION_AT, 1, 3);
  for (const int size : {0, -1, -4096}) {
    attribute(BLOCK_SIZE_AT, 4, size);
    const StatusAnswer answer = full(file_);
    EXPECT_FALSE(answer.written);
    EXPECT_EQ(EIO, answer.error);
    EXPECT_EQ(0U, memory_.blockSize());
    EXPECT_EQ(3, memory_.replication());
  }
}

TEST_F(FileStatusTest, BlocksOfOneByteDivideToo) {
  defaultBlockSize = 4097;
  attribute(BLOCK_SIZE_AT, 4, 1);
  EXPECT_TRUE(full(file_).written);
  EXPECT_EQ(4097U, memory_.blockSize());
}

TEST_F(FileStatusTest, WithoutAFactorFromTheClientTheRecordEndsBeforeIt) {
  attribute(REPLICATION_AT, 1, 3);
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "client", 6, 0));
  defaultBlockSize = 4096;
  const LogCapture log;
  zolt_fault_arm("zolt_fcntl", 1, 1, ENOSYS);
  const StatusAnswer answer = full(file_);
  EXPECT_FALSE(answer.written);
  EXPECT_EQ(ENOSYS, answer.error);
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  EXPECT_EQ(0U, memory_.blockSize());
  EXPECT_EQ(3, memory_.replication());
  EXPECT_EQ(0, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(std::vector{"getBGF faied with 38 for " + file_}, log.bodies(LOG_ERROR));
}

TEST_F(FileStatusTest, TheLeaseIsItsHoldersLength) {
  expectWritten(full(file_));
  EXPECT_EQ(0, memory_.leaseLength()) << "none";
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "", 0, 0));
  expectWritten(full(file_));
  EXPECT_EQ(0, memory_.leaseLength()) << "an empty one";
  const std::string holder(300, 'x');
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", holder.data(), holder.size(), 0));
  expectWritten(full(file_));
  EXPECT_EQ(300, memory_.leaseLength());
  expectWritten(full(file_, true, false));
  EXPECT_EQ(0, memory_.leaseLength()) << "not asked for";
}

TEST_F(FileStatusTest, ALeaseThatCannotBeReadEndsTheRecordBeforeIt) {
  attribute(REPLICATION_AT, 1, 3);
  attribute(BLOCK_SIZE_AT, 4, 4096);
  defaultBlockSize = 1;
  // Those before it are the client's, for lists and factor.
  zolt_fault_arm("fgetxattr", 0, 0, 0);
  expectWritten(full(file_));
  const int last = zolt_fault_calls("fgetxattr");
  for (const int error : {EIO, EOPNOTSUPP, EACCES}) {
    const LogCapture log;
    zolt_fault_arm("fgetxattr", last, last, error);
    const StatusAnswer answer = full(file_);
    EXPECT_FALSE(answer.written);
    EXPECT_EQ(error, answer.error);
    EXPECT_EQ(4096U, memory_.blockSize());
    EXPECT_EQ(3, memory_.replication());
    EXPECT_EQ(0, memory_.leaseLength());
    EXPECT_EQ(std::vector{"fgetxattr faied with " + std::to_string(error) + " for " + file_},
              log.bodies(LOG_ERROR));
  }
  zolt_fault_arm("fgetxattr", last, last, ENODATA);
  expectWritten(full(file_));
}

}  // namespace
}  // namespace zolt
