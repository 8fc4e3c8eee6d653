// The rules of modified UTF-8 once more, by bit patterns (JNI specification, "Modified UTF-8
// Strings").
#pragma once

#include <string>
#include <string_view>

namespace zolt::fuzz {

/// Well-formed, lone surrogates included. A zero byte counts as a character: what has one is cut
/// there before Java sees it.
inline bool isModifiedUtf8(std::string_view text) {
  const auto is = [&](size_t at, unsigned mask, unsigned pattern) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & mask) == pattern;
  };
  for (size_t i = 0; i < text.size();) {
    if (is(i, 0x80, 0)) {
      i += 1;
    } else if (is(i, 0xE0, 0xC0) && is(i + 1, 0xC0, 0x80)) {
      const bool isZero = is(i, 0xFF, 0xC0) && is(i + 1, 0xFF, 0x80);
      if (is(i, 0xFE, 0xC0) && !isZero) return false;  // a longer form than need be
      i += 2;
    } else if (is(i, 0xF0, 0xE0) && is(i + 1, 0xC0, 0x80) && is(i + 2, 0xC0, 0x80)) {
      if (is(i, 0xFF, 0xE0) && is(i + 1, 0xE0, 0x80)) return false;
      i += 3;
    } else {
      return false;
    }
  }
  return true;
}

/// The bytes with each character of four bytes in the other form that it may have, its surrogates.
inline std::string inSurrogates(std::string_view bytes) {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(bytes[at]); };
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool isFour = i + 3 < bytes.size() && byte(i) >= 0xF0 && byte(i) <= 0xF4 &&
                        (byte(i + 1) & 0xC0) == 0x80 && (byte(i + 2) & 0xC0) == 0x80 &&
                        (byte(i + 3) & 0xC0) == 0x80 && !(byte(i) == 0xF0 && byte(i + 1) < 0x90) &&
                        !(byte(i) == 0xF4 && byte(i + 1) > 0x8F);
    if (!isFour) {
      out += bytes[i];
      continue;
    }
    // 11110uuu 10uuzzzz 10yyyyyy 10xxxxxx: with v = u - 1, the halves are v, z and the upper four
    // of y, then the lower two of y and x.
    const unsigned v = ((byte(i) & 0x07U) << 2 | (byte(i + 1) & 0x30U) >> 4) - 1;
    const unsigned z = byte(i + 1) & 0x0FU;
    const unsigned y = byte(i + 2) & 0x3FU;
    const unsigned x = byte(i + 3) & 0x3FU;
    const unsigned units[] = {0xA0U | v, 0x80U | z << 2 | y >> 4, 0xB0U | (y & 0x0FU), 0x80U | x};
    out += {'\xED', static_cast<char>(units[0]), static_cast<char>(units[1]),
            '\xED', static_cast<char>(units[2]), static_cast<char>(units[3])};
    i += 3;
  }
  return out;
}

/// The text with each low surrogate from U+DC80 to U+DCFF that no high one precedes as the byte
/// that it stands for.
inline std::string unescaped(std::string_view text) {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
  std::string out;
  bool afterHigh = false;
  for (size_t i = 0; i < text.size();) {
    const bool isSurrogate = byte(i) == 0xED && byte(i + 1) >= 0xA0;
    if (isSurrogate && !afterHigh && (byte(i + 1) & 0xFE) == 0xB2) {
      out += static_cast<char>((byte(i + 1) & 0x03U) << 6 | (byte(i + 2) & 0x3FU));
      i += 3;
      continue;
    }
    const size_t length = byte(i) < 0x80 ? 1 : byte(i) < 0xE0 ? 2 : 3;
    out += text.substr(i, length);
    afterHigh = isSurrogate && byte(i + 1) < 0xB0;
    i += length;
  }
  return out;
}

}  // namespace zolt::fuzz
