#include "cluster.h"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace zolt_local {

namespace {

int32_t numberFrom(const char* variable, int32_t largest, int32_t byDefault) {
  const char* text = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read once
  if (text == nullptr) return byDefault;
  const std::string_view digits(text);
  int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool whole = error == std::errc{} && end == digits.data() + digits.size();
  return whole && number >= 1 && number <= largest ? number : byDefault;
}

// Spreads neighbouring inode numbers over all values (the finaliser of SplitMix64).
uint64_t scatter(uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

}  // namespace

Cluster clusterFromEnvironment() {
  const Cluster defaults;
  return {numberFrom("ZOLT_LOCAL_NODES", std::numeric_limits<int32_t>::max(), defaults.nodes),
          numberFrom("ZOLT_LOCAL_REPLICATION", 255, defaults.replication),
          numberFrom("ZOLT_LOCAL_BLOCK_SIZE", LARGEST_BLOCK, defaults.blockSize)};
}

const Cluster& cluster() {
  static const Cluster theCluster = clusterFromEnvironment();
  return theCluster;
}

int32_t nodeOf(const Cluster& cluster, uint64_t inode, uint64_t block, uint32_t copy) {
  const auto nodes = static_cast<uint64_t>(cluster.nodes);
  return static_cast<int32_t>((scatter(inode) % nodes + block % nodes + copy) % nodes);
}

}  // namespace zolt_local
