#include "object_hash.h"

#include <cstddef>

namespace zolt_cephfs {

namespace {

struct State {
  uint32_t a = 0x9e3779b9;
  uint32_t b = 0x9e3779b9;
  uint32_t c = 0;

  void mix() {
    a = (a - b - c) ^ (c >> 13);
    b = (b - c - a) ^ (a << 8);
    c = (c - a - b) ^ (b >> 13);
    a = (a - b - c) ^ (c >> 12);
    b = (b - c - a) ^ (a << 16);
    c = (c - a - b) ^ (b >> 5);
    a = (a - b - c) ^ (c >> 3);
    b = (b - c - a) ^ (a << 10);
    c = (c - a - b) ^ (b >> 15);
  }
};

// Up to four bytes, the first one lowest.
uint32_t wordOf(std::string_view bytes) {
  uint32_t word = 0;
  for (size_t i = 0; i < bytes.size() && i < 4; ++i)
    word |= uint32_t{static_cast<uint8_t>(bytes[i])} << (8 * i);
  return word;
}

std::string_view from(std::string_view bytes, size_t at) {
  return bytes.substr(at < bytes.size() ? at : bytes.size());
}

}  // namespace

uint32_t rjenkins(std::string_view name) {
  State state;
  const auto length = static_cast<uint32_t>(name.size());
  for (; name.size() >= 12; name.remove_prefix(12)) {
    state.a += wordOf(name);
    state.b += wordOf(from(name, 4));
    state.c += wordOf(from(name, 8));
    state.mix();
  }
  state.a += wordOf(name);
  state.b += wordOf(from(name, 4));
  state.c += length + (wordOf(from(name, 8)) << 8);  // the lowest byte is the length's
  state.mix();
  return state.c;
}

}  // namespace zolt_cephfs
