// The status record: what a file's status is to Java, and the table that tells Java where in it
// each member lies.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "zolt.h"

namespace zolt {

/// 88 bytes in the machine's byte order, at the start of a buffer of any alignment.
struct StatusRecord {
  uint64_t inode;
  int64_t size;  // bytes
  uint32_t uid;
  uint32_t gid;
  uint32_t mode;           // type and permission bits
  uint32_t blockSize;      // bytes; 0 for anything but a regular file
  zolt_timestamp64 atime;  // the seconds and the 8 bytes after them
  zolt_timestamp64 mtime;
  zolt_timestamp64 ctime;
  uint16_t acl;          // ACL_FLAG or 0
  uint16_t replication;  // 0 for anything but a regular file
  uint16_t leaseLength;  // bytes of the holder of the file's lease; 0 when there is none
  uint16_t unused;       // never written
};
static_assert(offsetof(StatusRecord, inode) == 0);
static_assert(offsetof(StatusRecord, size) == 8);
static_assert(offsetof(StatusRecord, uid) == 16);
static_assert(offsetof(StatusRecord, gid) == 20);
static_assert(offsetof(StatusRecord, mode) == 24);
static_assert(offsetof(StatusRecord, blockSize) == 28);
static_assert(offsetof(StatusRecord, atime) == 32);
static_assert(offsetof(StatusRecord, mtime) == 48);
static_assert(offsetof(StatusRecord, ctime) == 64);
static_assert(offsetof(StatusRecord, acl) == 80);
static_assert(offsetof(StatusRecord, replication) == 82);
static_assert(offsetof(StatusRecord, leaseLength) == 84);
static_assert(offsetof(StatusRecord, unused) == 86);
static_assert(sizeof(StatusRecord) == 88);
static_assert(sizeof(zolt_timestamp64) == 16);
static_assert(std::has_unique_object_representations_v<StatusRecord>, "no padding to leak");

#define ZOLT_MEMBER(member) \
  static_cast<int>(offsetof(StatusRecord, member)), static_cast<int>(sizeof(StatusRecord::member))

/// 12 pairs of offset and size, one a member, and last the record's length and 0.
inline constexpr std::array<int, 26> statusOffsetMemberSize = {
    ZOLT_MEMBER(inode),       ZOLT_MEMBER(size),
    ZOLT_MEMBER(uid),         ZOLT_MEMBER(gid),
    ZOLT_MEMBER(mode),        ZOLT_MEMBER(blockSize),
    ZOLT_MEMBER(atime),       ZOLT_MEMBER(mtime),
    ZOLT_MEMBER(ctime),       ZOLT_MEMBER(acl),
    ZOLT_MEMBER(replication), ZOLT_MEMBER(leaseLength),
    sizeof(StatusRecord),     0};

#undef ZOLT_MEMBER

/// The members that every form of the status has; block size, replication, lease and the unused
/// bytes are 0.
StatusRecord commonStatus(const zolt_iattr64& attr);

/// Copies a record to a buffer, and leaves its unused bytes alone.
void storeStatus(const StatusRecord& record, char* buffer);
/// The same without block size, replication and lease, which keep what the buffer held.
void storeFastStatus(const StatusRecord& record, char* buffer);

}  // namespace zolt
