// The attribute record, as far as stat(2) knows it.
#pragma once

#include <sys/stat.h>

#include "zolt.h"

namespace zolt_client {

/// Whether the arguments of an extended stat are such as zolt.h asks for.
inline bool isGoodStat(const unsigned int* liteMask, const zolt_iattr64* buffer, size_t length) {
  return liteMask != nullptr && buffer != nullptr && length >= sizeof(zolt_iattr64);
}

inline zolt_timestamp64 timestamp(const timespec& time) {
  return {time.tv_sec, static_cast<uint32_t>(time.tv_nsec), 0};
}

/// All but the number of copies, the block size and the flags.
inline zolt_iattr64 attributesFrom(const struct stat& st) {
  zolt_iattr64 attributes{};
  attributes.ia_version = ZOLT_IATTR_VERSION;
  attributes.ia_reclen = ZOLT_IATTR_RECLEN;
  attributes.ia_mode = st.st_mode;
  attributes.ia_uid = st.st_uid;
  attributes.ia_gid = st.st_gid;
  attributes.ia_inode = st.st_ino;
  attributes.ia_size = st.st_size;
  attributes.ia_atime = timestamp(st.st_atim);
  attributes.ia_mtime = timestamp(st.st_mtim);
  attributes.ia_ctime = timestamp(st.st_ctim);
  return attributes;
}

}  // namespace zolt_client
