#include "kept.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace zolt_local {

namespace {

bool isUnset(int error) {
  return error == ENODATA || error == EOPNOTSUPP;
}

}  // namespace

ssize_t readKept(const File& file, Marks marks, const Setting& setting, void* value, size_t size) {
  if ((marks & setting.mark) == 0) return 0;
  for (const char* name : {setting.trusted, setting.user}) {
    const ssize_t length = file.getAttribute(name, value, size);
    if (length >= 0 || !isUnset(errno)) return length;
  }
  return 0;
}

int writeKept(int fd, const Setting& setting, const void* value, size_t size) {
  // GLIBC's own function takes no empty path before 2.33.
  if (syscall(SYS_faccessat2, fd, "", W_OK, AT_EACCESS | AT_EMPTY_PATH) != 0) return -1;
  if (fsetxattr(fd, setting.trusted, value, size, 0) == 0) return 0;
  if (errno != EPERM) return -1;
  return fsetxattr(fd, setting.user, value, size, 0);
}

int replicationOf(const File& file, Marks marks, const Cluster& cluster, Replication& out) {
  const auto byDefault = static_cast<uint8_t>(cluster.replication);
  out = {byDefault, byDefault};
  Replication kept{};
  const ssize_t length = readKept(file, marks, REPLICATION, &kept, sizeof kept);
  if (length < 0) return errno == ERANGE ? 0 : -1;  // too long is a wrong form
  if (length == sizeof kept && kept.wanted != 0 && kept.placed != 0) out = kept;
  return 0;
}

int writeReplication(int fd, Replication replication) {
  return writeKept(fd, REPLICATION, &replication, sizeof replication);
}

}  // namespace zolt_local
