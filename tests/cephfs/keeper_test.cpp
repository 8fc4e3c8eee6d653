#include <gtest/gtest.h>

#include <cerrno>
#include <future>

#include "map_keeper.h"

namespace zolt_cephfs {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds FRESH{20};
constexpr milliseconds TIMEOUT{300};

// Monitors of two pools whose groups lie on OSDs that tell the group and the epoch.
struct Cluster {
  std::mutex mutex;
  std::condition_variable changed;
  uint64_t epoch = 7;
  uint32_t groups = 8;
  int refusal = 0;
  bool isSilent = false;
  int dumps = 0;
  int maps = 0;

  void wait(std::unique_lock<std::mutex>& lock) {
    changed.wait(lock, [this] { return !isSilent; });
    if (refusal != 0) throw NoAnswer(refusal, "refused");
  }
  Pools pools() {
    std::unique_lock lock(mutex);
    wait(lock);
    ++dumps;
    return {epoch, {{1, "data", "fs", 3, groups, false}, {2, "coded", "fs", 3, 4, true}}};
  }
  Group group(int64_t pool, uint32_t number) {
    std::unique_lock lock(mutex);
    wait(lock);
    ++maps;
    if (number >= groups) throw NoAnswer(ENOENT, "no such group");
    return {
        number,
        epoch,
        {static_cast<int32_t>(pool), static_cast<int32_t>(number), static_cast<int32_t>(epoch)}};
  }
  template <class Change>
  void set(const Change& change) {
    const std::lock_guard lock(mutex);
    change(*this);
    changed.notify_all();
  }
};

struct KeeperTest : ::testing::Test {
  Source connect() {
    return {[this] { return cluster.pools(); },
            [this](int64_t pool, uint32_t group) { return cluster.group(pool, group); }};
  }
  ~KeeperTest() override {
    cluster.set([](Cluster& c) { c.isSilent = false; });
  }
  // The epoch in which the keeper learned a group, as its OSDs tell.
  int32_t learned(uint32_t group) {
    const auto map = keeper.mapWith(1, std::vector{group});
    return map ? map->pool(1)->nodesOf(group)[2] : 0;
  }
  static void age() { std::this_thread::sleep_for(2 * FRESH); }

  Cluster cluster;
  MapKeeper keeper{[this] { return connect(); }, FRESH, TIMEOUT};
};

TEST_F(KeeperTest, APoolIsFoundByItsNameAndByItsNumber) {
  const auto map = keeper.map();
  ASSERT_TRUE(map);
  EXPECT_EQ(map->epoch, 7U);
  EXPECT_EQ(map->pool("data")->facts().id, 1);
  EXPECT_EQ(map->pool("2")->facts().name, "coded");
  EXPECT_EQ(map->pool("3"), nullptr);
  EXPECT_EQ(map->pool("data")->copies(), 3);
  EXPECT_EQ(map->pool("coded")->copies(), 1);
}

TEST_F(KeeperTest, WhatIsKnownIsNotAskedAgainUntilTheEpochMoves) {
  EXPECT_EQ(learned(3), 7);
  const int maps = cluster.maps;
  EXPECT_EQ(learned(3), 7);
  EXPECT_EQ(cluster.maps, maps);
  age();
  EXPECT_EQ(learned(3), 7);
  EXPECT_EQ(cluster.maps, maps + 1);  // for the epoch
  EXPECT_EQ(cluster.dumps, 1);
  cluster.set([](Cluster& c) { c.epoch = 8; });
  age();
  EXPECT_EQ(learned(3), 8);
  EXPECT_EQ(cluster.dumps, 2);
}

TEST_F(KeeperTest, NoCallWaitsLongerThanTheTimeoutAndTheNextOnesNotAtAll) {
  cluster.set([](Cluster& c) { c.isSilent = true; });
  const auto began = Clock::now();
  EXPECT_FALSE(keeper.map());
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_GE(Clock::now() - began, TIMEOUT);
  EXPECT_LT(Clock::now() - began, 2 * TIMEOUT);
  const auto then = Clock::now();
  EXPECT_FALSE(keeper.map());
  EXPECT_LT(Clock::now() - then, TIMEOUT / 2);
}

TEST_F(KeeperTest, WhileTheMonitorsAreAwayWhatWasKnownCounts) {
  EXPECT_EQ(learned(1), 7);
  cluster.set([](Cluster& c) {
    c.epoch = 9;
    c.isSilent = true;
  });
  age();
  EXPECT_EQ(learned(1), 7);
  const auto map = keeper.mapWith(1, std::vector<uint32_t>{1, 2});
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(map->pool(1)->epochOf(1), 7U);
  EXPECT_EQ(map->pool(1)->epochOf(2), 0U);
  cluster.set([](Cluster& c) { c.isSilent = false; });
  for (int i = 0; i < 100 && learned(1) != 9; ++i)
    age();
  EXPECT_EQ(learned(1), 9);
  EXPECT_EQ(learned(2), 9);
}

TEST_F(KeeperTest, ARefusalIsNoTimeout) {
  cluster.set([](Cluster& c) { c.refusal = EACCES; });
  EXPECT_FALSE(keeper.map());
  EXPECT_EQ(errno, EIO);  // the user's own rights are not in question
}

TEST_F(KeeperTest, AGroupThatThePoolHasLostIsNoFailure) {
  EXPECT_EQ(learned(7), 7);
  cluster.set([](Cluster& c) {
    c.groups = 4;
    c.epoch = 8;
  });
  age();
  const auto map = keeper.mapWith(1, std::vector<uint32_t>{7});
  EXPECT_EQ(map->pool(1)->facts().groups, 4U);
  EXPECT_EQ(learned(3), 8);
}

TEST_F(KeeperTest, ManyThreadsGetTheSame) {
  std::vector<std::future<bool>> all;
  for (uint32_t i = 0; i < 32; ++i) {
    all.push_back(std::async(std::launch::async, [this, i] {
      for (uint32_t n = 0; n < 200; ++n) {
        const uint32_t group = (i + n) % 8;
        const auto map = keeper.mapWith(1, std::vector{group});
        if (!map || map->pool(1)->nodesOf(group)[1] != static_cast<int32_t>(group)) return false;
      }
      return true;
    }));
  }
  for (auto& each : all)
    EXPECT_TRUE(each.get());
}

TEST_F(KeeperTest, TheEndDoesNotWaitForSilentMonitors) {
  cluster.set([](Cluster& c) { c.isSilent = true; });
  EXPECT_FALSE(keeper.map());
  const auto began = Clock::now();
  keeper.end(milliseconds(50));
  EXPECT_LT(Clock::now() - began, TIMEOUT);
  EXPECT_FALSE(keeper.map());
}

}  // namespace
}  // namespace zolt_cephfs
