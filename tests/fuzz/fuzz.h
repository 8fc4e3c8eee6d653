// What the fuzz targets share: the bytes of an input taken apart, checks, and memory with guards.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/logger2.h"

namespace zolt::fuzz {

[[noreturn]] inline void failed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
  __builtin_trap();
}

// Not assert: the checks stand in every build type.
#define REQUIRE(condition) \
  ((condition) ? void() : ::zolt::fuzz::failed(#condition, __FILE__, __LINE__))

/// An input, from its front to its end; past the end everything reads as 0.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

  bool empty() const { return at_ == end_; }
  size_t left() const { return static_cast<size_t>(end_ - at_); }

  template <class T>
  T take() {
    T value{};
    const size_t size = std::min(sizeof value, left());
    if (size != 0) std::memcpy(&value, at_, size);
    at_ += size;
    return value;
  }
  uint8_t byte() { return take<uint8_t>(); }
  bool flag() { return (byte() & 1) != 0; }
  /// 0 .. choices - 1.
  unsigned pick(unsigned choices) { return byte() % choices; }

  std::string bytes(size_t count) {
    const size_t size = std::min(count, left());
    std::string taken(reinterpret_cast<const char*>(at_), size);
    at_ += size;
    return taken;
  }
  std::string rest() { return bytes(left()); }

  /// A number near one of the places where arithmetic turns, or any.
  uint64_t number() {
    switch (pick(6)) {
      case 0:
        return byte();
      case 1:
        return take<uint16_t>();
      case 2:
        return uint64_t{1} << pick(64);
      case 3:
        return (uint64_t{1} << pick(64)) + static_cast<uint64_t>(take<int8_t>());
      case 4:
        return uint64_t{take<uint32_t>()};
      default:
        return take<uint64_t>();
    }
  }

 private:
  const uint8_t* at_;
  const uint8_t* end_;
};

/// What log lines are made, from every one to none.
inline void drawThreshold(Input& input) {
  logger2::currentLevel = static_cast<int>(input.pick(LOG_OFF + 1));
}

/// Memory of some size at some alignment, between guards.
class Guarded {
 public:
  static constexpr char UNTOUCHED = 0x55;

  explicit Guarded(size_t size, size_t shift = 0)
      : size_(size), before_(GUARD + shift), all_(before_ + size + GUARD, UNTOUCHED) {}
  ~Guarded() { REQUIRE(intact()); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  char* data() { return all_.data() + before_; }
  size_t size() const { return size_; }
  std::string content() const { return {all_.data() + before_, size_}; }

 private:
  static constexpr size_t GUARD = 32;

  bool intact() const {
    const auto isUntouched = [](char c) { return c == UNTOUCHED; };
    const auto memory = all_.begin() + static_cast<std::ptrdiff_t>(before_);
    return std::all_of(all_.begin(), memory, isUntouched) &&
           std::all_of(memory + static_cast<std::ptrdiff_t>(size_), all_.end(), isUntouched);
  }

  size_t size_;
  size_t before_;
  std::vector<char> all_;
};

}  // namespace zolt::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
