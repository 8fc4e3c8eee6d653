// Bytes of a record, spelled out field by field.
#pragma once

#include <cstdint>
#include <string>

namespace zolt::test {

class Bytes {
 public:
  Bytes& u32(uint32_t value) { return add(&value, sizeof value); }
  Bytes& u64(uint64_t value) { return add(&value, sizeof value); }
  Bytes& text(const std::string& bytes) { return add(bytes.data(), bytes.size()); }
  Bytes& zeros(size_t count) {
    bytes_.append(count, '\0');
    return *this;
  }
  const std::string& str() const { return bytes_; }

 private:
  Bytes& add(const void* field, size_t size) {
    bytes_.append(static_cast<const char*>(field), size);
    return *this;
  }

  std::string bytes_;
};

}  // namespace zolt::test
