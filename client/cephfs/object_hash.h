// Which placement group an object belongs to.
#pragma once

#include <cstdint>
#include <string_view>

namespace zolt_cephfs {

/// Bob Jenkins' hash of 1996 ("A new hash function for hash table lookup"), started as Ceph starts
/// it: the "object_hash" of number 2, the only one that CephFS pools have had since Ceph's first
/// release.
uint32_t rjenkins(std::string_view name);

/// One of `groups` groups for a hash. `mask` is the next power of two less one, so that a pool
/// which gets more groups moves as few objects as can be.
constexpr uint32_t groupOf(uint32_t hash, uint32_t groups, uint32_t mask) {
  return (hash & mask) < groups ? hash & mask : hash & (mask >> 1);
}

/// The mask for so many groups, at least 1.
constexpr uint32_t maskFor(uint32_t groups) {
  uint32_t mask = 0;
  while (mask < groups - 1)
    mask = mask << 1 | 1;
  return mask;
}

}  // namespace zolt_cephfs
