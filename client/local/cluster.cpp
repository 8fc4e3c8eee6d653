#include "cluster.h"

#include <limits>

#include "environment.h"

namespace zolt_local {

namespace {

// Spreads neighbouring inode numbers over all values (the finaliser of SplitMix64).
uint64_t scatter(uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

}  // namespace

Cluster clusterFromEnvironment() {
  using zolt_client::numberFrom;
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
