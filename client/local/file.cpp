#include "file.h"

#include <fcntl.h>
#include <sys/statfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>

namespace zolt_local {

ssize_t File::getAttribute(const char* name, void* value, size_t size) const {
  return path_ != nullptr ? getxattr(path_, name, value, size) : fgetxattr(fd_, name, value, size);
}

ssize_t File::listAttributes(char* names, size_t size) const {
  return path_ != nullptr ? listxattr(path_, names, size) : flistxattr(fd_, names, size);
}

long File::fileSystemType() const {
  struct statfs system {};
  const int result = path_ != nullptr ? statfs(path_, &system) : fstatfs(fd_, &system);
  return result == 0 ? system.f_type : 0;
}

PinnedFile::PinnedFile(const char* path) : fd_(open(path, O_PATH | O_CLOEXEC)) {
  std::snprintf(link_.data(), link_.size(), "/proc/self/fd/%d", fd_);
}

PinnedFile::~PinnedFile() {
  if (isOpen()) close(fd_);
}

}  // namespace zolt_local
