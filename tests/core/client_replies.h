// A client's replies as bytes in its requests. The offsets stand here once more, as numbers: the
// tests do not take the structs' word for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zolt::test {

template <class Field>
Field fieldOf(const void* request, size_t offset) {
  Field field{};
  std::memcpy(&field, static_cast<const char*>(request) + offset, sizeof field);
  return field;
}

template <class Field>
void put(void* request, size_t offset, const Field& field) {
  std::memcpy(static_cast<char*>(request) + offset, &field, sizeof field);
}

/// To a request for replica count and block group factor: `status` 0 and the factor, or another
/// status.
inline void putPlacement(void* request, uint32_t replicas, int32_t status, uint32_t bgf) {
  put(request, 16 + 16, replicas);
  put(request, 48 + 20, status);
  put(request, 48 + 32, __builtin_bswap32(bgf));
}

/// To a location request; the words go where the entries are, as many as there are.
struct Locations {
  int32_t replicas = 0;
  int32_t blocks = 0;
  int64_t metaBlockSize = 0;
  std::vector<int32_t> words;
};
inline void putLocations(void* request, const Locations& reply) {
  put(request, 16 + 40, reply.replicas);
  put(request, 16 + 44, reply.blocks);
  put(request, 16 + 48, reply.metaBlockSize);
  if (reply.words.empty()) return;
  std::memcpy(static_cast<char*>(request) + 16 + 56, reply.words.data(), 4 * reply.words.size());
}

/// Offset, skip factor and length, which a location request asks for; nothing of another request.
inline std::vector<uint64_t> rangeOf(const void* request) {
  if (fieldOf<uint32_t>(request, 0) != 64584) return {};
  return {fieldOf<uint64_t>(request, 24), fieldOf<uint64_t>(request, 32),
          fieldOf<uint64_t>(request, 40)};
}

}  // namespace zolt::test
