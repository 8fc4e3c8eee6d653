// A file of a million blocks and the library's queries, start to end.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <functional>

#include "blocks/block_query.h"
#include "placement/replication.h"
#include "stage.h"

namespace zolt_local {
namespace {

using namespace test;
using zolt::Buffer;
using zolt::locationplus;
using zolt::StorageType;

constexpr uint64_t TIB = 1UL << 40;

struct HugeFileTest : ClientTest {
  HugeFileTest() { resize(TIB); }

  locationplus ask(StorageType type, uint64_t offset, uint64_t length, std::vector<int>& words) {
    struct stat st;
    EXPECT_EQ(fstat(fd, &st), 0);
    locationplus loc{};
    loc.offset = offset;
    loc.length = length;
    loc.filelen = static_cast<uint64_t>(st.st_size);
    loc.blksize = MIB;
    loc.inode = st.st_ino;
    loc.isRegular = true;
    Buffer<int> out;
    out.setBuffer(words.data(), words.size());
    EXPECT_EQ(getBlkLocationInt(fd, type, loc, out), 0);
    EXPECT_EQ(out.position(), size_t{2} * loc.nblock * loc.nreplica);
    words.resize(out.position());
    return loc;
  }

  std::vector<int> whole(StorageType type) {
    std::vector<int> words(size_t{6} << 20);
    ask(type, 0, TIB, words);
    return words;
  }
};

TEST_F(HugeFileTest, AllBlocksAreDescribed) {
  std::vector<int> words(size_t{6} << 20);
  const locationplus loc = ask(zolt::FS_BLOCKS, 0, TIB, words);
  EXPECT_EQ(loc.blocksize, MIB);
  EXPECT_EQ(loc.nblock, 1U << 20);
  EXPECT_EQ(loc.nreplica, 3U);
  const zolt_local::Cluster cluster{8, 3, 0};
  for (uint64_t block = 0; block < 1U << 20; ++block) {
    for (uint32_t copy = 0; copy < 3; ++copy) {
      ASSERT_EQ(words[6 * block + copy], nodeOf(cluster, loc.inode, block, copy)) << block;
      ASSERT_EQ(words[6 * block + 3 + copy], static_cast<int>(copy));
    }
  }
}

TEST_F(HugeFileTest, RangesAreThePartsOfTheWhole) {
  ASSERT_EQ(zolt::setBGF(fd, 128), 0);
  for (const StorageType type : {zolt::FS_BLOCKS, zolt::HDFS_BLOCKS, zolt::RANKED_NODES}) {
    const std::vector<int> all = whole(type);
    std::vector<int> parts;
    for (uint64_t offset = 0; offset < TIB; offset += TIB / 64) {
      std::vector<int> words(size_t{6} << 15);
      ask(type, offset, TIB / 64, words);
      parts.insert(parts.end(), words.begin(), words.end());
    }
    // Replies of 2688 blocks are whole groups of 128, so ranges and replies do not show.
    EXPECT_TRUE(parts == all) << "type " << type;
  }
}

TEST_F(HugeFileTest, RankedNodesAreThoseOfTheBlocks) {
  ASSERT_EQ(zolt::setBGF(fd, 128), 0);
  std::vector<int> words(size_t{6} << 13);
  const locationplus loc = ask(zolt::RANKED_NODES, 0, TIB, words);
  EXPECT_EQ(loc.blocksize, 128 * MIB);
  ASSERT_EQ(loc.nblock, 8192U);
  // 128 blocks of three copies go round eight nodes evenly.
  for (size_t block = 0; block < 8192; ++block) {
    for (size_t i = 3; i < 6; ++i)
      ASSERT_EQ(words[6 * block + i], 48);
  }
}

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Sixteen times the blocks: four times as much again is left for a machine that is busy, while a
// quadratic walk would be at 256.
TEST_F(HugeFileTest, TimeIsLinearAndMemoryStays) {
  ASSERT_EQ(zolt::setBGF(fd, 128), 0);
  std::vector<int> words(size_t{6} << 20);
  const auto walk = [&](uint64_t length) {
    return secondsOf([&] {
      for (const StorageType type : {zolt::FS_BLOCKS, zolt::RANKED_NODES}) {
        words.resize(words.capacity());
        ask(type, 0, length, words);
      }
    });
  };
  walk(TIB / 16);
  rusage before{};
  getrusage(RUSAGE_SELF, &before);
  double part = 1e9;
  for (int i = 0; i < 5; ++i)
    part = std::min(part, walk(TIB / 16));
  double full = 1e9;
  for (int i = 0; i < 3; ++i)
    full = std::min(full, walk(TIB));
  EXPECT_LT(full, 64 * part);
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 << 10) << "KiB";
}

}  // namespace
}  // namespace zolt_local
