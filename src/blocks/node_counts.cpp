#include "blocks/node_counts.h"

#include <algorithm>

#include "blocks/block_query.h"

namespace zolt {

bool count_greater(const std::pair<int, int>& a, const std::pair<int, int>& b) {
  return a.second > b.second;
}

void rankFirst(std::vector<std::pair<int, int>>& nodes, int replicas) {
  const auto size = static_cast<std::ptrdiff_t>(nodes.size());
  std::ptrdiff_t pivot = std::ptrdiff_t{replicas} - 1;
  // With the pivot at the end nothing moves. A pivot past the end would be none: the last pair
  // stands in for it, which orders a few pairs fully.
  if (pivot > size) pivot = size - 1;
  if (pivot < 0) return;
  std::nth_element(nodes.begin(), nodes.begin() + pivot, nodes.end(), count_greater);
}

void NodeCounts::add(const int* nodes, int count) {
  for (int i = 0; i < count; ++i)
    ++counts_[nodes[i]];
}

void NodeCounts::emit(int replicas, Buffer<int>& out) {
  const auto slots = static_cast<size_t>(replicas);
  out.claim(2 * slots);
  std::vector<std::pair<int, int>> nodes(counts_.begin(), counts_.end());
  rankFirst(nodes, replicas);
  nodes.resize(slots, {-1, -1});
  for (const auto& node : nodes)
    out.append(&node.first, 1);
  for (const auto& node : nodes)
    out.append(&node.second, 1);
  counts_.clear();
}

}  // namespace zolt
