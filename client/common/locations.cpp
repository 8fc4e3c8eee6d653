#include "locations.h"

#include <algorithm>

#include "zolt.h"

namespace zolt_client {

Extent extentOf(const Layout& layout, const Range& range) {
  const uint64_t step = range.skipFactor != 0 ? range.skipFactor : layout.blockSize;
  const uint64_t first = range.offset / step;
  Extent extent{step, first, 0, static_cast<int32_t>(layout.copies)};
  if (range.offset >= layout.length || range.length == 0) return extent;
  // Inside the file nothing overflows: its length is below 2^63.
  const uint64_t length = std::min(range.length, layout.length - range.offset);
  const uint64_t last = (range.offset + length - 1) / step;
  const uint64_t room = ZOLT_LOCATION_ENTRIES / layout.copies;
  extent.blocks = static_cast<int32_t>(std::min(last - first + 1, room));
  return extent;
}

}  // namespace zolt_client
