#include "attributes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

namespace zolt_local {

namespace {

zolt_timestamp64 timestamp(const timespec& time) {
  return {time.tv_sec, static_cast<uint32_t>(time.tv_nsec), 0};
}

// What cannot be read hides no file: that has its other attributes.
uint8_t replicasOf(const File& file) {
  Replication replication{};
  replicationOf(file, cluster(), replication);
  return replication.wanted;
}

bool hasAcl(const File& file) {
  return file.getAttribute("system.posix_acl_access", nullptr, 0) >= 1 ||
         file.getAttribute("system.posix_acl_default", nullptr, 0) >= 1;
}

}  // namespace

int32_t blockSizeOf(const struct stat& st, const Cluster& cluster) {
  if (cluster.blockSize != 0) return cluster.blockSize;
  return static_cast<int32_t>(std::clamp<blksize_t>(st.st_blksize, 1, LARGEST_BLOCK));
}

int readAttributes(const File& file, zolt_iattr64* out) {
  struct stat st;
  if (file.stat(st) != 0) return -1;
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
  attr.ia_replication = S_ISREG(st.st_mode) ? replicasOf(file) : uint8_t{1};
  attr.ia_blocksize = blockSizeOf(st, cluster());
  attr.ia_flags = hasAcl(file) ? ZOLT_IAFLAG_ACL : 0;
  memcpy(out, &attr, sizeof attr);
  return 0;
}

}  // namespace zolt_local
