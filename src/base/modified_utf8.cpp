#include "base/modified_utf8.h"

#include <cstdint>

namespace zolt {

namespace {

// A byte of no character becomes the low surrogate of its number, which text has only after a high
// one.
constexpr uint32_t ESCAPE = 0xDC00;

uint32_t byteAt(std::string_view bytes, size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

uint32_t sixBitsAt(std::string_view bytes, size_t i) {
  return byteAt(bytes, i) & 0x3F;
}

// Whether that many continuation bytes follow the first byte.
bool areFollowing(std::string_view bytes, size_t count) {
  if (bytes.size() <= count) return false;
  for (size_t i = 1; i <= count; ++i) {
    if ((byteAt(bytes, i) & 0xC0) != 0x80) return false;
  }
  return true;
}

bool isHighSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

bool isEscape(uint32_t unit) {
  return unit >= ESCAPE + 0x80 && unit <= ESCAPE + 0xFF;
}

// A character, or one half of a pair of surrogates, and how many bytes stand for it; 0 bytes where
// there is none.
struct Unit {
  uint32_t value = 0;
  size_t length = 0;
};

// The unit that the bytes begin with, in modified UTF-8 or in the four bytes of UTF-8. Each value
// has one form: a longer one than it needs is none.
Unit unitAt(std::string_view bytes) {
  if (bytes.empty()) return {};
  const uint32_t lead = byteAt(bytes, 0);
  if (lead < 0x80) return {lead, 1};
  if ((lead & 0xE0) == 0xC0 && areFollowing(bytes, 1)) {
    const uint32_t value = (lead & 0x1F) << 6 | sixBitsAt(bytes, 1);
    if (value >= 0x80 || value == 0) return {value, 2};
  } else if ((lead & 0xF0) == 0xE0 && areFollowing(bytes, 2)) {
    const uint32_t value = (lead & 0x0F) << 12 | sixBitsAt(bytes, 1) << 6 | sixBitsAt(bytes, 2);
    if (value >= 0x800) return {value, 3};
  } else if ((lead & 0xF8) == 0xF0 && areFollowing(bytes, 3)) {
    const uint32_t value = (lead & 0x07) << 18 | sixBitsAt(bytes, 1) << 12 |
                           sixBitsAt(bytes, 2) << 6 | sixBitsAt(bytes, 3);
    if (value >= 0x10000 && value <= 0x10FFFF) return {value, 4};
  }
  return {};
}

// The character that the bytes begin with, a pair of surrogates for one; 0 bytes where there is
// none.
//
// A lone surrogate stays one, but where it could be taken for what became of other bytes: it looks
// like an escape, or an escape may follow it and look like the second half of its pair.
Unit characterAt(std::string_view bytes) {
  const Unit unit = unitAt(bytes);
  if (isEscape(unit.value)) return {};
  const std::string_view rest = bytes.substr(unit.length);
  if (!isHighSurrogate(unit.value) || rest.empty()) return unit;
  const Unit next = unitAt(rest);
  if (isLowSurrogate(next.value)) return {unit.value, unit.length + next.length};
  return next.length == 0 || isHighSurrogate(next.value) ? Unit{} : unit;
}

// A unit of three bytes.
void append(std::string& out, uint32_t unit) {
  out += static_cast<char>(0xE0 | unit >> 12);
  out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
  out += static_cast<char>(0x80 | (unit & 0x3F));
}

}  // namespace

std::string toModifiedUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const Unit character = characterAt(bytes);
    if (character.length == 0) {
      append(out, ESCAPE + byteAt(bytes, 0));
      bytes.remove_prefix(1);
      continue;
    }
    if (character.value >= 0x10000) {
      append(out, 0xD800 + ((character.value - 0x10000) >> 10));
      append(out, 0xDC00 + ((character.value - 0x10000) & 0x3FF));
    } else {
      out += bytes.substr(0, character.length);
    }
    bytes.remove_prefix(character.length);
  }
  return out;
}

}  // namespace zolt
