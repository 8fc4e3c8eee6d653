// The location map of a file: which blocks a request describes, and its words.
#pragma once

#include <cstdint>
#include <cstring>

namespace zolt_client {

/// What the map of a file is made from.
struct Layout {
  uint64_t inode;
  uint64_t length;     // of the file, in bytes
  uint64_t blockSize;  // at least 1
  uint32_t copies;     // of each block
};

/// What a location request asks for.
struct Range {
  uint64_t offset;
  uint64_t length;
  uint64_t skipFactor;
};

/// The counts of a reply, and where its first block begins.
struct Extent {
  uint64_t step;   // bytes from one described block to the next
  uint64_t first;  // number of the first described step
  int32_t blocks;  // described, as many as a reply has room for
  int32_t copies;
};

/// A range is described in steps of the skip factor (the block size, when that is 0), from the step
/// that holds its offset to the one that holds its last byte within the file: so there are none
/// past the end, none for an empty range, and a short last block counts as one. A step stands for
/// the file-system block at its start. The map is made from the file's length alone: a hole lies
/// where its data would.
Extent extentOf(const Layout& layout, const Range& range);

/// Writes 2 * copies words for each block of the extent: the nodes, then the number of the copy on
/// each (0, 1, ...). `nodeOf` is asked for the node of a copy by the place in the file, in bytes,
/// where the block begins.
template <class NodeOf>
void writeWords(const Extent& extent, char* out, const NodeOf& nodeOf) {
  const auto put = [&out](int32_t word) {
    memcpy(out, &word, sizeof word);
    out += sizeof word;
  };
  for (int32_t i = 0; i < extent.blocks; ++i) {
    const uint64_t start = (extent.first + static_cast<uint64_t>(i)) * extent.step;
    for (int32_t copy = 0; copy < extent.copies; ++copy)
      put(nodeOf(start, copy));
    for (int32_t copy = 0; copy < extent.copies; ++copy)
      put(copy);
  }
}

}  // namespace zolt_client
