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
  StatusRecord record{};
  record.inode = attr.ia_inode;
  record.size = attr.ia_size;
  record.uid = static_cast<uint32_t>(attr.ia_uid);
  record.gid = static_cast<uint32_t>(attr.ia_gid);
  record.mode = attr.ia_mode;
  record.atime = attr.ia_atime;
  record.mtime = attr.ia_mtime;
  record.ctime = attr.ia_ctime;
  record.acl = getAclBit(attr);
  return record;
}

void storeStatus(const StatusRecord& record, char* buffer) {
  copy(record, 0, offsetof(StatusRecord, unused), buffer);
}

void storeFastStatus(const StatusRecord& record, char* buffer) {
  copy(record, 0, offsetof(StatusRecord, blockSize), buffer);
  copy(record, offsetof(StatusRecord, atime), offsetof(StatusRecord, replication), buffer);
}

}  // namespace zolt
