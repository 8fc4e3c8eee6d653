#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <vector>

#include "block_query_stage.h"
#include "bytes.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;
using BgfTest = BlockQueryTest;

TEST_F(BgfTest, AsksForReplicasAndFactorInOneRequest) {
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  ASSERT_EQ(client.calls().size(), 1U);
  EXPECT_EQ(client.calls()[0].fd, 5);
  EXPECT_FALSE(client.calls()[0].restripe);
  EXPECT_EQ(client.calls()[0].request, Bytes()
                                           .u32(104)
                                           .u32(1)
                                           .u32(0)
                                           .u32(0)
                                           .u32(32)
                                           .u32(3001)
                                           .zeros(24)
                                           .u32(56)
                                           .u32(6001)
                                           .u32(8)
                                           .u32(24)
                                           .u32(32768)
                                           .u32(0)
                                           .text("zolt.BGF")
                                           .zeros(24)
                                           .str());
}

TEST_F(BgfTest, TheBlockSizeIsFactorTimesFileSystemBlock) {
  client.next(placement(3, 0, 4));
  const LogCapture log;
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 4 * MIB);
  EXPECT_EQ(loc.nreplica, 3U);
  EXPECT_EQ(loc.nblock, 0U);
  EXPECT_EQ(log.bodies(LOG_DEBUG), std::vector<std::string>{"bgf: 4"});
}

TEST_F(BgfTest, TheFactorIsSigned) {
  client.next(placement(3, 0, 0xFFFFFFFF));
  const LogCapture log;
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 0 - MIB);
  EXPECT_EQ(log.bodies(LOG_DEBUG), std::vector<std::string>{"bgf: -1"});
}

TEST_F(BgfTest, TheProductHas64Bits) {
  loc.blocksize = 4294967295;
  client.next(placement(1, 0, 1024));
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 4398046510080U);
}

TEST_F(BgfTest, WithoutAFactorTheDefaultIsRoundedUp) {
  defaultBlockSize = 3 * MIB + 1;
  client.next(placement(2, 61, 9));
  const LogCapture log;
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 4 * MIB);
  EXPECT_EQ(loc.nreplica, 2U);
  EXPECT_EQ(log.bodies(LOG_DEBUG),
            (std::vector<std::string>{"bgf is not set, uses default block size: 3145729",
                                      "fs blocksize 1048576 returns aligned blocksize 4194304"}));
}

TEST_F(BgfTest, ADefaultThatIsAMultipleStays) {
  defaultBlockSize = 3 * MIB;
  client.next(placement(2, -1));
  const LogCapture log;
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 3 * MIB);
  EXPECT_EQ(log.bodies(LOG_DEBUG),
            std::vector<std::string>{"bgf is not set, uses default block size: 3145728"});
}

TEST_F(BgfTest, ADefaultBelowABlockIsOneBlock) {
  defaultBlockSize = 1;
  client.next(placement(2, -1));
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, MIB);
}

TEST_F(BgfTest, ANegativeResultFails) {
  client.next(failing(-1, EIO));
  loc.nblock = 9;
  EXPECT_EQ(getBlkBGF(5, loc), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(told(), (Told{0, 1}));
  EXPECT_EQ(loc.blocksize, 0U);
}

TEST_F(BgfTest, APositiveResultDoesNot) {
  client.next([](void* request) {
    placement(3, 0, 4)(request);
    return 1;
  });
  EXPECT_EQ(getBlkBGF(5, loc), 0);
  EXPECT_EQ(loc.blocksize, 4 * MIB);
}

TEST_F(BgfTest, DescriptorZeroIsOneLikeAnyOther) {
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkBGF(0, loc), 0);
  EXPECT_EQ(client.calls()[0].fd, 0);
}

TEST_F(BgfTest, ANegativeDescriptorTouchesNothing) {
  loc.nblock = 9;
  EXPECT_EQ(getBlkBGF(-1, loc), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(loc.nblock, 9U);
  EXPECT_EQ(loc.blocksize, MIB);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(BgfTest, ABlockSizeOfZeroIsInvalid) {
  loc.blocksize = 0;
  client.otherwise(placement(3, 0, 4));
  EXPECT_EQ(getBlkBGF(5, loc), -1);
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
}  // namespace zolt
