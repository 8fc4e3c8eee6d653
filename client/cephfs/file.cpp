#include "file.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace zolt_cephfs {

// O_PATH: the file need not be readable, and a FIFO is not waited for.
File::File(const char* path) : fd_(open(path, O_PATH | O_CLOEXEC)) {
  if (fd_ < 0) openError_ = errno;
  std::snprintf(link_.data(), link_.size(), "/proc/self/fd/%d", fd_);
}

File::~File() {
  if (!isByPath() || fd_ < 0) return;
  const int error = errno;
  close(fd_);
  errno = error;
}

int File::stat(struct stat& st) const {
  if (openError_ == 0) return fstat(fd_, &st);
  errno = openError_;
  return -1;
}

// An O_PATH descriptor has no attributes of its own.
ssize_t File::getAttribute(const char* name, void* value, size_t size) const {
  return isByPath() ? getxattr(link_.data(), name, value, size) : fgetxattr(fd_, name, value, size);
}

ssize_t File::listAttributes(char* names, size_t size) const {
  return isByPath() ? listxattr(link_.data(), names, size) : flistxattr(fd_, names, size);
}

}  // namespace zolt_cephfs
