#include "cluster.h"

#include <cstdlib>
#include <limits>
#include <set>
#include <vector>

#include "stage.h"

namespace zolt_local {
namespace {

struct EnvironmentTest : ::testing::Test {
  EnvironmentTest() {
    for (const char* name : names)
      unsetenv(name);
  }
  ~EnvironmentTest() override { test::setEnvironment(); }

  static constexpr const char* names[] = {"ZOLT_LOCAL_NODES", "ZOLT_LOCAL_REPLICATION",
                                          "ZOLT_LOCAL_BLOCK_SIZE"};
};

TEST_F(EnvironmentTest, AnEmptyOneGivesTheDefaults) {
  const Cluster cluster = clusterFromEnvironment();
  EXPECT_EQ(cluster.nodes, 8);
  EXPECT_EQ(cluster.replication, 3);
  EXPECT_EQ(cluster.blockSize, 0);
}

TEST_F(EnvironmentTest, EachVariableSetsItsOwn) {
  setenv("ZOLT_LOCAL_NODES", "2147483647", 1);
  setenv("ZOLT_LOCAL_REPLICATION", "255", 1);
  setenv("ZOLT_LOCAL_BLOCK_SIZE", "1073741824", 1);
  Cluster cluster = clusterFromEnvironment();
  EXPECT_EQ(cluster.nodes, 2147483647);
  EXPECT_EQ(cluster.replication, 255);
  EXPECT_EQ(cluster.blockSize, 1073741824);
  for (const char* name : names)
    setenv(name, "1", 1);
  cluster = clusterFromEnvironment();
  EXPECT_EQ(cluster.nodes, 1);
  EXPECT_EQ(cluster.replication, 1);
  EXPECT_EQ(cluster.blockSize, 1);
}

TEST_F(EnvironmentTest, AnythingElseIsIgnored) {
  for (const char* value : {"", "0", "-1", "x", "4x", " 4", "4 ", "+4", "0x4", "4.0", "2147483648",
                            "99999999999999999999"}) {
    for (const char* name : names)
      setenv(name, value, 1);
    const Cluster cluster = clusterFromEnvironment();
    EXPECT_EQ(cluster.nodes, 8) << value;
    EXPECT_EQ(cluster.replication, 3) << value;
    EXPECT_EQ(cluster.blockSize, 0) << value;
  }
  setenv("ZOLT_LOCAL_REPLICATION", "256", 1);
  setenv("ZOLT_LOCAL_BLOCK_SIZE", "1073741825", 1);
  EXPECT_EQ(clusterFromEnvironment().replication, 3);
  EXPECT_EQ(clusterFromEnvironment().blockSize, 0);
}

TEST(Placement, CopiesOfABlockLieOnNodesOfTheirOwn) {
  for (const int32_t nodes : {1, 2, 3, 8, 100, 255}) {
    const Cluster cluster{nodes, 1, 0};
    for (uint64_t block = 0; block < 300; ++block) {
      std::set<int32_t> holders;
      for (int32_t copy = 0; copy < nodes; ++copy)
        holders.insert(nodeOf(cluster, 4711, block, static_cast<uint32_t>(copy)));
      ASSERT_EQ(holders.size(), static_cast<size_t>(nodes));
      ASSERT_GE(*holders.begin(), 0);
      ASSERT_LT(*holders.rbegin(), nodes);
    }
  }
}

TEST(Placement, BlocksGoRoundAllNodes) {
  const Cluster cluster{8, 1, 0};
  std::vector<int> blocks(8);
  for (uint64_t block = 0; block < 80; ++block)
    ++blocks[static_cast<size_t>(nodeOf(cluster, 99, block, 0))];
  EXPECT_EQ(blocks, std::vector<int>(8, 10));
}

TEST(Placement, FilesBeginOnDifferentNodes) {
  const Cluster cluster{8, 1, 0};
  std::vector<int> files(8);
  for (uint64_t inode = 0; inode < 8000; ++inode)
    ++files[static_cast<size_t>(nodeOf(cluster, inode, 0, 0))];
  for (const int count : files)
    EXPECT_NEAR(count, 1000, 200);
}

TEST(Placement, TheLargestNumbersAreNodesToo) {
  const Cluster cluster{std::numeric_limits<int32_t>::max(), 1, 0};
  EXPECT_GE(nodeOf(cluster, ~0UL, ~0UL, ~0U), 0);
}

}  // namespace
}  // namespace zolt_local
