// A local file, by the name or the descriptor that the client was given.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace zolt_local {

/// A file by path (links are followed) or by descriptor.
class File {
 public:
  explicit File(const char* path) : path_(path) {}
  explicit File(int fd) : fd_(fd) {}

  int stat(struct stat& st) const;
  ssize_t getAttribute(const char* name, void* value, size_t size) const;
  ssize_t listAttributes(char* names, size_t size) const;
  /// As statfs(2) calls it (linux/magic.h); 0 when it cannot be told.
  long fileSystemType() const;

 private:
  const char* path_ = nullptr;
  int fd_ = -1;
};

}  // namespace zolt_local
