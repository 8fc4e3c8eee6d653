// The requests that the library sends to the file system's client about an open file: a header and
// one or two records (zolt.h), contiguous, as the client reads them.
#pragma once

#include <endian.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/errno_text.h"
#include "zolt.h"

namespace zolt {

/// The attribute with the block group factor: how many file-system blocks make up an HDFS block.
/// Its value is a 32-bit integer in network order.
inline constexpr char BGF_NAME[] = {'z', 'o', 'l', 't', '.', 'B', 'G', 'F'};

/// A request with one record. The client's reply is in the record after the call.
template <class Record>
struct Request {
  zolt_request_header header;
  Record record;
};
using AttributeRequest = Request<zolt_attribute_record>;
using LocationRequest = Request<zolt_location_record>;
using SetReplicationRequest = Request<zolt_set_replication_record>;
using RestripeRequest = Request<zolt_restripe_record>;

/// Replica count and block group factor in one request.
struct BgfRequest {
  zolt_request_header header;
  zolt_replication_record replication;
  zolt_attribute_record attribute;
};

static_assert(offsetof(AttributeRequest, record) == 16);
static_assert(sizeof(AttributeRequest) == 72);
static_assert(offsetof(LocationRequest, record) == 16);
static_assert(sizeof(LocationRequest) == 64584);
static_assert(offsetof(SetReplicationRequest, record) == 16);
static_assert(sizeof(SetReplicationRequest) == 56);
static_assert(offsetof(RestripeRequest, record) == 16);
static_assert(sizeof(RestripeRequest) == 64);
static_assert(offsetof(BgfRequest, replication) == 16);
static_assert(offsetof(BgfRequest, attribute) == 48);
static_assert(sizeof(BgfRequest) == 104);

template <class AnyRequest>
constexpr zolt_request_header headerFor() {
  return {sizeof(AnyRequest), ZOLT_REQUEST_VERSION, 0, 0};
}

/// Which answers of the client are failures. A positive one to a request that sets the block group
/// factor, or that reads it with the replica count, has always passed for success.
enum class Failing { NOT_ZERO, NEGATIVE };

/// Asks the client by one of its calls (zolt_fcntl, zolt_restripe_file). The error is what the call
/// left in errno, never what was there before it.
template <class AnyRequest>
Errno ask(int (*call)(int, void*), int fd, AnyRequest& request,
          Failing failing = Failing::NOT_ZERO) {
  errno = 0;
  const int answer = call(fd, &request);
  const bool failed = failing == Failing::NEGATIVE ? answer < 0 : answer != 0;
  return failed ? Errno::ofFailure() : Errno();
}

/// The record that reads (ZOLT_READ_ATTRIBUTE) or writes (ZOLT_WRITE_ATTRIBUTE) the block group
/// factor.
inline zolt_attribute_record bgfRecord(uint32_t type, uint32_t valueLength) {
  zolt_attribute_record record{};
  record.length = sizeof record;
  record.type = type;
  record.nameLength = sizeof BGF_NAME;
  record.valueLength = valueLength;
  record.flags = ZOLT_ATTRIBUTE_FLAGS;
  static_assert(sizeof record.name == sizeof BGF_NAME);
  std::memcpy(record.name, BGF_NAME, sizeof BGF_NAME);
  return record;
}

inline zolt_attribute_record readBgfRecord() {
  return bgfRecord(ZOLT_READ_ATTRIBUTE, sizeof(zolt_attribute_record::value));
}

inline zolt_attribute_record writeBgfRecord(int bgf) {
  const uint32_t value = htobe32(static_cast<uint32_t>(bgf));
  zolt_attribute_record record = bgfRecord(ZOLT_WRITE_ATTRIBUTE, sizeof value);
  std::memcpy(record.value, &value, sizeof value);
  return record;
}

/// The block group factor in a reply whose status is 0.
inline int32_t bgfIn(const zolt_attribute_record& reply) {
  uint32_t value = 0;
  std::memcpy(&value, reply.value, sizeof value);
  return static_cast<int32_t>(be32toh(value));
}

}  // namespace zolt
