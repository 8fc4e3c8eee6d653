// errno in words: the C library's, the first time and every other, on any thread.
#include "base/errno_text.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace zolt {
namespace {

// Below, around and above the numbers that Linux has.
std::vector<int> numbers() {
  std::vector<int> all{INT_MIN, -1, INT_MAX};
  for (int number = 0; number < 300; ++number)
    all.push_back(number);
  return all;
}

std::string expected(int number) {
  std::array<char, 512> room{};
  return strerror_r(number, room.data(), room.size());
}

TEST(ErrnoTextTest, IsTheCLibrarys) {
  for (int round = 0; round < 2; ++round) {
    for (const int number : numbers())
      EXPECT_EQ(ErrnoText(number).c_str(), expected(number)) << number;
  }
}

TEST(ErrnoTextTest, OfUnknownNumbersIsNotTakenForEachOther) {
  const ErrnoText one(200);
  const ErrnoText other(201);
  EXPECT_STREQ(one.c_str(), "Unknown error 200");
  EXPECT_STREQ(other.c_str(), "Unknown error 201");
}

TEST(ErrnoTextTest, IsTheSameOnEveryThread) {
  std::vector<std::string> texts;
  for (const int number : numbers())
    texts.push_back(expected(number));
  std::array<std::vector<std::string>, 4> seen;
  {
    std::vector<std::jthread> threads;
    for (auto& mine : seen) {
      threads.emplace_back([&mine] {
        for (const int number : numbers())
          mine.emplace_back(ErrnoText(number).c_str());
      });
    }
  }
  for (const auto& mine : seen)
    EXPECT_EQ(mine, texts);
}

}  // namespace
}  // namespace zolt
