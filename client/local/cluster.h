// The parallel file system that one machine stands in for: its nodes, and which of them hold a
// block. Nothing is stored anywhere else than in the local file; the nodes are numbers.
#pragma once

#include <cstdint>

namespace zolt_local {

inline constexpr int32_t LARGEST_BLOCK = 1 << 30;

struct Cluster {
  int32_t nodes = 8;
  int32_t replication = 3;  // of a file for which none was set
  int32_t blockSize = 0;    // bytes; 0: the local file's own st_blksize
};

/// From ZOLT_LOCAL_NODES (1 to 2147483647), ZOLT_LOCAL_REPLICATION (1 to 255) and
/// ZOLT_LOCAL_BLOCK_SIZE (1 to 1073741824), decimal. A variable that is not set, or is anything
/// else, leaves its default.
Cluster clusterFromEnvironment();

/// As it was when the client was first used.
const Cluster& cluster();

/// The node of a copy (0, 1, ...) of a file-system block (0, 1, ...). Blocks go round the nodes
/// from one that depends on the file, and the copies of a block lie on the nodes that follow: all
/// different as long as there are no more copies than nodes.
int32_t nodeOf(const Cluster& cluster, uint64_t inode, uint64_t block, uint32_t copy);

}  // namespace zolt_local
