// Buffer<T>: a bounds-checked cursor over the memory of a Java direct buffer.
//
// The memory belongs to the Java object; the cursor never allocates, frees or copies it back.
// Values are stored in the machine's byte order with no alignment or padding between them. The
// exceptions are C++ ones; what an overflow means is for the native that owns the cursor to say.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

#include "base/logger2.h"

namespace zolt {

namespace buffer_errors {

/// std::overflow_error "Buffer overflow: claim C remaining R".
[[noreturn]] void throwOverflow(unsigned long claim, unsigned long remaining);
/// std::out_of_range "Buffer overflow: current pos P seek S".
[[noreturn]] void throwSeek(unsigned long pos, unsigned long seek);
/// std::length_error for a write of no bytes.
[[noreturn]] void throwEmptyWrite(unsigned long typeSize, unsigned long length,
                                  unsigned long bufferTypeSize);

}  // namespace buffer_errors

/// T is char (positions are bytes) or int (positions are 32-bit words).
template <class T>
class Buffer {
 public:
  Buffer() = default;
  ~Buffer() {
    ZOLT_TRACE("unwrapper buffer addr=" << static_cast<const void*>(addr)
                                        << " capacity=" << capacity);
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  /// Takes over a memory of `newCapacity` units of T, unchecked; the position becomes 0. The
  /// address may be null when the capacity is 0.
  void setBuffer(T* newAddr, unsigned long newCapacity) {
    addr = newAddr;
    capacity = newCapacity;
    pos = 0;
    ZOLT_TRACE("wrapper buffer addr=" << static_cast<const void*>(addr)
                                      << " capacity=" << capacity);
  }

  unsigned long position() const { return pos; }
  unsigned long remaining() const { return capacity - pos; }

  /// Moves to p, which must lie inside: seeking to the very end is std::out_of_range too.
  Buffer& seek(unsigned long p) {
    if (p >= capacity) buffer_errors::throwSeek(pos, p);
    pos = p;
    return *this;
  }

  /// Throws std::overflow_error unless n more units fit. Does not move.
  void claim(unsigned long n) const {
    if (n > remaining()) buffer_errors::throwOverflow(n, remaining());
  }

  /// Where n more units go, and the position moved past them; null, and nothing moved, when they do
  /// not fit.
  T* tryTake(unsigned long n) {
    if (n > remaining()) return nullptr;
    T* taken = addr + pos;
    pos += n;
    return taken;
  }

  /// Copies n units as they are; std::overflow_error, and nothing done, when they do not fit.
  Buffer& append(const T* src, unsigned long n) {
    claim(n);
    if (n != 0) std::memmove(addr + pos, src, n * sizeof(T));
    pos += n;
    return *this;
  }

  /// Sets every byte from the position to the end, and moves there.
  Buffer& fillRest(int byte) {
    if (remaining() != 0) std::memset(addr + pos, byte, remaining() * sizeof(T));
    pos = capacity;
    return *this;
  }

  /// Copies n values of type U byte by byte. A write of nothing is std::length_error, one that does
  /// not fit std::overflow_error (counted in bytes), and neither moves or writes anything.
  template <class U>
  Buffer& write(const U* src, unsigned long n) {
    static_assert(sizeof(T) == 1, "byte-wise writes go through Buffer<char>");
    unsigned long bytes = 0;
    if (__builtin_mul_overflow(n, sizeof(U), &bytes)) {
      buffer_errors::throwOverflow(~0UL, remaining());
    }
    if (bytes == 0) buffer_errors::throwEmptyWrite(sizeof(U), n, sizeof(T));
    claim(bytes);
    std::memmove(addr + pos, src, bytes);
    pos += bytes;
    return *this;
  }

  /// Stores one value in place; std::overflow_error when it does not fit.
  template <class U>
  Buffer& store(U value) {
    return write(&value, 1);
  }

  /// "capacity: C total write: P remaining: R", in units of T.
  std::string report() const {
    return "capacity: " + std::to_string(capacity) + " total write: " + std::to_string(pos) +
           " remaining: " + std::to_string(remaining());
  }

 private:
  // Invariant: pos <= capacity.
  T* addr = nullptr;
  unsigned long capacity = 0;
  unsigned long pos = 0;
};

}  // namespace zolt
