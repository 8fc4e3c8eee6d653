// The walk over a file's location map: reply by reply, in one request on the stack.
#pragma once

#include <cstdint>

#include "placement/directives.h"

namespace zolt {

/// Asks for the location map of a range until it is covered. Its request is large (64584 bytes) and
/// serves for every round: a walk is made on the stack and neither copied nor moved.
///
///     LocationWalk walk(fd, filelen, offset, length);
///     walk.align(blocksize);
///     do {
///       if (const Errno error = walk.read()) return error;
///       ... walk.words() ...
///     } while (walk.advance());
class LocationWalk {
 public:
  LocationWalk(int fd, uint64_t filelen, uint64_t offset, uint64_t length)
      : fd_(fd), filelen_(filelen), offset_(offset), length_(length) {}
  LocationWalk(const LocationWalk&) = delete;
  LocationWalk& operator=(const LocationWalk&) = delete;

  /// Sets the block size to count in, at least 1, and moves the start of the range down to a
  /// multiple of it. Before that the file system counts in its own.
  void align(uint64_t skip);

  /// Makes an empty range of a file with data one byte long, so that it stands for a block.
  void coverOffset();

  /// Gets the next reply. The client's error, or EIO for a reply that cannot be.
  Errno read();

  /// The block size that the client says it counted in.
  int64_t metaBlockSize() const;

  /// One debug line about the round, in the name of the query.
  void logReply(const char* query) const;

  /// Moves past the blocks of the reply. False when the range or the file ends there, and when the
  /// reply described no block: the next would not either. With blocks it needs a size to count in.
  bool advance();

  uint64_t skip() const { return skip_; }
  int32_t replicas() const { return reply().replicas; }
  int32_t blocks() const { return reply().blocks; }

  /// 2 * replicas() words for each of blocks().
  const int32_t* words() const { return static_cast<const int32_t*>(reply().words); }

 private:
  const zolt_location_record& reply() const { return request_.record; }
  void fillRequest();
  uint64_t returnedLength() const;

  int fd_;
  uint64_t filelen_;
  uint64_t offset_;
  uint64_t length_;
  uint64_t skip_ = 0;
  LocationRequest request_;  // not initialised: what a round needs is written by fillRequest
};

}  // namespace zolt
