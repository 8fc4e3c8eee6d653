// The rules of modified UTF-8 once more, by bit patterns (JNI specification, "Modified UTF-8
// Strings").
#pragma once

#include <string_view>

namespace zolt::fuzz {

/// A zero byte counts as a character: what has one is cut there before Java sees it.
inline bool isModifiedUtf8(std::string_view text) {
  const auto is = [&](size_t at, unsigned mask, unsigned pattern) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & mask) == pattern;
  };
  for (size_t i = 0; i < text.size();) {
    if (is(i, 0x80, 0)) {
      i += 1;
    } else if (is(i, 0xE0, 0xC0) && is(i + 1, 0xC0, 0x80)) {
      i += 2;
    } else if (is(i, 0xF0, 0xE0) && is(i + 1, 0xC0, 0x80) && is(i + 2, 0xC0, 0x80)) {
      i += 3;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace zolt::fuzz
