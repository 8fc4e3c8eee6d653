#include "blocks/block_locations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "faults.h"
#include "log_capture.h"
#include "scripted_client.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

constexpr int64_t MIB = 1 << 20;

// Answers the two kinds of requests: factor 2 and 3 replicas, and one block on nodes 7, 8 and 9.
int answer(void* request) {
  uint32_t length = 0;
  std::memcpy(&length, request, sizeof length);
  if (length == 104) return placement(3, 0, 2)(request);
  return locations({3, 1, 512, {7, 8, 9, 70, 80, 90}})(request);
}

struct BlockLocationsTest : ::testing::Test {
  BlockLocationsTest() {
    client.otherwise(answer);
    memory.fill('s');
    record(4711, 10 * MIB, S_IFREG | 0644, MIB);
  }
  ~BlockLocationsTest() override {
    zolt_fault_clear();
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }

  void record(uint64_t inode, int64_t size, uint32_t mode, int64_t blockSize) {
    const auto block = static_cast<uint32_t>(blockSize);
    std::memcpy(memory.data(), &inode, 8);
    std::memcpy(memory.data() + 8, &size, 8);
    std::memcpy(memory.data() + 24, &mode, 4);
    std::memcpy(memory.data() + 28, &block, 4);
  }

  LentMemory status(unsigned long bytes = 110) { return {memory.data(), bytes}; }
  LentMemory words() {
    return {reinterpret_cast<char*>(locationWords.data()), 4 * locationWords.size()};
  }

  // The header, with everything around it checked.
  std::pair<uint64_t, uint32_t> header() {
    std::pair<uint64_t, uint32_t> found;
    std::memcpy(&found.first, memory.data() + 90, 8);
    std::memcpy(&found.second, memory.data() + 98, 4);
    EXPECT_EQ(std::string(memory.data() + 32, 58), std::string(58, 's'));
    EXPECT_EQ(std::string(memory.data() + 102, 8), std::string(8, 's'));
    return found;
  }
  bool noHeader() { return std::string(memory.data() + 90, 20) == std::string(20, 's'); }

  template <class Error, class Work>
  static std::string thrown(const Work& work) {
    try {
      work();
    } catch (const Error& error) {
      return error.what();
    }
    return "nothing thrown";
  }

  using Header = std::pair<uint64_t, uint32_t>;
  const std::vector<int> untouched = std::vector<int>(10, 5);

  long descriptorsBefore = openDescriptors();
  TempDir dir;
  std::string path = dir.file("file", "content");
  std::array<char, 110> memory{};
  std::vector<int> locationWords = untouched;
  ScriptedClient client;
};

TEST_F(BlockLocationsTest, TheAnswerIsAHeaderAndWordsFollowedByMinusOne) {
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), words()), 0);
  EXPECT_EQ(header(), Header(512, 3));
  EXPECT_EQ(locationWords, (std::vector<int>{7, 8, 9, 70, 80, 90, -1, -1, -1, -1}));
}

TEST_F(BlockLocationsTest, TheFactsAreThoseOfTheRecord) {
  client.next(placement(3, 0, 2));
  client.next(locations({1, 5, 2 * MIB, {1, 1, 2, 2, 3, 3, 4, 4, 5, 5}}));
  const LogCapture log;
  EXPECT_EQ(getBlockLocations(path, HDFS_BLOCKS, true, 3, -5, status(), words()), 0);
  EXPECT_TRUE(log.has(LOG_DEBUG, path + " inode 4711 offset 3 length -5 filelen 10485760"));
  EXPECT_EQ(header(), Header(2 * MIB, 1));
  uint64_t range = 0;
  std::memcpy(&range, client.calls()[1].request.data() + 40, 8);
  EXPECT_EQ(range, 10U * MIB);  // the whole file from the offset, and back to the block's start
}

TEST_F(BlockLocationsTest, ALargeBlockSizeIsNotNegative) {
  record(1, 10 * MIB, S_IFREG, 0x80000000);
  EXPECT_EQ(getBlockLocations(path, SIZES_ONLY, true, 0, 0, status(), words()), 0);
  EXPECT_EQ(header(), Header(0x100000000, 3));
}

TEST_F(BlockLocationsTest, WithoutARecordTheFileIsAsked) {
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  const LogCapture log;
  EXPECT_EQ(getBlockLocations(path, HDFS_BLOCKS, true, 0, 1, std::nullopt, words()), 0);
  EXPECT_TRUE(log.has(
      LOG_DEBUG, path + " inode " + std::to_string(st.st_ino) + " offset 0 length 1 filelen 7"));
  uint64_t skip = 0;
  std::memcpy(&skip, client.calls()[1].request.data() + 32, 8);
  EXPECT_EQ(skip, 2 * static_cast<uint64_t>(st.st_blksize));
  EXPECT_EQ(locationWords[0], 7);
}

TEST_F(BlockLocationsTest, WithoutARecordAMissingFileIsAnError) {
  EXPECT_EQ(getBlockLocations(dir / "none", FS_BLOCKS, true, 0, 1, std::nullopt, words()), ENOENT);
  EXPECT_EQ(getBlockLocations(path + "/x", FS_BLOCKS, true, 0, 1, std::nullopt, words()), ENOENT);
  EXPECT_EQ(locationWords, untouched);
}

TEST_F(BlockLocationsTest, WhatIsNoRegularFileHasAnEmptyHeader) {
  ASSERT_EQ(symlink("file", (dir / "link").c_str()), 0);
  zolt_fault_arm("open", 2, 1, 0);  // only to count
  for (const uint32_t mode : {S_IFDIR | 0755U, S_IFLNK | 0777U, S_IFIFO | 0644U, S_IFSOCK | 0U}) {
    record(1, 4096, mode, 4096);
    EXPECT_EQ(getBlockLocations(path, RANKED_NODES, false, 1, 10, status(), words()), 0);
    EXPECT_EQ(header(), Header(0, 0));
  }
  EXPECT_EQ(getBlockLocations(dir / "link", FS_BLOCKS, false, 0, 1, std::nullopt, words()), 0);
  EXPECT_EQ(getBlockLocations(dir.path(), FS_BLOCKS, true, 0, 1, std::nullopt, words()), 0);
  EXPECT_EQ(locationWords, untouched);
  EXPECT_TRUE(client.calls().empty());
  EXPECT_EQ(zolt_fault_calls("open"), 0);
}

TEST_F(BlockLocationsTest, LinksAreFollowedOnDemand) {
  ASSERT_EQ(symlink("file", (dir / "link").c_str()), 0);
  EXPECT_EQ(getBlockLocations(dir / "link", FS_BLOCKS, true, 0, 1, std::nullopt, words()), 0);
  EXPECT_EQ(locationWords[0], 7);
  // A record that says regular file does not make a link one.
  const LogCapture log;
  EXPECT_EQ(getBlockLocations(dir / "link", FS_BLOCKS, false, 0, 1, status(), words()), ELOOP);
  EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"open failed with 40"});
  EXPECT_TRUE(noHeader());
}

TEST_F(BlockLocationsTest, OffsetAndLengthZeroAskForTheHeaderAlone) {
  for (const StorageType type : {FS_BLOCKS, SIZES_ONLY, HDFS_BLOCKS, RANKED_NODES}) {
    EXPECT_EQ(getBlockLocations(path, type, true, 0, 0, status(), words()), 0);
    EXPECT_EQ(header(), Header(type == FS_BLOCKS ? 512 : 2 * MIB, 3)) << type;
  }
  EXPECT_EQ(locationWords, untouched);
  // Locations of no whole number of words do not matter then, nor do missing ones.
  const LentMemory uneven{words().address, 10};
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 0, status(), uneven), 0);
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 0, status(), std::nullopt), 0);
}

// Whatever the path names, and before it is looked at.
TEST_F(BlockLocationsTest, WhatMayNotBePassedIsRefusedFirst) {
  const LentMemory unusable{nullptr, 0};
  for (const std::string& any : {path, dir.path(), dir / "none"}) {
    for (const auto& [offset, length] :
         {std::pair{0L, 0L}, std::pair{0L, 1L}, std::pair{9L, -1L}}) {
      EXPECT_EQ(getBlockLocations(any, FS_BLOCKS, true, offset, length, unusable, words()), EINVAL);
      EXPECT_EQ(getBlockLocations(any, FS_BLOCKS, true, offset, length, status(), unusable),
                EINVAL);
      EXPECT_EQ(getBlockLocations(any, FS_BLOCKS, true, offset, length, std::nullopt, unusable),
                EINVAL);
    }
    EXPECT_EQ(getBlockLocations(any, FS_BLOCKS, true, -1, 10, std::nullopt, words()), EINVAL);
    EXPECT_EQ(getBlockLocations(any, FS_BLOCKS, true, -1, 10, status(), words()), EINVAL);
  }
  record(1, 4096, S_IFDIR | 0755U, 4096);
  EXPECT_EQ(getBlockLocations(dir.path(), FS_BLOCKS, true, -1, 0, status(), words()), EINVAL);
  EXPECT_TRUE(noHeader());
  EXPECT_EQ(locationWords, untouched);
}

TEST_F(BlockLocationsTest, TheHeaderAloneHasRoomForThreeReplicas) {
  client.next(locations({4, 1, 512, {1, 2, 3, 4, 5, 6, 7, 8}}));
  EXPECT_EQ(thrown<std::overflow_error>([&] {
              static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 0, status(), words()));
            }),
            "Buffer overflow: claim 8 remaining 6");
  EXPECT_TRUE(noHeader());
}

TEST_F(BlockLocationsTest, AnOffsetWithLengthZeroIsARange) {
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 5, 0, status(), words()), 0);
  EXPECT_EQ(locationWords, (std::vector<int>{7, 8, 9, 70, 80, 90, -1, -1, -1, -1}));
}

TEST_F(BlockLocationsTest, ANegativeOffsetIsInvalid) {
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, -1, 1, status(), words()), EINVAL);
  EXPECT_EQ(locationWords, untouched);
  EXPECT_TRUE(noHeader());
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(BlockLocationsTest, AnOffsetPastTheEndHasNoBlocks) {
  EXPECT_EQ(getBlockLocations(path, RANKED_NODES, true, 11 * MIB, 1, status(), words()), 0);
  EXPECT_EQ(header(), Header(2 * MIB, 3));
  EXPECT_EQ(locationWords, std::vector<int>(10, -1));
}

TEST_F(BlockLocationsTest, AnUnknownTypeIsAnAnswerWithoutBlocks) {
  EXPECT_EQ(getBlockLocations(path, StorageType(9), true, 0, 1, status(), words()), 0);
  EXPECT_EQ(header(), Header(MIB, 0));
  EXPECT_EQ(locationWords, std::vector<int>(10, -1));
}

TEST_F(BlockLocationsTest, AStatusBufferThatEndsBeforeTheHeaderIsOutOfRange) {
  // Read as little as one byte past the buffer's end, and this is a crash.
  auto* page = static_cast<char*>(
      mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_EQ(mprotect(page + 4096, 4096, PROT_NONE), 0);
  for (const unsigned long bytes : {0UL, 1UL, 31UL, 88UL, 90UL}) {
    const LentMemory tooShort{page + 4096 - bytes, bytes};
    EXPECT_EQ(
        thrown<std::out_of_range>([&] {
          static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 1, tooShort, words()));
        }),
        "Buffer overflow: current pos 0 seek 90");
  }
  munmap(page, 8192);
  EXPECT_EQ(locationWords, untouched);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(BlockLocationsTest, AStatusBufferThatEndsInsideTheHeaderOverflows) {
  const auto overflow = [this](unsigned long bytes) {
    return thrown<std::overflow_error>([&] {
      static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(bytes), words()));
    });
  };
  EXPECT_EQ(overflow(91), "Buffer overflow: claim 8 remaining 1");
  EXPECT_EQ(overflow(97), "Buffer overflow: claim 8 remaining 7");
  EXPECT_TRUE(noHeader());
  EXPECT_EQ(overflow(98), "Buffer overflow: claim 4 remaining 0");
  EXPECT_EQ(overflow(101), "Buffer overflow: claim 4 remaining 3");
  EXPECT_EQ(header().first, 512U);
  EXPECT_EQ(std::string(memory.data() + 98, 4), "ssss");
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(102), words()), 0);
  EXPECT_EQ(header(), Header(512, 3));
}

TEST_F(BlockLocationsTest, LocationsOfNoWholeNumberOfWordsAreALengthError) {
  for (const unsigned long bytes : {1UL, 10UL, 11UL, 13UL}) {
    const LentMemory odd{words().address, bytes};
    EXPECT_EQ(
        thrown<std::length_error>([&] {
          static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), odd));
        }),
        "Direct ByteBuffer length error: length " + std::to_string(bytes) + " buffer type size 4");
  }
  EXPECT_EQ(locationWords, untouched);
  EXPECT_TRUE(noHeader());
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(BlockLocationsTest, LocationsThatAreTooSmallOverflow) {
  const LentMemory five{words().address, 20};
  EXPECT_EQ(thrown<std::overflow_error>([&] {
              static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), five));
            }),
            "Buffer overflow: claim 6 remaining 5");
  EXPECT_EQ(
      thrown<std::overflow_error>([&] {
        static_cast<void>(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), std::nullopt));
      }),
      "Buffer overflow: claim 6 remaining 0");
  EXPECT_TRUE(noHeader());
  EXPECT_EQ(getBlockLocations(path, SIZES_ONLY, true, 0, 1, status(), std::nullopt), 0);
  EXPECT_EQ(header(), Header(2 * MIB, 3));
}

TEST_F(BlockLocationsTest, TheBuffersThatAreThereAreWrapped) {
  const LogCapture log;
  EXPECT_EQ(getBlockLocations(path, SIZES_ONLY, true, 0, 1, std::nullopt, std::nullopt), 0);
  // After the line of the stat: the locations, and no status.
  ASSERT_EQ(log.bodies(LOG_TRACE).size(), 3U);
  EXPECT_EQ(log.bodies(LOG_TRACE)[1], "wrapper buffer addr=0 capacity=0");
  EXPECT_EQ(log.bodies(LOG_TRACE)[2], "unwrapper buffer addr=0 capacity=0");
  const LogCapture both;
  EXPECT_EQ(getBlockLocations(path, SIZES_ONLY, true, 0, 1, status(), words()), 0);
  ASSERT_EQ(both.bodies(LOG_TRACE).size(), 4U);
  EXPECT_TRUE(both.bodies(LOG_TRACE)[3].ends_with(" capacity=110"));
}

TEST_F(BlockLocationsTest, TheFileIsOpenedForReadingAndCannotHang) {
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& name : {path, fifo}) {  // the record says that either is a file
    client.next([this](void* request) {
      const int fd = client.calls().back().fd;
      EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
      EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
      EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
      return answer(request);
    });
    EXPECT_EQ(getBlockLocations(name, FS_BLOCKS, true, 0, 1, status(), words()), 0);
    EXPECT_EQ(client.left(), 0U);
  }
}

TEST_F(BlockLocationsTest, Descriptor0IsClosedLikeAnyOther) {
  const int saved = dup(0);
  close(0);
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), words()), 0);
  EXPECT_EQ(client.calls().back().fd, 0);
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  dup2(saved, 0);
  close(saved);
}

TEST_F(BlockLocationsTest, LentMemoryWithoutAnAddressIsInvalid) {
  const LentMemory none{nullptr, 0};
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, none, words()), EINVAL);
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), none), EINVAL);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(BlockLocationsTest, AnyAlignmentWillDo) {
  std::vector<char> bytes(200, 'x');
  std::memcpy(bytes.data() + 1, memory.data(), 110);
  const LentMemory record{bytes.data() + 1, 102};
  const LentMemory odd{bytes.data() + 121, 28};
  EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, record, odd), 0);
  const std::vector<int> wanted = {7, 8, 9, 70, 80, 90, -1};
  EXPECT_EQ(std::memcmp(bytes.data() + 121, wanted.data(), 28), 0);
  uint64_t blockSize = 0;
  std::memcpy(&blockSize, bytes.data() + 91, 8);
  EXPECT_EQ(blockSize, 512U);
  EXPECT_EQ(bytes[149], 'x');
}

TEST_F(BlockLocationsTest, EachErrnoOfOpenIsReported) {
  for (const int error : {EACCES, ENOENT, EMFILE, ENOMEM, EIO}) {
    zolt_fault_arm("open", 1, 1, error);
    const LogCapture log;
    EXPECT_EQ(getBlockLocations(path, FS_BLOCKS, true, 0, 1, status(), words()), error);
    EXPECT_EQ(log.bodies(LOG_ERROR),
              std::vector<std::string>{"open failed with " + std::to_string(error)});
  }
  EXPECT_TRUE(noHeader());
  EXPECT_EQ(locationWords, untouched);
}

TEST_F(BlockLocationsTest, AFailedQueryIsReportedAndLeavesTheHeaderAlone) {
  client.otherwise(failing(-1, ESTALE));
  for (const StorageType type : {FS_BLOCKS, HDFS_BLOCKS, RANKED_NODES}) {
    EXPECT_EQ(getBlockLocations(path, type, true, 0, 1, status(), words()), ESTALE);
  }
  EXPECT_TRUE(noHeader());
  EXPECT_EQ(locationWords, untouched);
}

}  // namespace
}  // namespace zolt
