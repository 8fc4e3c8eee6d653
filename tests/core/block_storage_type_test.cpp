#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <vector>

#include "block_query_stage.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;
using StorageTypeTest = BlockQueryTest;

TEST_F(StorageTypeTest, WhatIsNoRegularFileHasNoBlocks) {
  loc.isRegular = false;
  loc.blocksize = loc.nblock = loc.nreplica = 9;
  for (const int type : {-1, 0, 1, 2, 3, 4}) {
    EXPECT_EQ(getBlkLocationInt(3, StorageType(type), loc, out), 0);
    EXPECT_EQ(loc.blocksize, MIB);
    EXPECT_EQ(told(), (Told{0, 0}));
    EXPECT_EQ(out.position(), 0U);
  }
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(StorageTypeTest, TheRangeEndsWithTheFile) {
  loc.isRegular = false;
  const auto clamped = [this](uint64_t offset, uint64_t length) {
    loc.offset = offset;
    loc.length = length;
    getBlkLocationInt(3, FS_BLOCKS, loc, out);
    EXPECT_EQ(loc.offset, offset);
    return loc.length;
  };
  const uint64_t end = 10 * MIB;
  EXPECT_EQ(clamped(0, end), end);
  EXPECT_EQ(clamped(0, end + 1), end);
  EXPECT_EQ(clamped(1, end), end - 1);
  EXPECT_EQ(clamped(1, end - 1), end - 1);
  EXPECT_EQ(clamped(5, 7), 7U);
  EXPECT_EQ(clamped(end - 1, ~0UL), 1U);
  EXPECT_EQ(clamped(end, 1), 0U);
  EXPECT_EQ(clamped(end + 1, 1), 0U);
  EXPECT_EQ(clamped(~0UL, ~0UL), 0U);
}

TEST_F(StorageTypeTest, Type0TakesTheFileSystemsBlockSize) {
  loc.length = MIB;
  reply(same(1, {1, 9}, 2 * MIB));
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{0, 0, MIB}}));
  EXPECT_EQ(loc.blocksize, 2 * MIB);
  EXPECT_EQ(loc.nblock, 1U);
  EXPECT_EQ(written(), (std::vector<int>{1, 9}));
}

TEST_F(StorageTypeTest, Type0AsksForAnEmptyRangeToo) {
  loc.offset = 10 * MIB;
  reply({3, 0, MIB, {}});
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{10 * MIB, 0, 1}}));
}

TEST_F(StorageTypeTest, Type1HasSizesAndFillsTheBuffer) {
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_EQ(loc.blocksize, 4 * MIB);
  EXPECT_EQ(loc.nreplica, 3U);
  EXPECT_EQ(loc.nblock, 0U);
  EXPECT_EQ(out.remaining(), 0U);
  EXPECT_EQ(memory, std::vector<int>(64, -1));
}

TEST_F(StorageTypeTest, Type1FillsFromThePosition) {
  out.append(memory.data(), 3);
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_EQ(memory[2], UNTOUCHED);
  EXPECT_EQ(memory[3], -1);
  EXPECT_EQ(memory[63], -1);
}

TEST_F(StorageTypeTest, Type1HasAtLeastTheDefaultReplicas) {
  defaultReplication = 5;
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_EQ(loc.nreplica, 5U);
  defaultReplication = 2;
  client.next(placement(3, 0, 4));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_EQ(loc.nreplica, 3U);
}

TEST_F(StorageTypeTest, Type1FillsTheBufferEvenWhenItFails) {
  client.next(failing(-1, EIO));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), EIO);
  EXPECT_EQ(memory, std::vector<int>(64, -1));
}

TEST_F(StorageTypeTest, Type2CountsInHdfsBlocks) {
  client.next(placement(7, 0, 4));
  reply(same(3, {1, 9}, 4 * MIB));
  loc.offset = 5 * MIB;
  loc.length = MIB;
  EXPECT_EQ(getBlkLocationInt(3, HDFS_BLOCKS, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{4 * MIB, 4 * MIB, 2 * MIB}}));
  EXPECT_EQ(loc.blocksize, 4 * MIB);
  EXPECT_EQ(told(), (Told{3, 1}));
}

TEST_F(StorageTypeTest, Type3RanksNodes) {
  client.next(placement(7, 0, 2));
  reply(blocksOn({{1, 2}, {2, 3}}, MIB));
  loc.length = 2 * MIB;
  EXPECT_EQ(getBlkLocationInt(3, RANKED_NODES, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{0, MIB, 2 * MIB}}));
  EXPECT_EQ(loc.blocksize, 2 * MIB);
  EXPECT_EQ(loc.nblock, 1U);
  EXPECT_EQ(written(), (std::vector<int>{2, 1, 2, 1}));
}

TEST_F(StorageTypeTest, Types2And3AskForNoMapOfAnEmptyRange) {
  for (const StorageType type : {HDFS_BLOCKS, RANKED_NODES}) {
    loc.length = 0;
    client.next(placement(7, 0, 2));
    EXPECT_EQ(getBlkLocationInt(3, type, loc, out), 0);
    EXPECT_EQ(loc.blocksize, 2 * MIB);
    EXPECT_EQ(loc.nreplica, 7U);
    EXPECT_EQ(loc.nblock, 0U);
  }
  EXPECT_TRUE(asked().empty());
  EXPECT_EQ(out.position(), 0U);
}

TEST_F(StorageTypeTest, EachTypeReportsAFailedFirstRequest) {
  for (const StorageType type : {FS_BLOCKS, SIZES_ONLY, HDFS_BLOCKS, RANKED_NODES}) {
    client.next(failing(-1, ESTALE));
    const LogCapture log;
    EXPECT_EQ(getBlkLocationInt(37, type, loc, out), ESTALE);
    EXPECT_EQ(log.bodies(LOG_ERROR),
              std::vector<std::string>{"failed to get extended stat for 37"});
    EXPECT_EQ(client.left(), 0U);
  }
  EXPECT_EQ(client.calls().size(), 4U);
}

TEST_F(StorageTypeTest, Types2And3ReportAFailedLocationRequest) {
  for (const StorageType type : {HDFS_BLOCKS, RANKED_NODES}) {
    client.next(placement(7, 0, 2));
    client.next(failing(-1, EACCES));
    const LogCapture log;
    EXPECT_EQ(getBlkLocationInt(3, type, loc, out), EACCES);
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"failed to get extended stat for 3"});
  }
}

TEST_F(StorageTypeTest, AFailureIsNeverZero) {
  client.next(failing(-1, 0));
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), EIO);
  client.otherwise([](void*) { return -1; });
  for (const StorageType type : {FS_BLOCKS, SIZES_ONLY, HDFS_BLOCKS, RANKED_NODES}) {
    errno = ENOENT;  // of some earlier call
    EXPECT_EQ(getBlkLocationInt(3, type, loc, out), EIO) << type;
  }
}

TEST_F(StorageTypeTest, LinesNameTheDispatcher) {
  const LogCapture log(LOG_ERROR);
  getBlkLocationInt(3, FS_BLOCKS, loc, out);
  getBlkLocationInt(3, StorageType(4), loc, out);
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].body(), "failed to get extended stat for 3");
  EXPECT_EQ(log.lines()[0].function(), "getBlkLocationInt");
  EXPECT_EQ(log.lines()[1].body(), "Unknown storage type 4");
  EXPECT_EQ(log.lines()[1].function(), "getBlkLocationInt");
}

TEST_F(StorageTypeTest, Type1TakesAnyReplicaCountAsUnsigned) {
  defaultReplication = 5;
  client.next(placement(0x80000000, 0, 4));
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_EQ(loc.nreplica, 0x80000000U);
}

TEST_F(StorageTypeTest, AFactorOfZeroIsABlockSizeOfZero) {
  client.next(placement(3, 0, 0));
  reply(same(10, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocationInt(3, HDFS_BLOCKS, loc, out), 0);
  // The map is counted in the file system's own blocks then.
  EXPECT_EQ(asked(), (std::vector<Asked>{{0, 0, 10 * MIB}}));
  EXPECT_EQ(loc.blocksize, MIB);
  client.next(placement(3, 0, 0));
  const LogCapture log;
  EXPECT_EQ(getBlkLocationInt(3, RANKED_NODES, loc, out), EINVAL);
  EXPECT_EQ(log.bodies(LOG_WARN),
            std::vector<std::string>{"input blocksize=0 fs blksize=1048576 inode=4711"});
}

TEST_F(StorageTypeTest, ABlockSizeOfZeroIsInvalid) {
  loc.blksize = 0;
  client.otherwise(placement(3, 0, 2));
  for (const StorageType type : {SIZES_ONLY, HDFS_BLOCKS, RANKED_NODES})
    EXPECT_EQ(getBlkLocationInt(3, type, loc, out), EINVAL);
}

TEST_F(StorageTypeTest, WithoutAnyBlockSizeRankingIsInvalid) {
  client.next(placement(3, 61));
  EXPECT_EQ(getBlkLocationInt(3, RANKED_NODES, loc, out), EINVAL);
}

TEST_F(StorageTypeTest, AnUnknownTypeIsLoggedAndNothingElse) {
  for (const int type : {-1, 4, INT_MIN, INT_MAX}) {
    const LogCapture log;
    EXPECT_EQ(getBlkLocationInt(3, StorageType(type), loc, out), 0);
    EXPECT_EQ(log.bodies(LOG_ERROR),
              std::vector<std::string>{"Unknown storage type " + std::to_string(type)});
    EXPECT_EQ(loc.blocksize, MIB);
    EXPECT_EQ(told(), (Told{0, 0}));
    EXPECT_EQ(out.position(), 0U);
  }
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(StorageTypeTest, AnAnswerWithoutBlocksIsTold) {
  loc.offset = 3;
  loc.length = 5;
  client.next(placement(3, 0, 4));
  const LogCapture log;
  EXPECT_EQ(getBlkLocationInt(3, SIZES_ONLY, loc, out), 0);
  EXPECT_TRUE(log.has(LOG_DEBUG,
                      "No location map returned. ret=0, StorageType=1, inode=4711, block.offset=3, "
                      "block.length=5, block.blocksize=4194304, block.nreplica=3, block.nblock=0"))
      << log.all();
}

TEST_F(StorageTypeTest, NoTypesAnswerWithoutBlocksIsSilent) {
  const auto told = [](int type, const std::string& end) {
    return "No location map returned. ret=0, StorageType=" + std::to_string(type) +
           ", inode=4711, block.offset=0, block.length=" + end + ", block.nblock=0";
  };
  const LogCapture log;
  reply({3, 0, 2 * MIB, {}});
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), 0);
  EXPECT_TRUE(log.has(LOG_DEBUG, told(0, "10485760, block.blocksize=2097152, block.nreplica=3")));
  for (const StorageType type : {HDFS_BLOCKS, RANKED_NODES}) {
    loc.length = 0;
    client.next(placement(7, 0, 4));
    EXPECT_EQ(getBlkLocationInt(3, type, loc, out), 0);
    EXPECT_TRUE(log.has(LOG_DEBUG, told(type, "0, block.blocksize=4194304, block.nreplica=7")));
  }
  loc.length = 1;
  EXPECT_EQ(getBlkLocationInt(3, StorageType(-7), loc, out), 0);
  EXPECT_TRUE(log.has(LOG_DEBUG, told(-7, "1, block.blocksize=1048576, block.nreplica=0")))
      << log.all();
}

TEST_F(StorageTypeTest, AnAnswerWithBlocksAndAnEmptyFileAreNot) {
  const LogCapture log;
  reply(same(10, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), 0);
  loc.filelen = 0;
  reply({3, 0, MIB, {}});
  EXPECT_EQ(getBlkLocationInt(3, FS_BLOCKS, loc, out), 0);
  EXPECT_EQ(log.all().find("No location map"), std::string::npos);
}

TEST_F(StorageTypeTest, AnOverflowPassesThrough) {
  wrap(1);
  reply(same(1, {1, 9}, MIB));
  EXPECT_THROW(getBlkLocationInt(3, FS_BLOCKS, loc, out), std::overflow_error);
}

}  // namespace
}  // namespace zolt
