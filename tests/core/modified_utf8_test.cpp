#include "jni/modified_utf8.h"

#include <gtest/gtest.h>

namespace zolt {
namespace {

TEST(ModifiedUtf8, WhatIsFitStaysAsItIs) {
  for (const std::string text : {"", "plain", "\xC3\xA9\xE4\xB8\xAD", "a\xC0\x80z",
                                 "\xED\xA0\xBD\xED\xB8\x80", "\xED\xA0\x80", "\x7F"}) {
    EXPECT_EQ(toModifiedUtf8(text), text);
  }
}

TEST(ModifiedUtf8, FourBytesBecomeTwoSurrogates) {
  EXPECT_EQ(toModifiedUtf8("x\xF0\x9F\x98\x80y"), "x\xED\xA0\xBD\xED\xB8\x80y");
  EXPECT_EQ(toModifiedUtf8("\xF0\x9F\x98\x80\x80"), "\xED\xA0\xBD\xED\xB8\x80\xC2\x80");
  EXPECT_EQ(toModifiedUtf8("\xF0\x90\x80\x80"), "\xED\xA0\x80\xED\xB0\x80");
  EXPECT_EQ(toModifiedUtf8("\xF4\x8F\xBF\xBF"), "\xED\xAF\xBF\xED\xBF\xBF");
}

TEST(ModifiedUtf8, AByteOfNoCharacterBecomesTheCharacterOfItsNumber) {
  EXPECT_EQ(toModifiedUtf8("\xE9"), "\xC3\xA9");
  EXPECT_EQ(toModifiedUtf8("a\x80z"), "a\xC2\x80z");
  EXPECT_EQ(toModifiedUtf8("\xFF"), "\xC3\xBF");
  EXPECT_EQ(toModifiedUtf8("\xC3\xA9\x80"), "\xC3\xA9\xC2\x80");
  // cut short: in the middle, at the end, before an ordinary character
  EXPECT_EQ(toModifiedUtf8("\xC3"), "\xC3\x83");
  EXPECT_EQ(toModifiedUtf8(std::string_view("\xC3\xA9").substr(0, 1)), "\xC3\x83");
  EXPECT_EQ(toModifiedUtf8("\xE4\xB8"), "\xC3\xA4\xC2\xB8");
  EXPECT_EQ(toModifiedUtf8("\xE4\xB8z"), "\xC3\xA4\xC2\xB8z");
  EXPECT_EQ(toModifiedUtf8("\xF0\x9F\x98"), "\xC3\xB0\xC2\x9F\xC2\x98");
  // four bytes that are no character: too long a form, and beyond the last one
  EXPECT_EQ(toModifiedUtf8("\xF0\x8F\xBF\xBF"), "\xC3\xB0\xC2\x8F\xC2\xBF\xC2\xBF");
  EXPECT_EQ(toModifiedUtf8("\xF4\x90\x80\x80"), "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80");
}

}  // namespace
}  // namespace zolt
