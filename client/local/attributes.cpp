#include "attributes.h"

#include <sys/stat.h>

#include <algorithm>

#include "attribute_record.h"

namespace zolt_local {

namespace {

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
  *out = zolt_client::attributesFrom(st);
  out->ia_replication = replicas;
  out->ia_blocksize = blockSizeOf(st, cluster());
  out->ia_flags = (marks & HAS_ACL) != 0 ? ZOLT_IAFLAG_ACL : 0;
}

}  // namespace zolt_local
