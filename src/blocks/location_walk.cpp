#include "blocks/location_walk.h"

#include <cerrno>
#include <limits>

#include "base/logger2.h"

namespace zolt {

namespace {

// No client can mean a negative count, or more entries than a reply has room for. Neither count
// alone may exceed that: blocks without replicas have no entries, and a walk over them no other
// bound.
bool isPossible(const zolt_location_record& reply) {
  return reply.replicas >= 0 && reply.replicas <= ZOLT_LOCATION_ENTRIES && reply.blocks >= 0 &&
         reply.blocks <= ZOLT_LOCATION_ENTRIES &&
         reply.replicas * reply.blocks <= ZOLT_LOCATION_ENTRIES;
}

}  // namespace

void LocationWalk::align(uint64_t skip) {
  skip_ = skip;
  // The remainder is a signed 32-bit number, whatever the block size.
  const auto remainder = static_cast<int32_t>(offset_ % skip_);
  const auto shift = static_cast<uint64_t>(int64_t{remainder});
  length_ += shift;
  offset_ -= shift;
}

void LocationWalk::coverOffset() {
  if (length_ == 0 && filelen_ != 0) length_ = 1;
}

// The replies are cleared too, so that a field which the client leaves alone is not that of an
// earlier round. The 64512 bytes of entries stay as they are: the counts say what is in them.
void LocationWalk::fillRequest() {
  request_.header = headerFor<LocationRequest>();
  zolt_location_record& record = request_.record;
  record.length = sizeof record;
  record.type = ZOLT_READ_LOCATIONS;
  record.offset = offset_;
  record.skipFactor = skip_;
  record.range = length_;
  record.flags = 0;
  record.reserved36 = 0;
  record.replicas = 0;
  record.blocks = 0;
  record.metaBlockSizeHalf[0] = 0;
  record.metaBlockSizeHalf[1] = 0;
}

Errno LocationWalk::read() {
  fillRequest();
  if (const Errno error = ask(zolt_fcntl, fd_, request_)) return error;
  return isPossible(reply()) ? Errno() : Errno(EIO);
}

// Each half is a signed number of its own.
int64_t LocationWalk::metaBlockSize() const {
  const auto low = static_cast<uint64_t>(int64_t{reply().metaBlockSizeHalf[0]});
  const auto high = static_cast<uint64_t>(int64_t{reply().metaBlockSizeHalf[1]});
  return static_cast<int64_t>(low | (high << 32));
}

// More than 64 bits can hold covers any range.
uint64_t LocationWalk::returnedLength() const {
  uint64_t bytes = 0;
  const bool overflow = __builtin_mul_overflow(skip_, static_cast<uint64_t>(blocks()), &bytes);
  return overflow ? std::numeric_limits<uint64_t>::max() : bytes;
}

void LocationWalk::logReply(const char* query) const {
  ZOLT_DEBUG_AS(query, "requested offset=" << offset_ << " length=" << length_
                                           << " returned length=" << returnedLength()
                                           << " replicas=" << replicas() << " blocks=" << blocks()
                                           << " skipfactor=" << skip_);
}

bool LocationWalk::advance() {
  const uint64_t returned = returnedLength();
  offset_ += returned;
  if (blocks() == 0 || filelen_ <= offset_ || returned >= length_) return false;
  length_ -= returned;
  return true;
}

}  // namespace zolt
