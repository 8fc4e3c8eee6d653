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
using LocationTest = BlockQueryTest;

TEST_F(LocationTest, EveryByteOfARequestIsAsPrescribed) {
  loc.offset = 0x1122334455667788;
  loc.blocksize = 0x100;
  loc.length = 0x1000;
  client.next(failing(-1, EIO));
  EXPECT_EQ(getBlkLocation(9, loc, out), -1);
  ASSERT_EQ(client.calls().size(), 1U);
  EXPECT_EQ(client.calls()[0].fd, 9);
  EXPECT_FALSE(client.calls()[0].restripe);
  const std::string& request = client.calls()[0].request;
  ASSERT_EQ(request.size(), 64584U);
  EXPECT_EQ(request.substr(0, 8), Bytes().u32(64584).u32(1).str());
  EXPECT_EQ(request.substr(12, 40), Bytes()
                                        .u32(0)
                                        .u32(64568)
                                        .u32(3006)
                                        .u64(0x1122334455667700)
                                        .u64(0x100)
                                        .u64(0x1088)
                                        .u32(0)
                                        .str());
}

TEST_F(LocationTest, EntriesAreCopiedVerbatim) {
  loc.length = 2 * MIB;
  const Locations answer = blocksOn({{3, 1, 2}, {-5, INT_MAX, INT_MIN}}, MIB);
  reply(answer);
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(written(), answer.words);
  EXPECT_EQ(told(), (Told{2, 3}));
  EXPECT_EQ(loc.blocksize, MIB);
}

TEST_F(LocationTest, AnOffsetInsideABlockMovesDownToItsStart) {
  loc.offset = 5 * MIB + 17;
  loc.length = 1;
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{5 * MIB, MIB, 18}}));
}

TEST_F(LocationTest, AnEmptyRangeAsksForOneByte) {
  loc.offset = 5 * MIB;
  loc.length = 0;
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{5 * MIB, MIB, 1}}));
}

TEST_F(LocationTest, AnEmptyRangeInsideABlockIsAlreadyLongEnough) {
  loc.offset = 5 * MIB + 17;
  loc.length = 0;
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{5 * MIB, MIB, 17}}));
}

TEST_F(LocationTest, AnEmptyFileStaysEmpty) {
  loc.filelen = 0;
  loc.length = 0;
  reply({3, 0, MIB, {}});
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{0, MIB, 0}}));
  EXPECT_EQ(told(), (Told{0, 3}));
  EXPECT_EQ(out.position(), 0U);
}

TEST_F(LocationTest, WithoutABlockSizeTheReplysIsAdopted) {
  loc.blocksize = 0;
  loc.offset = 3 * MIB + 5;
  loc.length = 2 * MIB;
  reply(same(1, {1, 9}, 2 * MIB));
  reply(same(2, {1, 9}, MIB));
  const LogCapture log;
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(loc.blocksize, 2 * MIB);
  // The first request goes as it is; what is left is counted from the start of its block.
  EXPECT_EQ(asked(), (std::vector<Asked>{{3 * MIB + 5, 0, 2 * MIB}, {4 * MIB, 2 * MIB, MIB + 5}}));
  EXPECT_EQ(log.lines().front().function(), "getBlkLocation");
  EXPECT_EQ(log.bodies(LOG_DEBUG),
            (std::vector<std::string>{
                "requested offset=2097152 length=3145733 returned length=2097152 replicas=1 "
                "blocks=1 skipfactor=2097152",
                "skipfactor(2097152) != metaBlockSize(1048576)",
                "requested offset=4194304 length=1048581 returned length=4194304 replicas=1 "
                "blocks=2 skipfactor=2097152"}));
}

TEST_F(LocationTest, ABlockSizeThatWasAskedForStays) {
  loc.length = MIB;
  reply(same(1, {1, 9}, 4096));
  const LogCapture log;
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(loc.blocksize, MIB);
  EXPECT_EQ(log.bodies(LOG_DEBUG),
            (std::vector<std::string>{
                "skipfactor(1048576) != metaBlockSize(4096)",
                "requested offset=0 length=1048576 returned length=1048576 replicas=1 blocks=1 "
                "skipfactor=1048576"}));
}

TEST_F(LocationTest, TheHalvesOfTheBlockSizeAreSignedEach) {
  loc.length = MIB;
  // The sign of the low half covers the high one; the high half counts from bit 32.
  const std::vector<std::pair<int64_t, std::string>> sizes = {{0x00000000FFFFFFFF, "-1"},
                                                              {0x0000000180000000, "-2147483648"},
                                                              {0x0000000100000000, "4294967296"},
                                                              {0x000000017FFFFFFF, "6442450943"},
                                                              {-4294967296, "-4294967296"}};
  for (const auto& [raw, shown] : sizes) {
    reply(same(1, {1, 9}, raw));
    const LogCapture log;
    EXPECT_EQ(getBlkLocation(3, loc, out), 0);
    EXPECT_EQ(log.bodies(LOG_DEBUG).front(), "skipfactor(1048576) != metaBlockSize(" + shown + ")");
  }
}

TEST_F(LocationTest, LongRangesTakeSeveralReplies) {
  const Locations first = blocksOn({{1, 2}, {3, 4}, {5, 6}}, MIB);
  const Locations second = blocksOn({{7, 8}}, MIB);
  const Locations third = blocksOn({{2}, {3}, {4}, {5}, {6}, {7}}, MIB);
  reply(first);
  reply(second);
  reply(third);
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{
                         {0, MIB, 10 * MIB}, {3 * MIB, MIB, 7 * MIB}, {4 * MIB, MIB, 6 * MIB}}));
  std::vector<int> all = first.words;
  all.insert(all.end(), second.words.begin(), second.words.end());
  all.insert(all.end(), third.words.begin(), third.words.end());
  EXPECT_EQ(written(), all);
  EXPECT_EQ(told(), (Told{10, 1}));  // of the last reply
}

TEST_F(LocationTest, TheWalkEndsWhereTheFileDoes) {
  loc.filelen = 2 * MIB + 1;
  loc.length = 100 * MIB;
  reply(same(2, {1, 9}, MIB));
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(loc.nblock, 3U);
  EXPECT_EQ(client.calls().size(), 2U);
}

TEST_F(LocationTest, TheWalkEndsWhereTheLastBlockEndsWithTheFile) {
  loc.filelen = 2 * MIB;
  loc.length = 100 * MIB;
  reply(same(2, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(client.calls().size(), 1U);
}

TEST_F(LocationTest, TheWalkEndsWhereTheRangeDoes) {
  loc.length = 2 * MIB;
  reply(same(2, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(client.calls().size(), 1U);
  // One byte more is one block more.
  wrap(64);
  loc.length = 2 * MIB + 1;
  reply(same(2, {1, 9}, MIB));
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(client.calls().size(), 3U);
  EXPECT_EQ(asked().back(), (Asked{2 * MIB, MIB, 1}));
}

TEST_F(LocationTest, AReplyWithoutProgressEndsTheWalk) {
  reply(same(2, {1, 9}, MIB));
  reply({4, 0, MIB, {}});
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{1, 9, 1, 9}));
  EXPECT_EQ(told(), (Told{2, 4}));
  EXPECT_EQ(client.calls().size(), 2U);
}

TEST_F(LocationTest, AnyResultButZeroFails) {
  for (const int result : {-1, 1}) {
    wrap(64);
    reply(same(2, {1, 9}, MIB));
    client.next(failing(result, ESTALE));
    EXPECT_EQ(getBlkLocation(3, loc, out), -1);
    EXPECT_EQ(errno, ESTALE);
    EXPECT_EQ(told(), (Told{0, 0}));
    EXPECT_EQ(written(), (std::vector<int>{1, 9, 1, 9}));
  }
}

TEST_F(LocationTest, ImpossibleRepliesAreAnInputOutputError) {
  refusesImpossibleCounts(getBlkLocation);
}

TEST_F(LocationTest, ABlockSizeBelowOneIsImpossibleWhereItIsAdopted) {
  for (const int64_t size : {0L, -1L, LONG_MIN, 0x80000000L}) {
    loc.blocksize = 0;
    reply(same(1, {1, 9}, size));
    EXPECT_EQ(getBlkLocation(3, loc, out), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(out.position(), 0U);
    EXPECT_EQ(loc.nblock, 0U);
  }
  loc.length = MIB;
  loc.blocksize = MIB;
  reply(same(1, {1, 9}, 0));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
}

TEST_F(LocationTest, AReplyWithoutBlocksNeedsNoBlockSize) {
  for (const int64_t size : {0L, -1L}) {
    loc.blocksize = 0;
    reply({3, 0, size, {}});
    EXPECT_EQ(getBlkLocation(3, loc, out), 0);
    EXPECT_EQ(loc.blocksize, 0U);
    EXPECT_EQ(told(), (Told{0, 3}));
    EXPECT_EQ(out.position(), 0U);
  }
  EXPECT_EQ(client.calls().size(), 2U);
}

TEST_F(LocationTest, AFullReplyFits) {
  wrap(16128);
  loc.filelen = loc.length = 2688 * MIB;
  reply(same(2688, {1, 2, 3, 7, 8, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(loc.nblock, 2688U);
  EXPECT_EQ(out.remaining(), 0U);
}

TEST_F(LocationTest, WhatDoesNotFitIsAnOverflowAfterTheRepliesThatDid) {
  wrap(9);
  reply(same(2, {1, 2, 8, 9}, MIB));
  reply(same(1, {3, 4, 8, 9}, MIB));
  EXPECT_EQ(overflowOf(getBlkLocation), "Buffer overflow: claim 4 remaining 1");
  EXPECT_EQ(written(), (std::vector<int>{1, 2, 8, 9, 1, 2, 8, 9}));
  EXPECT_EQ(loc.nblock, 0U);
}

TEST_F(LocationTest, NoBufferTakesNoWord) {
  out.setBuffer(nullptr, 0);
  reply({3, 0, MIB, {}});
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  reply(same(1, {1, 9}, MIB));
  EXPECT_EQ(overflowOf(getBlkLocation), "Buffer overflow: claim 2 remaining 0");
}

TEST_F(LocationTest, ABufferMayLieAnywhere) {
  std::vector<char> bytes(41, 'x');
  out.setBuffer(reinterpret_cast<int*>(bytes.data() + 1), 10);
  loc.length = MIB;
  reply(same(1, {1, 2, 8, 9}, MIB));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  const std::vector<int> wanted = {1, 2, 8, 9};
  EXPECT_EQ(std::memcmp(bytes.data() + 1, wanted.data(), 16), 0);
  EXPECT_EQ(bytes[0], 'x');
  EXPECT_EQ(bytes[17], 'x');
}

TEST_F(LocationTest, ANegativeDescriptorNeverReachesTheClient) {
  refusesANegativeDescriptor(getBlkLocation);
}

// The remainder is signed and has 32 bits, whatever the block size.
TEST_F(LocationTest, ALargeRemainderMovesTheStartTheOtherWay) {
  loc.filelen = loc.length = 1UL << 40;
  loc.blocksize = 1UL << 32;
  loc.offset = (1UL << 32) + 0x80000010;
  loc.length = 1UL << 33;
  reply({1, 0, 1L << 32, {}});
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{(1UL << 32) + 0x80000010 + 0x7FFFFFF0, 1UL << 32,
                                          (1UL << 33) - 0x7FFFFFF0}}));
}

TEST_F(LocationTest, AProductBeyond64BitsCoversTheRange) {
  loc.filelen = ~0UL;
  loc.length = ~0UL;
  loc.blocksize = 1UL << 63;
  reply(same(2, {1, 9}, 1));
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(client.calls().size(), 1U);
  EXPECT_EQ(loc.nblock, 2U);
}

// Whatever the client wrote to its request, the next round's is whole again. Its entries are not.
TEST_F(LocationTest, EachRoundsRequestIsWrittenAnew) {
  for (auto* query : {getBlkLocation, getBlkLocation_sort}) {
    wrap(64);
    loc.length = 4 * MIB;
    client.next([](void* request) {
      std::memset(request, 0xAB, 16 + 56);
      return locations(same(1, {1, 9}, MIB + (int64_t{1} << 32)))(request);
    });
    reply(same(3, {1, 9}, MIB));
    EXPECT_EQ(query(3, loc, out), 0);
    const std::string& second = client.calls().back().request;
    ASSERT_EQ(second.size(), 64584U);
    EXPECT_EQ(second.substr(0, 16 + 56), Bytes()
                                             .u32(64584)
                                             .u32(1)
                                             .zeros(8)
                                             .u32(64568)
                                             .u32(3006)
                                             .u64(MIB)
                                             .u64(MIB)
                                             .u64(3 * MIB)
                                             .zeros(24)
                                             .str());
  }
  EXPECT_EQ(client.calls().size(), 4U);
}

// A client that fills in nothing must not be heard twice.
TEST_F(LocationTest, AReplyIsNotThatOfTheRoundBefore) {
  reply(same(2, {1, 9}, MIB));
  client.otherwise([](void*) { return 0; });
  EXPECT_EQ(getBlkLocation(3, loc, out), 0);
  EXPECT_EQ(loc.nblock, 2U);
  EXPECT_EQ(client.calls().size(), 2U);
}

}  // namespace
}  // namespace zolt
