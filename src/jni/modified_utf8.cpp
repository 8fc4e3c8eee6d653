#include "jni/modified_utf8.h"

#include <cstdint>

namespace zolt {

namespace {

uint32_t byteAt(std::string_view bytes, size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

// How many continuation bytes follow the first byte, as far as `wanted`.
size_t continuations(std::string_view bytes, size_t wanted) {
  size_t found = 0;
  while (found < wanted && found + 1 < bytes.size() && (byteAt(bytes, found + 1) & 0xC0) == 0x80) {
    ++found;
  }
  return found;
}

// The length of the modified UTF-8 character that the bytes begin with; 0 where there is none.
size_t characterLength(std::string_view bytes) {
  const uint32_t lead = byteAt(bytes, 0);
  if (lead < 0x80) return 1;
  if ((lead & 0xE0) == 0xC0) return continuations(bytes, 1) == 1 ? 2 : 0;
  if ((lead & 0xF0) == 0xE0) return continuations(bytes, 2) == 2 ? 3 : 0;
  return 0;
}

// The character beyond U+FFFF that the bytes begin with in UTF-8; 0 where there is none.
uint32_t supplementary(std::string_view bytes) {
  if ((byteAt(bytes, 0) & 0xF8) != 0xF0 || continuations(bytes, 3) != 3) return 0;
  const uint32_t character = (byteAt(bytes, 0) & 0x07) << 18 | (byteAt(bytes, 1) & 0x3F) << 12 |
                             (byteAt(bytes, 2) & 0x3F) << 6 | (byteAt(bytes, 3) & 0x3F);
  return character >= 0x10000 && character <= 0x10FFFF ? character : 0;
}

void append(std::string& out, uint32_t unit) {
  if (unit < 0x800) {
    out += static_cast<char>(0xC0 | unit >> 6);
  } else {
    out += static_cast<char>(0xE0 | unit >> 12);
    out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
  }
  out += static_cast<char>(0x80 | (unit & 0x3F));
}

}  // namespace

std::string toModifiedUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    size_t length = characterLength(bytes);
    if (length != 0) {
      out += bytes.substr(0, length);
    } else if (const uint32_t character = supplementary(bytes); character != 0) {
      append(out, 0xD800 + ((character - 0x10000) >> 10));
      append(out, 0xDC00 + ((character - 0x10000) & 0x3FF));
      length = 4;
    } else {
      append(out, byteAt(bytes, 0));
      length = 1;
    }
    bytes.remove_prefix(length);
  }
  return out;
}

}  // namespace zolt
