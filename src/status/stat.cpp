#include "status/stat.h"

#include <sys/xattr.h>

#include <cerrno>

#include "base/logger2.h"
#include "identity/groups.h"

namespace zolt {

namespace {

// Both extended stats; `ask` calls the client. The log lines bear the name that callers know.
template <class Ask>
int getStatX(const Ask& ask, zolt_iattr64& attr) {
  unsigned int mask = 0;
  errno = 0;  // what is reported is the client's own
  if (ask(&mask) != 0) {
    const int error = errnoOfFailure();
    if (error == EACCES) dump_gid("getStatX error");
    return error;
  }
  if (attr.ia_version != ZOLT_IATTR_VERSION) {
    ZOLT_WARN(
        joined(" ", "Invalid ia_version", attr.ia_version, " at least ZOLT 4.2.3 is required."));
    return EIO;
  }
  if (attr.ia_reclen != ZOLT_IATTR_RECLEN) {
    ZOLT_DEBUG(joined(" ", "Unmatch ia_reclen", attr.ia_reclen, "input",
                      static_cast<int>(ZOLT_IATTR_RECLEN)));
  }
  return 0;
}

}  // namespace

Errno reportedStatError(Errno error) {
  return error == ENOTDIR ? Errno(ENOENT) : error;
}

int getStat(const char* path, bool followLink, struct stat& st) {
  // The kernel's answer to a null path; lstat(2) is declared never to be asked.
  if (path == nullptr || lstat(path, &st) != 0) {
    const int error = path == nullptr ? EFAULT : errnoOfFailure();
    if (error == EACCES) dump_gid("getStat error");
    ZOLT_DEBUG("lstat for " << orNull(path) << " error " << error << " resolveLink " << followLink);
    return reportedStatError(Errno(error)).value();
  }
  if (followLink && S_ISLNK(st.st_mode) && stat(path, &st) != 0) {
    const int error = errnoOfFailure();
    ZOLT_DEBUG("link target is invalid, stat for " << path << " error " << error << " resolveLink "
                                                   << followLink);
    return reportedStatError(Errno(error)).value();
  }
  ZOLT_TRACE("path: " << path << " ino: " << st.st_ino << " uid: " << st.st_uid << " gid: "
                      << st.st_gid << " mtime: " << st.st_mtim.tv_sec << "," << st.st_mtim.tv_nsec
                      << " ctime: " << st.st_ctim.tv_sec << "," << st.st_ctim.tv_nsec);
  return 0;
}

int getStatX(const char* path, zolt_iattr64& attr) {
  return getStatX([&](unsigned int* mask) { return zolt_stat_x(path, mask, &attr, sizeof attr); },
                  attr);
}

int getStatX(int fd, zolt_iattr64& attr) {
  return getStatX([&](unsigned int* mask) { return zolt_fstat_x(fd, mask, &attr, sizeof attr); },
                  attr);
}

uint16_t getAclBit(const zolt_iattr64& attr) {
  return (attr.ia_flags & ZOLT_IAFLAG_ACL) != 0 ? ACL_FLAG : uint16_t{0};
}

uint16_t getPermissionFromMode(const std::string& path, bool followLink) {
  const auto size = followLink ? getxattr : lgetxattr;
  for (const char* acl : {"system.posix_acl_access", "system.posix_acl_default"}) {
    if (size(path.c_str(), acl, nullptr, 0) >= 1) {
      ZOLT_DEBUG("Acl is set for " << path);
      return ACL_FLAG;
    }
  }
  ZOLT_DEBUG("No Acl for " << path);
  return 0;
}

}  // namespace zolt
