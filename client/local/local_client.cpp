// The embedded libzolt.so: the client interface over any local file system.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstring>

#include "zolt.h"

namespace {

zolt_timestamp64 timestamp(const timespec& time) {
  return {time.tv_sec, static_cast<uint32_t>(time.tv_nsec), 0};
}

// Asks for the size of one attribute of the file; below 1 means that it has none.
using AttributeSize = ssize_t (*)(const void* file, const char* name);

ssize_t sizeByPath(const void* file, const char* name) {
  return getxattr(static_cast<const char*>(file), name, nullptr, 0);
}

ssize_t sizeByDescriptor(const void* file, const char* name) {
  return fgetxattr(*static_cast<const int*>(file), name, nullptr, 0);
}

bool hasAcl(const void* file, AttributeSize size) {
  return size(file, "system.posix_acl_access") >= 1 || size(file, "system.posix_acl_default") >= 1;
}

int answer(const struct stat& st, bool acl, zolt_iattr64* out) {
  zolt_iattr64 attr{};
  attr.ia_version = ZOLT_IATTR_VERSION;
  attr.ia_reclen = ZOLT_IATTR_RECLEN;
  attr.ia_mode = st.st_mode;
  attr.ia_uid = st.st_uid;
  attr.ia_gid = st.st_gid;
  attr.ia_inode = st.st_ino;
  attr.ia_size = st.st_size;
  attr.ia_atime = timestamp(st.st_atim);
  attr.ia_mtime = timestamp(st.st_mtim);
  attr.ia_ctime = timestamp(st.st_ctim);
  attr.ia_replication = 1;
  attr.ia_blocksize = static_cast<int32_t>(st.st_blksize);
  attr.ia_flags = acl ? ZOLT_IAFLAG_ACL : 0;
  memcpy(out, &attr, sizeof attr);
  return 0;
}

int refuse(int error) {
  errno = error;
  return -1;
}

bool acceptable(const unsigned int* liteMask, const zolt_iattr64* buffer, size_t bufferLength) {
  return liteMask != nullptr && buffer != nullptr && bufferLength >= sizeof(zolt_iattr64);
}

}  // namespace

int zolt_stat_x(const char* path, unsigned int* liteMask, zolt_iattr64* buffer,
                size_t bufferLength) {
  if (path == nullptr || !acceptable(liteMask, buffer, bufferLength)) return refuse(EINVAL);
  struct stat st;
  if (stat(path, &st) != 0) return -1;
  return answer(st, hasAcl(path, sizeByPath), buffer);
}

int zolt_fstat_x(int fd, unsigned int* liteMask, zolt_iattr64* buffer, size_t bufferLength) {
  if (!acceptable(liteMask, buffer, bufferLength)) return refuse(EINVAL);
  struct stat st;
  if (fstat(fd, &st) != 0) return -1;
  return answer(st, hasAcl(&fd, sizeByDescriptor), buffer);
}

int zolt_fcntl(int /*fd*/, void* /*request*/) {
  return refuse(ENOSYS);
}

int zolt_restripe_file(int /*fd*/, void* /*request*/) {
  return refuse(ENOSYS);
}
