#include "base/buffer.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "log_capture.h"

namespace zolt {
namespace {

using test::LogCapture;

// What the call throws, as its type and text.
template <class Exception, class Call>
std::string thrown(const Call& call) {
  try {
    call();
  } catch (const Exception& error) {
    return error.what();
  } catch (...) {
    return "another exception";
  }
  return "no exception";
}

struct Fixture : ::testing::Test {
  void wrap(unsigned long capacity) { out.setBuffer(memory.data(), capacity); }
  std::array<char, 256> memory{};
  Buffer<char> out;
};
using BufferTest = Fixture;

TEST_F(BufferTest, ReportsWhatItHolds) {
  wrap(100);
  EXPECT_EQ(out.report(), "capacity: 100 total write: 0 remaining: 100");
  out.seek(60);
  EXPECT_EQ(out.report(), "capacity: 100 total write: 60 remaining: 40");
}

TEST_F(BufferTest, SeekIsStrictlyInside) {
  wrap(100);
  out.seek(99);
  EXPECT_EQ(out.position(), 99U);
  EXPECT_EQ(thrown<std::out_of_range>([&] { out.seek(100); }),
            "Buffer overflow: current pos 99 seek 100");
  EXPECT_EQ(out.position(), 99U);
  EXPECT_EQ(&out.seek(0), &out);
}

TEST_F(BufferTest, WritesByteWiseInNativeOrder) {
  wrap(100);
  const unsigned long big = 0x1122334455667788;
  const std::array<int, 2> words = {-2, 7};
  const unsigned int half = 0xAABBCCDD;
  out.seek(1);
  out.write(&big, 1).write(words.data(), 2).write(&half, 1);
  EXPECT_EQ(out.position(), 21U);
  EXPECT_EQ(std::memcmp(memory.data() + 1, &big, 8), 0);
  EXPECT_EQ(std::memcmp(memory.data() + 9, words.data(), 8), 0);
  EXPECT_EQ(std::memcmp(memory.data() + 17, &half, 4), 0);
  EXPECT_EQ(memory[0], 0);
  EXPECT_EQ(memory[21], 0);
}

TEST_F(BufferTest, AWriteOfNothingIsAnError) {
  wrap(0);
  const unsigned long value = 1;
  const int word = 1;
  EXPECT_EQ(thrown<std::length_error>([&] { out.write(&value, 0); }),
            "Input Buffer length error: type size 8 length 0 buffer type size 1");
  EXPECT_EQ(thrown<std::length_error>([&] { out.write(&word, 0); }),
            "Input Buffer length error: type size 4 length 0 buffer type size 1");
}

TEST_F(BufferTest, AnExactFitSucceedsAndTheNextByteDoesNot) {
  wrap(8);
  const unsigned long value = ~0UL;
  out.write(&value, 1);
  EXPECT_EQ(out.remaining(), 0U);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.write("x", 1); }),
            "Buffer overflow: claim 1 remaining 0");
  EXPECT_EQ(out.position(), 8U);
}

TEST_F(BufferTest, AWriteThatDoesNotFitChangesNothing) {
  wrap(11);
  const std::array<int, 3> words = {1, 2, 3};
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.write(words.data(), 3); }),
            "Buffer overflow: claim 12 remaining 11");
  EXPECT_EQ(out.position(), 0U);
  EXPECT_EQ(memory, (std::array<char, 256>{}));
}

TEST_F(BufferTest, ACountThatOverflowsDoesNotFit) {
  wrap(100);
  const unsigned long value = 1;
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.write(&value, 1UL << 61); }),
            "Buffer overflow: claim 18446744073709551615 remaining 100");
}

TEST_F(BufferTest, StoresSingleValues) {
  wrap(14);
  out.store<uint64_t>(1).store<uint32_t>(2).store<uint16_t>(3);
  EXPECT_EQ(memory[0], 1);
  EXPECT_EQ(memory[8], 2);
  EXPECT_EQ(memory[12], 3);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.store<uint16_t>(4); }),
            "Buffer overflow: claim 2 remaining 0");
  out.seek(9);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.store<uint64_t>(4); }),
            "Buffer overflow: claim 8 remaining 5");
}

TEST_F(BufferTest, TakesRoomOnlyWhenThereIsEnough) {
  wrap(10);
  EXPECT_EQ(out.tryTake(10), memory.data());
  EXPECT_EQ(out.tryTake(1), nullptr);
  out.seek(4);
  EXPECT_EQ(out.tryTake(7), nullptr);
  EXPECT_EQ(out.position(), 4U);
  EXPECT_EQ(out.tryTake(5), memory.data() + 4);
  EXPECT_EQ(out.position(), 9U);
}

TEST_F(BufferTest, NoMemoryTakesNoWrite) {
  out.setBuffer(nullptr, 0);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.write("abc", 3); }),
            "Buffer overflow: claim 3 remaining 0");
  EXPECT_EQ(thrown<std::out_of_range>([&] { out.seek(0); }),
            "Buffer overflow: current pos 0 seek 0");
}

TEST_F(BufferTest, SetBufferStartsOver) {
  wrap(10);
  out.seek(5);
  wrap(20);
  EXPECT_EQ(out.report(), "capacity: 20 total write: 0 remaining: 20");
}

TEST(IntBuffer, CountsInWords) {
  std::array<int, 4> memory{};
  Buffer<int> out;
  out.setBuffer(memory.data(), 4);
  EXPECT_NO_THROW(out.claim(4));
  EXPECT_EQ(out.position(), 0U);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.claim(5); }),
            "Buffer overflow: claim 5 remaining 4");
  EXPECT_EQ(out.tryTake(3), memory.data());
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.claim(2); }),
            "Buffer overflow: claim 2 remaining 1");
}

TEST(IntBuffer, AppendsUnitsAsTheyAre) {
  std::array<int, 4> memory{9, 9, 9, 9};
  const std::array<int, 3> words = {1, -2, 3};
  Buffer<int> out;
  out.setBuffer(memory.data(), 4);
  out.append(words.data(), 2).append(words.data(), 0);
  EXPECT_EQ(out.position(), 2U);
  EXPECT_EQ(thrown<std::overflow_error>([&] { out.append(words.data(), 3); }),
            "Buffer overflow: claim 3 remaining 2");
  EXPECT_EQ(memory, (std::array<int, 4>{1, -2, 9, 9}));
  EXPECT_EQ(out.position(), 2U);
}

TEST(IntBuffer, FillsWhatRemains) {
  std::array<int, 4> memory{};
  Buffer<int> out;
  out.setBuffer(memory.data(), 3);
  out.tryTake(1);
  out.fillRest(-1);
  EXPECT_EQ(memory, (std::array<int, 4>{0, -1, -1, 0}));
  EXPECT_EQ(out.remaining(), 0U);
  out.fillRest(0);
  EXPECT_EQ(memory[2], -1);
}

TEST(IntBuffer, NoMemoryIsFilledAndAppendedNothing) {
  const int word = 1;
  Buffer<int> out;
  out.setBuffer(nullptr, 0);
  out.append(&word, 0).fillRest(-1);
  EXPECT_EQ(out.position(), 0U);
}

TEST(IntBuffer, SetBufferStartsOver) {
  std::array<int, 4> memory{};
  Buffer<int> out;
  out.setBuffer(memory.data(), 4);
  out.tryTake(3);
  out.setBuffer(memory.data() + 1, 3);
  EXPECT_EQ(out.position(), 0U);
  EXPECT_EQ(out.remaining(), 3U);
  EXPECT_EQ(out.tryTake(1), memory.data() + 1);
}

// What a cursor over that memory traces.
template <class T>
std::vector<std::string> traced(T* memory, unsigned long capacity) {
  const LogCapture log;
  Buffer<T>().setBuffer(memory, capacity);
  return log.bodies(LOG_TRACE);
}

TEST(BufferLog, TracesItsMemory) {
  std::array<int, 4> memory{};
  std::ostringstream hex;
  hex << "0x" << std::hex << reinterpret_cast<uintptr_t>(memory.data());
  const auto wanted = [](const std::string& address, const std::string& capacity) {
    return std::vector{"wrapper buffer addr=" + address + " capacity=" + capacity,
                       "unwrapper buffer addr=" + address + " capacity=" + capacity};
  };
  EXPECT_EQ(traced(reinterpret_cast<char*>(memory.data()), 16), wanted(hex.str(), "16"));
  EXPECT_EQ(traced(memory.data(), 4), wanted(hex.str(), "4"));
  EXPECT_EQ(traced<char>(nullptr, 0), wanted("0", "0"));
  EXPECT_EQ(traced<int>(nullptr, 0), wanted("0", "0"));
}

TEST(BufferLog, IsSilentAboveTrace) {
  const LogCapture log(LOG_DEBUG);
  Buffer<int>().setBuffer(nullptr, 0);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace zolt
