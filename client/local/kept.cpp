#include "kept.h"

#include <fcntl.h>
#include <sys/stat.h>
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

int File::stat(struct stat& st) const {
  return path_ != nullptr ? ::stat(path_, &st) : fstat(fd_, &st);
}

ssize_t File::getAttribute(const char* name, void* value, size_t size) const {
  return path_ != nullptr ? getxattr(path_, name, value, size) : fgetxattr(fd_, name, value, size);
}

ssize_t File::listAttributes(char* names, size_t size) const {
  return path_ != nullptr ? listxattr(path_, names, size) : flistxattr(fd_, names, size);
}

ssize_t readKept(const File& file, const Setting& setting, void* value, size_t size) {
  for (const char* name : {setting.trusted, setting.user}) {
    const ssize_t length = file.getAttribute(name, value, size);
    if (length >= 0 || !isUnset(errno)) return length;
  }
  return 0;
}

int writeKept(int fd, const Setting& setting, const void* value, size_t size) {
  if (faccessat(fd, "", W_OK, AT_EACCESS | AT_EMPTY_PATH) != 0) return -1;
  if (fsetxattr(fd, setting.trusted, value, size, 0) == 0) return 0;
  if (errno != EPERM) return -1;
  return fsetxattr(fd, setting.user, value, size, 0);
}

int replicationOf(const File& file, const Cluster& cluster, Replication& out) {
  const auto byDefault = static_cast<uint8_t>(cluster.replication);
  out = {byDefault, byDefault};
  Replication kept{};
  const ssize_t length = readKept(file, REPLICATION, &kept, sizeof kept);
  if (length < 0) return errno == ERANGE ? 0 : -1;  // too long is a wrong form
  if (length == sizeof kept && kept.wanted != 0 && kept.placed != 0) out = kept;
  return 0;
}

int writeReplication(int fd, Replication replication) {
  return writeKept(fd, REPLICATION, &replication, sizeof replication);
}

}  // namespace zolt_local
