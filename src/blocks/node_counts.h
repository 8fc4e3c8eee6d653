// How many file-system blocks of an HDFS block each node holds, and the ranking made of it.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "base/buffer.h"
#include "base/errno_text.h"

namespace zolt {

/// Counts group after group: what it knows of one group's nodes makes the next one quick, since the
/// blocks of a file lie on the same few nodes. Its end keeps errno.
class NodeCounts {
 public:
  NodeCounts() = default;
  ~NodeCounts() {
    const ErrnoKeeper keeper;
    slots_ = {};
    ascending_ = {};
    ranked_ = {};
  }
  NodeCounts(const NodeCounts&) = delete;
  NodeCounts& operator=(const NodeCounts&) = delete;

  /// Some more blocks of the group. Each takes 2 * replicas words, its nodes first. A negative
  /// number is no node: that copy is missing.
  void add(const int32_t* words, uint64_t blocks, int32_t replicas);

  bool empty() const { return empty_; }

  /// Writes the group's answer, `replicas` nodes and then their counts, and begins a new group. The
  /// nodes are the first of what rankFirst leaves; -1 where there are too few. std::overflow_error,
  /// and nothing written, when they do not fit.
  void emit(int replicas, Buffer<int>& out);

 private:
  // A place of the hash table. Where a node is known, blocksAndOne is its blocks in this group plus
  // 1. An empty place has blocksAndOne 0, and holds a node whose home is another place: add() can
  // then tell by the number of the node alone that the node is known.
  struct Slot {
    int node = 0;
    int blocksAndOne = 0;
  };

  void makeRoom();
  void grow();
  Slot& find(int node);
  void addElsewhere(int node);
  void sortKnown();
  void beginGroup();

  std::vector<Slot> slots_;  // by hash; their number is a power of two
  size_t known_ = 0;
  std::vector<uint32_t> ascending_;          // the known nodes' slots, unless some came since
  std::vector<std::pair<int, int>> ranked_;  // room for as many, used by one group
  bool empty_ = true;
};

/// Brings the `replicas` largest counts to the front of the pairs, which are in ascending order of
/// their nodes. Their order is what std::nth_element leaves, ties included: clients see it.
void rankFirst(std::span<std::pair<int, int>> nodes, int replicas);

}  // namespace zolt
