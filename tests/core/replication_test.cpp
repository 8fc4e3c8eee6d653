#include "placement/replication.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "bytes.h"
#include "scripted_client.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

const ScriptedClient::Answer DONE = [](void*) { return 0; };

// The header and the first fields of both attribute records.
Bytes attributeRequest(uint32_t type, uint32_t valueLength) {
  return Bytes()
      .u32(72)
      .u32(1)
      .u32(0)
      .u32(0)
      .u32(56)
      .u32(type)
      .u32(8)
      .u32(valueLength)
      .u32(32768)
      .u32(0)
      .text("zolt.BGF");
}

struct ReplicationTest : ::testing::Test {
  const ScriptedClient::Call& onlyCall() {
    EXPECT_EQ(client.calls().size(), 1U);
    return client.calls().front();
  }

  ScriptedClient client;
};

TEST_F(ReplicationTest, ReadsTheFactorWithOneAttributeRequest) {
  client.next(attribute(0, std::string("\0\0\0\4", 4)));
  EXPECT_EQ(getBGF(7), 4);
  EXPECT_FALSE(onlyCall().restripe);
  EXPECT_EQ(onlyCall().fd, 7);
  EXPECT_EQ(onlyCall().request, attributeRequest(6001, 24).zeros(24).str());
}

TEST_F(ReplicationTest, DescriptorZeroIsOneLikeAnyOther) {
  client.next(attribute(0, std::string("\0\0\0\4", 4)));
  EXPECT_EQ(getBGF(0), 4);
  EXPECT_EQ(onlyCall().fd, 0);
}

TEST_F(ReplicationTest, TheFactorIsBigEndian) {
  client.next(attribute(0, "\x12\x34\x56\x78zzzz"));
  EXPECT_EQ(getBGF(7), 0x12345678);
  client.next(attribute(0, std::string("\xff\xff\xff\xff", 4)));
  EXPECT_EQ(getBGF(7), -1);
}

TEST_F(ReplicationTest, AFileWithoutAFactorHasZero) {
  for (const int status : {1, -1, 61}) {
    client.next(attribute(status, "\1\1\1\1"));
    EXPECT_EQ(getBGF(7), 0);
  }
}

TEST_F(ReplicationTest, AFailedReadIsMinusErrno) {
  for (const int result : {-1, 1}) {
    client.next(failing(result, EIO));
    EXPECT_EQ(getBGF(7), -EIO);
  }
  client.next(failing(-1, ENODATA));
  EXPECT_EQ(getBGF(7), -ENODATA);
}

TEST_F(ReplicationTest, AFailureWithoutErrnoIsNoFileWithoutAFactor) {
  client.next(failing(-1, 0));
  EXPECT_EQ(getBGF(7), -EIO);
}

TEST_F(ReplicationTest, ANegativeDescriptorNeverReachesTheClient) {
  EXPECT_EQ(getBGF(-1), -1);
  EXPECT_EQ(getBGF(INT_MIN), -1);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(ReplicationTest, WritesTheFactorBigEndian) {
  client.next(DONE);
  EXPECT_EQ(setBGF(7, 0x01020304), 0);
  EXPECT_EQ(onlyCall().fd, 7);
  EXPECT_FALSE(onlyCall().restripe);
  EXPECT_EQ(onlyCall().request,
            attributeRequest(6002, 4).text(std::string("\1\2\3\4", 4)).zeros(20).str());
}

TEST_F(ReplicationTest, OnlyANegativeResultFailsTheWriteOfTheFactor) {
  client.next(failing(-1, EROFS));
  EXPECT_EQ(setBGF(7, 1), -1);
  EXPECT_EQ(errno, EROFS);
  client.next(failing(1, 0));
  EXPECT_EQ(setBGF(7, 1), 0);
}

TEST_F(ReplicationTest, SetsTheReplicaCount) {
  client.next(DONE);
  EXPECT_EQ(setReplication(7, 3), 0);
  EXPECT_EQ(onlyCall().fd, 7);
  EXPECT_FALSE(onlyCall().restripe);
  EXPECT_EQ(onlyCall().request,
            Bytes().u32(56).u32(1).u32(0).u32(0).u32(40).u32(2005).zeros(8).u32(3).zeros(20).str());
}

TEST_F(ReplicationTest, TheReplicaCountIsSignExtended) {
  client.otherwise(DONE);
  EXPECT_EQ(setReplication(7, -2), 0);
  EXPECT_EQ(setReplication(7, SHRT_MIN), 0);
  EXPECT_EQ(client.calls()[0].request.substr(32, 4), Bytes().u32(0xFFFFFFFE).str());
  EXPECT_EQ(client.calls()[1].request.substr(32, 4), Bytes().u32(0xFFFF8000).str());
}

TEST_F(ReplicationTest, AnyOtherResultFailsTheReplicaCount) {
  for (const int result : {-1, 1}) {
    client.next(failing(result, EPERM));
    EXPECT_EQ(setReplication(7, 1), -1);
    EXPECT_EQ(errno, EPERM);
  }
}

TEST_F(ReplicationTest, RestripesThroughTheOtherCall) {
  client.next(DONE);
  EXPECT_EQ(restripeFile(7), 0);
  EXPECT_EQ(onlyCall().fd, 7);
  EXPECT_TRUE(onlyCall().restripe);
  EXPECT_EQ(onlyCall().request,
            Bytes().u32(64).u32(1).u32(0).u32(0).u32(48).u32(2008).u32(2).zeros(36).str());
}

TEST_F(ReplicationTest, AnyOtherResultFailsTheRestripe) {
  for (const int result : {-1, 1}) {
    client.next(failing(result, EBUSY));
    EXPECT_EQ(restripeFile(7), -1);
    EXPECT_EQ(errno, EBUSY);
  }
}

// What errno was before is no reason; a client that leaves none has failed with EIO.
TEST_F(ReplicationTest, AClientThatLeavesErrnoAloneIsAnInputOutputError) {
  client.otherwise([](void*) { return -1; });
  const auto fails = [](auto call) {
    errno = ENOENT;
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(errno, EIO);
  };
  fails([] { return setBGF(7, 1); });
  fails([] { return setReplication(7, 1); });
  fails([] { return restripeFile(7); });
  errno = ENOENT;
  EXPECT_EQ(getBGF(7), -EIO);
}

// All four, against the embedded client and a file.
TEST(Replication, WhatIsSetIsRead) {
  const test::TempDir dir;
  const int fd = open(dir.file("file").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(getBGF(fd), 0);
  for (const int bgf : {1, 4, 1024}) {
    EXPECT_EQ(setBGF(fd, bgf), 0);
    EXPECT_EQ(getBGF(fd), bgf);
  }
  EXPECT_EQ(setReplication(fd, 2), 0);
  EXPECT_EQ(restripeFile(fd), 0);
  EXPECT_EQ(setReplication(fd, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  close(fd);
  EXPECT_EQ(getBGF(fd), -EBADF);
  EXPECT_EQ(setBGF(fd, 1), -1);
  EXPECT_EQ(restripeFile(fd), -1);
}

}  // namespace
}  // namespace zolt
