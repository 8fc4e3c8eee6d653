#include "locations.h"

#include <set>

#include "stage.h"

namespace zolt_local {
namespace {

using test::ClientTest;
using test::metaBlockSize;
using test::MIB;
using test::nodesOf;

struct LocationsTest : ClientTest {
  // The described blocks of a range, in all replies together.
  std::vector<std::vector<int32_t>> all(uint64_t offset, uint64_t skipFactor, uint64_t range) {
    std::vector<std::vector<int32_t>> blocks;
    for (;;) {
      const auto request = locate(offset, skipFactor, range);
      const zolt_location_record& record = request->record;
      for (int32_t i = 0; i < record.blocks; ++i)
        blocks.push_back(nodesOf(record, i));
      const uint64_t step = skipFactor != 0 ? skipFactor : metaBlockSize(record);
      const uint64_t covered = step * static_cast<uint64_t>(record.blocks);
      if (covered == 0 || covered >= range) return blocks;
      offset += covered;
      range -= covered;
    }
  }

  int32_t count(uint64_t offset, uint64_t skipFactor, uint64_t range) {
    return locate(offset, skipFactor, range)->record.blocks;
  }
};

TEST_F(LocationsTest, ARangeIsDescribedFromTheBlockOfItsOffsetToThatOfItsEnd) {
  resize(10 * MIB);
  EXPECT_EQ(count(0, 0, 1), 1);
  EXPECT_EQ(count(0, 0, MIB), 1);
  EXPECT_EQ(count(0, 0, MIB + 1), 2);
  EXPECT_EQ(count(MIB - 1, 0, 2), 2);
  EXPECT_EQ(count(5 * MIB + 3, 0, 1), 1);
  EXPECT_EQ(count(0, 0, 10 * MIB), 10);
  EXPECT_EQ(count(0, 0, ~0UL), 10);
  EXPECT_EQ(count(9 * MIB, 0, 100 * MIB), 1);
}

TEST_F(LocationsTest, PastTheEndThereIsNothing) {
  EXPECT_EQ(count(0, 0, 1), 0);  // an empty file
  resize(MIB);
  EXPECT_EQ(count(MIB, 0, 1), 0);
  EXPECT_EQ(count(~0UL, 0, ~0UL), 0);
  EXPECT_EQ(count(0, 0, 0), 0);
  const auto request = locate(MIB, 0, 1);
  EXPECT_EQ(request->record.replicas, 3);
  EXPECT_EQ(metaBlockSize(request->record), MIB);
}

TEST_F(LocationsTest, AShortLastBlockCounts) {
  resize(1);
  EXPECT_EQ(count(0, 0, ~0UL), 1);
  resize(3 * MIB + 1);
  EXPECT_EQ(count(0, 0, ~0UL), 4);
}

TEST_F(LocationsTest, BlocksHaveTheirCopiesOnDifferentNodesAndTheirNumbers) {
  resize(10 * MIB);
  const auto request = locate(0, 0, ~0UL);
  const zolt_location_record& record = request->record;
  ASSERT_EQ(record.replicas, 3);
  struct stat st;
  ASSERT_EQ(fstat(fd, &st), 0);
  for (int32_t block = 0; block < 10; ++block) {
    for (uint32_t copy = 0; copy < 3; ++copy) {
      const int32_t* words = record.words + 6 * std::ptrdiff_t{block};
      EXPECT_EQ(words[copy], nodeOf({8, 3, 0}, st.st_ino, static_cast<uint64_t>(block), copy));
      EXPECT_EQ(words[3 + copy], static_cast<int32_t>(copy));
    }
  }
}

TEST_F(LocationsTest, APartIsAsInTheWhole) {
  resize(50 * MIB);
  const auto whole = all(0, 0, ~0UL);
  ASSERT_EQ(whole.size(), 50U);
  for (uint64_t first = 0; first < 50; first += 7) {
    const auto part = all(first * MIB + 5, 0, 3 * MIB);
    ASSERT_GE(part.size(), 1U);
    for (size_t i = 0; i < part.size(); ++i)
      EXPECT_EQ(part[i], whole[first + i]);
  }
}

TEST_F(LocationsTest, AHoleLiesWhereItsDataWould) {
  resize(20 * MIB);
  const auto sparse = all(0, 0, ~0UL);
  const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(pwrite(writer, "x", 1, 7 * MIB), 1);
  close(writer);
  EXPECT_EQ(all(0, 0, ~0UL), sparse);
}

TEST_F(LocationsTest, ASkipFactorCountsInStepsOfItsOwn) {
  resize(10 * MIB);
  const auto blocks = all(0, 0, ~0UL);
  const auto request = locate(0, 4 * MIB, ~0UL);
  EXPECT_EQ(request->record.blocks, 3);
  EXPECT_EQ(metaBlockSize(request->record), MIB) << "the file system's own all the same";
  EXPECT_EQ(all(0, 4 * MIB, ~0UL),
            (std::vector<std::vector<int32_t>>{blocks[0], blocks[4], blocks[8]}));
  // Smaller steps than blocks stand for the block they are in.
  const auto halves = all(0, MIB / 2, ~0UL);
  ASSERT_EQ(halves.size(), 20U);
  for (size_t i = 0; i < 20; ++i)
    EXPECT_EQ(halves[i], blocks[i / 2]);
  EXPECT_EQ(all(0, 3 * MIB / 2, ~0UL)[3], blocks[4]);
  EXPECT_EQ(count(5 * MIB, 4 * MIB, 1), 1);
  EXPECT_EQ(count(0, ~0UL, ~0UL), 1);
  EXPECT_EQ(count(0, 1, 100), 100);
}

TEST_F(LocationsTest, AReplyHasRoomFor8064Copies) {
  resize(5000 * MIB);
  EXPECT_EQ(count(0, 0, ~0UL), 2688);
  EXPECT_EQ(count(0, 0, 2688 * MIB), 2688);
  EXPECT_EQ(count(2688 * MIB, 0, ~0UL), 5000 - 2688);
  ASSERT_EQ(setReplicas(1), 0);
  ASSERT_EQ(restripe(), 0);
  EXPECT_EQ(count(0, 0, ~0UL), 5000);
  ASSERT_EQ(setReplicas(5), 0);
  ASSERT_EQ(restripe(), 0);
  EXPECT_EQ(count(0, 0, ~0UL), 1612);
}

TEST_F(LocationsTest, WhatLiesAfterTheDescribedBlocksIsLeftAlone) {
  resize(2 * MIB);
  auto request = locationRequest(0, 0, ~0UL);
  std::memset(request->record.words, 0x55, sizeof request->record.words);
  ASSERT_EQ(zolt_fcntl(fd, request.get()), 0);
  for (size_t i = 12; i < std::size(request->record.words); ++i)
    ASSERT_EQ(request->record.words[i], 0x55555555);
}

TEST_F(LocationsTest, DataFollowsTheReplicaCountWithARestripe) {
  resize(MIB);
  ASSERT_EQ(setReplicas(5), 0);
  EXPECT_EQ(replicas(), 5U);
  EXPECT_EQ(locate(0, 0, 1)->record.replicas, 3);
  ASSERT_EQ(restripe(), 0);
  EXPECT_EQ(locate(0, 0, 1)->record.replicas, 5);
  ASSERT_EQ(setReplicas(1), 0);
  EXPECT_EQ(locate(0, 0, 1)->record.replicas, 5);
  EXPECT_EQ(replicas(), 1U);
}

TEST_F(LocationsTest, ThereAreNoMoreCopiesThanNodes) {
  resize(MIB);
  ASSERT_EQ(setReplicas(255), 0);
  ASSERT_EQ(restripe(), 0);
  EXPECT_EQ(replicas(), 255U);
  EXPECT_EQ(locate(0, 0, 1)->record.replicas, 8);
}

}  // namespace
}  // namespace zolt_local
