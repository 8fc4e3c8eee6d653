// Where the blocks of a byte range of a file lie, by path, written to two buffers of the caller's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "blocks/block_query.h"

namespace zolt {

/// Memory that a caller lends, of any alignment.
struct LentMemory {
  char* address;
  unsigned long bytes;
};

/// Where in the status buffer the answer's header begins: a 64-bit block size and a 32-bit replica
/// count, in the machine's byte order. The two bytes between the status record and it are nobody's.
inline constexpr unsigned long BLOCK_HEADER_AT = 90;

/// Describes `length` bytes from `offset`, all of the file when negative. With a status record the
/// file's facts are taken from there and the header is written behind it; without one the file is
/// asked. `locations` gets the words of the answer and -1 from there to its end; when offset and
/// length are both 0 only the header is wanted and it is left alone. What is no regular file has
/// the header 0 and 0, and nothing in `locations`.
///
/// EINVAL for a negative offset and for lent memory without an address, whatever the file is.
/// std::out_of_range for a status buffer of fewer than 91 bytes, std::length_error for locations of
/// no whole number of words, std::overflow_error when the words or the header do not fit.
Errno getBlockLocations(const std::string& path, StorageType type, bool followLink, int64_t offset,
                        int64_t length, std::optional<LentMemory> status,
                        std::optional<LentMemory> locations);

}  // namespace zolt
