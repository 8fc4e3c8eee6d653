#include "attributes.h"

#include <sys/stat.h>

#include <algorithm>

namespace zolt_local {

namespace {

zolt_timestamp64 timestamp(const timespec& time) {
  return {time.tv_sec, static_cast<uint32_t>(time.tv_nsec), 0};
}

// What cannot be read hides no file: that has its other attributes.
uint8_t replicasOf(const File& file, Marks marks) {
  Replication replication{};
  replicationOf(file, marks, cluster(), replication);
  return replication.wanted;
}

}  // namespace

int32_t blockSizeOf(const struct stat& st, const Cluster& cluster) {
  if (cluster.blockSize != 0) return cluster.blockSize;
  return static_cast<int32_t>(std::clamp<blksize_t>(st.st_blksize, 1, LARGEST_BLOCK));
}

void storeAttributes(const File& file, const struct stat& st, zolt_iattr64* out) {
  const Marks marks = marksOf(file, st);
  const uint8_t replicas = S_ISREG(st.st_mode) ? replicasOf(file, marks) : uint8_t{1};
  *out = {};
  out->ia_version = ZOLT_IATTR_VERSION;
  out->ia_reclen = ZOLT_IATTR_RECLEN;
  out->ia_mode = st.st_mode;
  out->ia_uid = st.st_uid;
  out->ia_gid = st.st_gid;
  out->ia_inode = st.st_ino;
  out->ia_size = st.st_size;
  out->ia_atime = timestamp(st.st_atim);
  out->ia_mtime = timestamp(st.st_mtim);
  out->ia_replication = replicas;
  out->ia_ctime = timestamp(st.st_ctim);
  out->ia_blocksize = blockSizeOf(st, cluster());
  out->ia_flags = (marks & HAS_ACL) != 0 ? ZOLT_IAFLAG_ACL : 0;
}

}  // namespace zolt_local
