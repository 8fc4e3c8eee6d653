#include "status/status_record.h"

#include <cstring>

#include "status/stat.h"

namespace zolt {

namespace {

void copy(const StatusRecord& record, size_t from, size_t to, char* buffer) {
  std::memcpy(buffer + from, reinterpret_cast<const char*>(&record) + from, to - from);
}

}  // namespace

StatusRecord commonStatus(const zolt_iattr64& attr) {
  return {.inode = attr.ia_inode,
          .size = attr.ia_size,
          .uid = static_cast<uint32_t>(attr.ia_uid),
          .gid = static_cast<uint32_t>(attr.ia_gid),
          .mode = attr.ia_mode,
          .blockSize = 0,
          .atime = attr.ia_atime,
          .mtime = attr.ia_mtime,
          .ctime = attr.ia_ctime,
          .acl = getAclBit(attr),
          .replication = 0,
          .leaseLength = 0,
          .unused = 0};
}

void storeStatus(const StatusRecord& record, char* buffer) {
  copy(record, 0, offsetof(StatusRecord, unused), buffer);
}

void storeFastStatus(const StatusRecord& record, char* buffer) {
  copy(record, 0, offsetof(StatusRecord, blockSize), buffer);
  copy(record, offsetof(StatusRecord, atime), offsetof(StatusRecord, replication), buffer);
}

}  // namespace zolt
