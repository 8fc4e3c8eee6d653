// How many file-system blocks of an HDFS block each node holds, and the ranking made of it.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "dirents/buffer.h"
#include "jni/errno_text.h"

namespace zolt {

/// Its end keeps errno.
class NodeCounts {
 public:
  NodeCounts() = default;
  ~NodeCounts() {
    const ErrnoKeeper keeper;
    counts_.clear();
  }
  NodeCounts(const NodeCounts&) = delete;
  NodeCounts& operator=(const NodeCounts&) = delete;

  /// One more block of the group on each of these nodes.
  void add(const int* nodes, int count);

  bool empty() const { return counts_.empty(); }

  /// Writes the group's answer, `replicas` nodes and then their counts, and forgets the group. The
  /// nodes are the first of what rankFirst leaves; -1 where there are too few. std::overflow_error,
  /// and nothing written, when they do not fit.
  void emit(int replicas, Buffer<int>& out);

 private:
  std::map<int, int> counts_;
};

/// Brings the `replicas` largest counts to the front of the pairs, which are in ascending order of
/// their nodes. Their order is what std::nth_element leaves, ties included: clients see it.
void rankFirst(std::vector<std::pair<int, int>>& nodes, int replicas);

}  // namespace zolt
