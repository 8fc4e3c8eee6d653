#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <map>
#include <random>
#include <vector>

#include "block_query_stage.h"
#include "blocks/node_counts.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;
using RankingTest = BlockQueryTest;

TEST(CountGreater, ComparesCountsAlone) {
  EXPECT_TRUE(count_greater({1, 5}, {9, 4}));
  EXPECT_FALSE(count_greater({9, 4}, {1, 5}));
  EXPECT_FALSE(count_greater({9, 4}, {1, 4}));
  EXPECT_TRUE(count_greater({0, 0}, {0, -1}));
}

// Few nodes and many, small numbers and any, known from the groups before and new: each group comes
// out as from a map of its own.
TEST(NodeCounts, CountsAsAMapDoes) {
  std::mt19937 random(17);
  for (const int nodes : {1, 2, 6, 100, 300, 5000}) {
    for (const bool sparse : {false, true}) {
      NodeCounts counts;
      for (int group = 0; group < 60; ++group) {
        const int replicas = 1 + static_cast<int>(random() % 4);
        const auto blocks = random() % (group % 10 == 0 ? 2000 : 40) + 1;
        std::vector<int32_t> words(2 * blocks * static_cast<size_t>(replicas), -7);
        std::map<int, int> plain;
        for (size_t word = 0; word < words.size(); ++word) {
          if (word / static_cast<size_t>(replicas) % 2 != 0) continue;
          const auto number = static_cast<uint32_t>(random()) % static_cast<uint32_t>(nodes);
          words[word] = static_cast<int32_t>(sparse ? (number * 65536 * 2654435769U) >> 1 : number);
          ++plain[words[word]];
        }
        std::vector<std::pair<int, int>> wanted(plain.begin(), plain.end());
        rankFirst(wanted, replicas);
        wanted.resize(static_cast<size_t>(replicas), {-1, -1});

        std::vector<int> answer(wanted.size() * 2);
        Buffer<int> out;
        out.setBuffer(answer.data(), answer.size());
        EXPECT_TRUE(counts.empty());
        counts.add(words.data(), blocks / 2, replicas);
        counts.add(words.data() + blocks / 2 * 2 * static_cast<size_t>(replicas),
                   blocks - blocks / 2, replicas);
        EXPECT_FALSE(counts.empty());
        counts.emit(replicas, out);
        for (size_t i = 0; i < wanted.size(); ++i) {
          ASSERT_EQ(answer[i], wanted[i].first) << nodes << " nodes, group " << group;
          ASSERT_EQ(answer[wanted.size() + i], wanted[i].second);
        }
      }
    }
  }
}

TEST_F(RankingTest, NodesAreRankedByTheirBlocks) {
  loc.blocksize = 4 * MIB;
  loc.length = loc.filelen = 4 * MIB;
  reply(blocksOn({{1, 2, 3}, {1, 2, 4}, {1, 2, 3}, {1, 2, 5}}, MIB));
  const LogCapture log;
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  // Nodes 1 and 2 hold four each; which of them comes first is the selection's affair.
  std::vector<std::pair<int, int>> nodes = {{1, 4}, {2, 4}, {3, 2}, {4, 1}, {5, 1}};
  std::nth_element(nodes.begin(), nodes.begin() + 2, nodes.end(), count_greater);
  EXPECT_EQ(written(), (std::vector<int>{nodes[0].first, nodes[1].first, 3, 4, 4, 2}));
  EXPECT_EQ(told(), (Told{1, 3}));
  EXPECT_EQ(loc.blocksize, 4 * MIB);
  EXPECT_EQ(log.lines().front().function(), "getBlkLocation_sort");
  EXPECT_EQ(log.bodies(LOG_DEBUG),
            (std::vector<std::string>{
                "requested offset=0 length=4194304 returned length=4194304 replicas=3 blocks=4 "
                "skipfactor=1048576",
                "inode=4711 fs blksize=1048576 hdfs blksize=4194304 group blknum=4 blknum=1"}));
}

// A negative number stands for a copy that is not there.
TEST_F(RankingTest, MissingCopiesAreNoNodes) {
  loc.blocksize = 4 * MIB;
  loc.length = loc.filelen = 9 * MIB;
  reply(blocksOn({{1, -1, -1},
                  {1, 2, -1},
                  {-1, -1, -1},
                  {1, 2, -7},  // two nodes for three replicas
                  {-1, -1, -1},
                  {-1, -1, -1},
                  {-1, -1, -1},
                  {-1, -1, -1},   // none
                  {-1, -1, -1}},  // and none in a group that is cut short
                 MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{1, 2, -1, 3, 2, -1,      //
                                         -1, -1, -1, -1, -1, -1,  //
                                         -1, -1, -1, -1, -1, -1}));
  EXPECT_EQ(loc.nblock, 3U);
}

TEST_F(RankingTest, TheRequestCountsInFileSystemBlocks) {
  loc.blocksize = 4 * MIB;
  loc.offset = 5 * MIB + 3;
  loc.length = 7;
  reply(blocksOn({{1}}, 4096));
  const LogCapture log;
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(asked(), (std::vector<Asked>{{5 * MIB, MIB, 10}}));
  EXPECT_EQ(written(), (std::vector<int>{1, 1}));
  // The size that the client counted in has no part in this.
  EXPECT_EQ(log.all().find("metaBlockSize"), std::string::npos);
}

TEST_F(RankingTest, FewNodesArePadded) {
  loc.blocksize = 2 * MIB;
  loc.length = 2 * MIB;
  reply(blocksOn({{7, 7, 7}, {7, 7, 2}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{2, 7, -1, 1, 5, -1}));
}

// Two nodes for three replicas: exactly one less than the pivot needs, and nothing is moved.
TEST_F(RankingTest, OneNodeTooFewStaysInAscendingOrder) {
  loc.blocksize = MIB;
  loc.length = MIB;
  reply(blocksOn({{5, 5, 9}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{5, 9, -1, 2, 1, -1}));
  wrap(64);
  reply(blocksOn({{5, 9, 9}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{5, 9, -1, 1, 2, -1}));
}

TEST_F(RankingTest, FarTooFewNodesComeOutOrdered) {
  loc.blocksize = MIB;
  loc.length = MIB;
  reply(blocksOn({{9, 5, 9, 9, 5, 1, 9, 9}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(),
            (std::vector<int>{9, 5, 1, -1, -1, -1, -1, -1, 5, 2, 1, -1, -1, -1, -1, -1}));
}

// Four nodes of nine replicas: the order is free, the set and the counts are not.
TEST_F(RankingTest, MoreThanThreeNodesAndStillTooFewAreAllThere) {
  loc.blocksize = MIB;
  loc.length = MIB;
  reply(blocksOn({{4, 3, 2, 1, 4, 3, 2, 4, 3}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  const std::vector<int> words = written();
  ASSERT_EQ(words.size(), 18U);
  std::vector<std::pair<int, int>> nodes;
  for (size_t i = 0; i < 9; ++i)
    nodes.emplace_back(words[i], words[9 + i]);
  std::sort(nodes.begin(), nodes.end());
  EXPECT_EQ(nodes,
            (std::vector<std::pair<int, int>>{
                {-1, -1}, {-1, -1}, {-1, -1}, {-1, -1}, {-1, -1}, {1, 1}, {2, 2}, {3, 3}, {4, 3}}));
}

TEST_F(RankingTest, ASingleReplicaIsTheBusiestNode) {
  loc.blocksize = 5 * MIB;
  loc.length = 5 * MIB;
  reply(blocksOn({{4}, {2}, {2}, {9}, {2}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{2, 3}));
}

TEST_F(RankingTest, ALastShortGroupIsABlockOfItsOwn) {
  loc.blocksize = 4 * MIB;
  reply(blocksOn({{1}, {1}, {1}, {1}, {2}, {2}, {2}, {2}, {3}, {3}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{1, 4, 2, 4, 3, 2}));
  EXPECT_EQ(loc.nblock, 3U);
}

// The counter starts anew with a reply, the counts do not: the first group of the second reply has
// the leftover of the first on top.
TEST_F(RankingTest, AReplyThatEndsInsideAGroupShiftsTheNext) {
  loc.blocksize = 3 * MIB;
  reply(blocksOn({{1}, {1}, {1}, {1}}, MIB));
  reply(blocksOn({{2}, {2}, {2}, {2}, {2}, {2}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  // {1:3}, then {1:1, 2:3}, then {2:3}.
  EXPECT_EQ(written(), (std::vector<int>{1, 3, 2, 3, 2, 3}));
  EXPECT_EQ(loc.nblock, 3U);
}

TEST_F(RankingTest, LeftoversAddUpOverReplies) {
  loc.blocksize = 8 * MIB;
  reply(blocksOn({{1}, {1}, {1}}, MIB));
  reply(blocksOn({{2}, {2}}, MIB));
  reply(blocksOn({{1}, {3}, {3}, {3}, {3}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  // No reply has a whole group, so all ten blocks are one: {1:4, 2:2, 3:4}, ties by node.
  EXPECT_EQ(written(), (std::vector<int>{1, 4}));
  EXPECT_EQ(loc.nblock, 1U);
}

TEST_F(RankingTest, ReplicasAreThoseOfTheReplyThatEndsTheGroup) {
  loc.blocksize = 4 * MIB;
  loc.length = 4 * MIB;
  reply(blocksOn({{1, 2, 3}, {1, 2, 3}}, MIB));
  reply(blocksOn({{1}, {3}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{1, 3}));
  EXPECT_EQ(loc.nreplica, 1U);
}

TEST_F(RankingTest, AReplyWithoutReplicasEndsAGroupInNoWords) {
  loc.blocksize = 4 * MIB;
  loc.length = 4 * MIB;
  reply(blocksOn({{1}, {2}}, MIB));
  reply({0, 2, MIB, {}});
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(out.position(), 0U);
  EXPECT_EQ(told(), (Told{1, 0}));
}

TEST_F(RankingTest, AReplyWithoutProgressEndsTheWalkWithWhatWasCollected) {
  loc.blocksize = 4 * MIB;
  reply(blocksOn({{1}, {2}, {2}}, MIB));
  reply({1, 0, MIB, {}});
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(written(), (std::vector<int>{2, 2}));
  EXPECT_EQ(loc.nblock, 1U);
}

TEST_F(RankingTest, NothingAtAllIsNoBlock) {
  loc.blocksize = 4 * MIB;
  reply({3, 0, MIB, {}});
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(told(), (Told{0, 3}));
}

TEST_F(RankingTest, TheHdfsBlockSizeIsAlignedDown) {
  loc.blocksize = 3 * MIB - 1;
  loc.length = 4 * MIB;
  reply(blocksOn({{1}, {1}, {2}, {2}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), 0);
  EXPECT_EQ(loc.blocksize, 2 * MIB);
  EXPECT_EQ(written(), (std::vector<int>{1, 2, 2, 2}));
}

TEST_F(RankingTest, WithoutAnHdfsBlockSizeThereIsAWarning) {
  loc.blocksize = 0;
  const LogCapture log;
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), -1);
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(log.bodies(LOG_WARN).size(), 1U);
  EXPECT_EQ(log.bodies(LOG_WARN)[0].rfind("input blocksize=0", 0), 0U);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(RankingTest, ZeroDivisorsAreInvalid) {
  loc.blksize = 0;
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), -1);
  EXPECT_EQ(errno, EINVAL);
  loc.blksize = MIB;
  loc.blocksize = MIB - 1;  // aligned down, no block at all
  errno = 0;
  EXPECT_EQ(getBlkLocation_sort(3, loc, out), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(loc.blocksize, 0U);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(RankingTest, DescriptorZeroIsOneLikeAnyOther) {
  loc.blocksize = MIB;
  loc.length = loc.filelen = MIB;
  reply(blocksOn({{1, 2}}, MIB));
  EXPECT_EQ(getBlkLocation_sort(0, loc, out), 0);
  EXPECT_EQ(client.calls()[0].fd, 0);
}

TEST_F(RankingTest, ANegativeDescriptorNeverReachesTheClient) {
  refusesANegativeDescriptor(getBlkLocation_sort);
}

TEST_F(RankingTest, AnyResultButZeroFails) {
  for (const int result : {-1, 1}) {
    reply(blocksOn({{1}}, MIB));
    client.next(failing(result, ESTALE));
    EXPECT_EQ(getBlkLocation_sort(3, loc, out), -1);
    EXPECT_EQ(errno, ESTALE);
    EXPECT_EQ(told(), (Told{0, 0}));
  }
}

TEST_F(RankingTest, ImpossibleRepliesAreAnInputOutputError) {
  refusesImpossibleCounts(getBlkLocation_sort);
}

TEST_F(RankingTest, WhatDoesNotFitIsAnOverflowAfterTheGroupsThatDid) {
  wrap(7);
  reply(blocksOn({{1, 2}, {1, 2}, {3, 4}}, MIB));
  EXPECT_EQ(overflowOf(getBlkLocation_sort), "Buffer overflow: claim 4 remaining 3");
  EXPECT_EQ(written(), (std::vector<int>{1, 2, 1, 1}));
}

}  // namespace
}  // namespace zolt
