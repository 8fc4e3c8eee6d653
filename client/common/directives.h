// Requests about an open file, as zolt_fcntl and zolt_restripe_file take them: what is the same for
// every client. What a record does is the client's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zolt.h"

namespace zolt_client {

/// What a client does with each kind of record: 0, or -1 with errno.
///
/// A request may lie at any address: `memory` is where the record lies, and its fields are copied
/// out and in, never used in place. Its length and its values are already known to be right.
using Act = int (*)(int fd, char* memory);
struct Acts {
  Act setReplication;
  Act readReplication;
  Act readLocations;
  Act readAttribute;
  Act writeAttribute;
  Act restripe;
};

/// Carries out a request of any number of records, in their order: any but a restripe record, or
/// only those. A request is looked through first: one whose version, lengths, types, names, flags
/// or values are not those of zolt.h is EINVAL and changes nothing. 0, or -1 with errno.
int carryOut(int fd, void* request, const Acts& acts);
int carryOutRestripe(int fd, void* request, const Acts& acts);

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
