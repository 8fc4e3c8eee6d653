// Requests about an open file, as zolt_fcntl and zolt_restripe_file take them: what is the same for
// every client. What a record does is the client's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zolt.h"

namespace zolt_client {

/// One kind of record.
///
/// A request may lie at any address: `memory` is where the record lies, and its fields are copied
/// out and in, never used in place. The type and the length are already known to be right.
struct Directive {
  uint32_t type;
  size_t length;
  bool (*isGood)(const char* memory);
  int (*carryOut)(int fd, char* memory);  // 0, or -1 with errno
};

/// The directive of a type; null for one that the request may not have.
using Lookup = const Directive* (*)(uint32_t type);

/// Carries out a request of any number of records, in their order. A request is looked through
/// first: one whose version, lengths, types, names, flags or values are not those of zolt.h is
/// EINVAL and changes nothing. 0, or -1 with errno.
int carryOut(int fd, void* request, Lookup lookup);

/// Whether the fields of a record are such as zolt.h allows.
bool isAnyGood(const char* memory);
bool isGoodReplication(const char* memory);  // zolt_set_replication_record
bool isGoodRestripe(const char* memory);
bool isGoodAttribute(const char* memory);  // the block group factor is the one there is
bool isGoodLocation(const char* memory);

// What stands before the entries of a location record is all that is copied of it.
template <class Record>
inline constexpr size_t FIELDS = sizeof(Record);
template <>
inline constexpr size_t FIELDS<zolt_location_record> = offsetof(zolt_location_record, words);

template <class Record>
void load(Record& record, const char* memory) {
  memcpy(&record, memory, FIELDS<Record>);
}

template <class Record>
void store(const Record& record, char* memory) {
  memcpy(memory, &record, FIELDS<Record>);
}

}  // namespace zolt_client
