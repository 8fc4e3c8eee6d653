#include "blocks/node_counts.h"

#include <algorithm>
#include <cstring>

#include "blocks/block_query.h"

namespace zolt {

namespace {

constexpr size_t FEWEST_SLOTS = 64;
constexpr size_t MOST_KNOWN = 256;

// Where a node belongs. The multiplier spreads numbers that follow one another, as those of nodes
// do; node 0 belongs to slot 0, and node 1 to another one.
size_t homeOf(int node, size_t mask) {
  return (static_cast<uint32_t>(node) * 2654435769U >> 16) & mask;
}

}  // namespace

bool count_greater(const std::pair<int, int>& a, const std::pair<int, int>& b) {
  return a.second > b.second;
}

void rankFirst(std::span<std::pair<int, int>> nodes, int replicas) {
  const auto size = static_cast<std::ptrdiff_t>(nodes.size());
  std::ptrdiff_t pivot = std::ptrdiff_t{replicas} - 1;
  // With the pivot at the end nothing moves. A pivot past the end would be none: the last pair
  // stands in for it, which orders a few pairs fully.
  if (pivot > size) pivot = size - 1;
  if (pivot < 0) return;
  // A closure is compiled into the selection; the function by itself would be called for each
  // comparison.
  std::nth_element(nodes.begin(), nodes.begin() + pivot, nodes.end(),
                   [](const auto& a, const auto& b) { return count_greater(a, b); });
}

// Half as many nodes as slots at most.
inline void NodeCounts::makeRoom() {
  if (2 * (known_ + 1) > slots_.size()) grow();
}

void NodeCounts::grow() {
  std::vector<Slot> old(std::max(FEWEST_SLOTS, 2 * slots_.size()));
  old.swap(slots_);
  slots_[0].node = 1;
  for (const Slot& slot : old) {
    if (slot.blocksAndOne != 0) find(slot.node) = slot;
  }
  ascending_.clear();
}

// The node's slot, or the one that it is to have.
NodeCounts::Slot& NodeCounts::find(int node) {
  const size_t mask = slots_.size() - 1;
  size_t at = homeOf(node, mask);
  while (slots_[at].blocksAndOne != 0 && slots_[at].node != node)
    at = (at + 1) & mask;
  return slots_[at];
}

void NodeCounts::addElsewhere(int node) {
  if (node < 0) return;
  Slot& slot = find(node);
  if (slot.blocksAndOne != 0) {
    ++slot.blocksAndOne;
    return;
  }
  slot = {node, 2};
  ++known_;
  makeRoom();
}

void NodeCounts::add(const int32_t* words, uint64_t blocks, int32_t replicas) {
  if (blocks == 0 || replicas == 0) return;
  empty_ = false;
  makeRoom();
  Slot* slots = slots_.data();
  size_t mask = slots_.size() - 1;
  for (; blocks > 0; --blocks, words += 2 * std::ptrdiff_t{replicas}) {
    for (int32_t i = 0; i < replicas; ++i) {
      Slot& home = slots[homeOf(words[i], mask)];
      if (home.node == words[i]) [[likely]] {
        ++home.blocksAndOne;
        continue;
      }
      addElsewhere(words[i]);
      slots = slots_.data();
      mask = slots_.size() - 1;
    }
  }
}

void NodeCounts::sortKnown() {
  if (ascending_.size() == known_) return;
  // Before the slots are known: who finds them in order relies on this room.
  ranked_.resize(known_);
  ascending_.clear();
  for (uint32_t i = 0; i < slots_.size(); ++i) {
    if (slots_[i].blocksAndOne != 0) ascending_.push_back(i);
  }
  std::ranges::sort(ascending_, {}, [this](uint32_t i) { return slots_[i].node; });
}

void NodeCounts::emit(int replicas, Buffer<int>& out) {
  const auto answered = static_cast<size_t>(replicas);
  out.claim(2 * answered);
  sortKnown();
  size_t met = 0;
  for (const uint32_t i : ascending_) {
    Slot& slot = slots_[i];
    if (slot.blocksAndOne == 1) continue;
    ranked_[met++] = {slot.node, slot.blocksAndOne - 1};
    slot.blocksAndOne = 1;
  }
  rankFirst({ranked_.data(), met}, replicas);
  // The memory is Java's, and need not lie as an int should.
  char* const nodes = reinterpret_cast<char*>(out.tryTake(2 * answered));
  char* const counts = nodes + answered * sizeof(int);
  for (size_t i = 0; i < answered; ++i) {
    const std::pair<int, int> next = i < met ? ranked_[i] : std::pair{-1, -1};
    std::memcpy(nodes + i * sizeof(int), &next.first, sizeof(int));
    std::memcpy(counts + i * sizeof(int), &next.second, sizeof(int));
  }
  beginGroup();
}

// All known nodes are gone through for every group, so there must not be many more than it has.
void NodeCounts::beginGroup() {
  empty_ = true;
  if (known_ <= MOST_KNOWN) return;
  slots_.clear();
  ascending_.clear();
  known_ = 0;
}

}  // namespace zolt
