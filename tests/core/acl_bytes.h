// An access control list as the kernel stores it, for tests that need a file to have one.
#pragma once

#include <sys/xattr.h>

#include <cstdint>
#include <string>

namespace zolt::test {

/// Gives a path the list user::rwx,user:1:r--,group::r-x,mask::r-x,other::r-x. `name` is
/// "system.posix_acl_access" or "system.posix_acl_default". 0, or -1 with errno.
inline int storeAcl(const std::string& path, const char* name) {
  struct Entry {
    uint16_t tag;
    uint16_t perm;
    uint32_t id;
  };
  constexpr uint32_t NO_ID = 0xffffffff;
  const struct {
    uint32_t version = 2;
    Entry entries[5] = {{1, 7, NO_ID}, {2, 4, 1}, {4, 5, NO_ID}, {16, 5, NO_ID}, {32, 5, NO_ID}};
  } list;
  return setxattr(path.c_str(), name, &list, sizeof list, 0);
}

}  // namespace zolt::test
