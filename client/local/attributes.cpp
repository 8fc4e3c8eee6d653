#include "attributes.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace zolt_local {

namespace {

zolt_timestamp64 timestamp(const timespec& time) {
  return {time.tv_sec, static_cast<uint32_t>(time.tv_nsec), 0};
}

bool hasAttribute(const File& file, const char* name) {
  return file.getAttribute(name, nullptr, 0) >= 1;
}

// The names of a file's attributes: one call that spares four for most files. Where they cannot be
// listed, the file may have any.
class Names {
 public:
  explicit Names(const File& file) : length_(file.listAttributes(names_.data(), names_.size())) {}

  bool mayHave(std::string_view wanted) const {
    if (length_ < 0) return true;
    const std::string_view names(names_.data(), static_cast<size_t>(length_));
    for (size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      if (std::string_view(names_.data() + at) == wanted) return true;
    }
    return false;
  }

 private:
  std::array<char, 1024> names_;
  ssize_t length_;
};

// What cannot be read hides no file: that has its other attributes.
uint8_t replicasOf(const File& file, const Names& names) {
  if (!names.mayHave(REPLICATION.trusted) && !names.mayHave(REPLICATION.user)) {
    return static_cast<uint8_t>(cluster().replication);
  }
  Replication replication{};
  replicationOf(file, cluster(), replication);
  return replication.wanted;
}

bool hasAcl(const File& file, const Names& names) {
  constexpr const char* access = "system.posix_acl_access";
  constexpr const char* byDefault = "system.posix_acl_default";
  return (names.mayHave(access) && hasAttribute(file, access)) ||
         (names.mayHave(byDefault) && hasAttribute(file, byDefault));
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
  const Names names(file);
  attr.ia_replication = S_ISREG(st.st_mode) ? replicasOf(file, names) : uint8_t{1};
  attr.ia_blocksize = blockSizeOf(st, cluster());
  attr.ia_flags = hasAcl(file, names) ? ZOLT_IAFLAG_ACL : 0;
  memcpy(out, &attr, sizeof attr);
  return 0;
}

}  // namespace zolt_local
