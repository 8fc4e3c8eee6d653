#include "base/modified_utf8.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace zolt {
namespace {

// What becomes of one byte: U+DC00 and its number, in three bytes.
std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const unsigned unit = 0xDC00 + static_cast<unsigned char>(byte);
    text += {'\xED', static_cast<char>(0x80 | (unit >> 6 & 0x3F)),
             static_cast<char>(0x80 | (unit & 0x3F))};
  }
  return text;
}

TEST(ModifiedUtf8, WhatIsFitStaysAsItIs) {
  for (const std::string text :
       {"", "plain", "\xC3\xA9\xE4\xB8\xAD", "a\xC0\x80z", "\xED\xA0\xBD\xED\xB8\x80",
        "\xED\xA0\x80", "\xED\xA0\x80z", "\xED\xB0\x80", "\xED\xBF\xBF", "\x7F", "\xC2\x80",
        "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF"}) {
    EXPECT_EQ(toModifiedUtf8(text), text);
  }
}

TEST(ModifiedUtf8, FourBytesBecomeTwoSurrogates) {
  EXPECT_EQ(toModifiedUtf8("x\xF0\x9F\x98\x80y"), "x\xED\xA0\xBD\xED\xB8\x80y");
  EXPECT_EQ(toModifiedUtf8("\xF0\x9F\x98\x80\x80"), "\xED\xA0\xBD\xED\xB8\x80" + escaped("\x80"));
  EXPECT_EQ(toModifiedUtf8("\xF0\x90\x80\x80"), "\xED\xA0\x80\xED\xB0\x80");
  EXPECT_EQ(toModifiedUtf8("\xF4\x8F\xBF\xBF"), "\xED\xAF\xBF\xED\xBF\xBF");
}

TEST(ModifiedUtf8, AByteOfNoCharacterBecomesTheLowSurrogateOfItsNumber) {
  EXPECT_EQ(toModifiedUtf8("\xE9"), "\xED\xB3\xA9");
  EXPECT_EQ(toModifiedUtf8("a\x80z"), "a\xED\xB2\x80z");
  EXPECT_EQ(toModifiedUtf8("\xFF"), "\xED\xB3\xBF");
  EXPECT_EQ(toModifiedUtf8("\xC3\xA9\x80"), "\xC3\xA9\xED\xB2\x80");
  // cut short: in the middle, at the end, before an ordinary character
  for (const std::string bytes : {"\xC3", "\xE4\xB8", "\xF0\x9F\x98"}) {
    EXPECT_EQ(toModifiedUtf8(bytes), escaped(bytes));
    EXPECT_EQ(toModifiedUtf8(bytes + "z"), escaped(bytes) + "z");
  }
  EXPECT_EQ(toModifiedUtf8(std::string_view("\xC3\xA9").substr(0, 1)), escaped("\xC3"));
  // longer forms than need be (but for the zero byte's), and beyond the last character
  for (const std::string bytes : {"\xC1\x81", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
                                  "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80"}) {
    EXPECT_EQ(toModifiedUtf8(bytes), escaped(bytes));
  }
}

TEST(ModifiedUtf8, ALoneSurrogateIsEscapedWhereItCouldBeTakenForAnEscape) {
  for (const std::string bytes : {"\xED\xB2\x80", "\xED\xB3\xBF", "\xED\xA0\x80\x80",
                                  "\xED\xA0\x80\xED\xA0\x80\x80", "\xED\xA0\x80\xE0\x9F\xBF"}) {
    EXPECT_EQ(toModifiedUtf8(bytes), escaped(bytes));
  }
  // the same bytes in a pair are a character
  EXPECT_EQ(toModifiedUtf8("\xED\xA0\x80\xED\xB2\x80"), "\xED\xA0\x80\xED\xB2\x80");
}

// All sequences of up to four of the pieces that decide anything.
TEST(ModifiedUtf8, DifferentBytesMakeDifferentStrings) {
  const std::vector<std::string> pieces = {"A", "\x80", "\xA0", "\xC3", "\xED", "\xED\xA0\x80",
                                           "\xED\xB2\x80", "\xED\xB0\x80", "\xF0", "\xC1\x81",
                                           "\xE0\xA0\x80",
                                           // planes whose characters end as surrogates do
                                           "\xF0\x9D\xA0\x80", "\xF0\xAD\xBC\x80"};
  std::map<std::string, std::string> bytesOf;
  std::vector<std::string> all = {""};
  for (size_t from = 0, length = 0; length < 4; ++length) {
    const size_t to = all.size();
    for (; from < to; ++from) {
      for (const std::string& piece : pieces)
        all.push_back(all[from] + piece);
    }
  }
  for (const std::string& bytes : all) {
    for (const char byte : toModifiedUtf8(bytes))
      ASSERT_LT(static_cast<unsigned char>(byte), 0xF0);
    const auto& [text, first] = *bytesOf.emplace(toModifiedUtf8(bytes), bytes).first;
    ASSERT_EQ(first, bytes);
  }
}

}  // namespace
}  // namespace zolt
