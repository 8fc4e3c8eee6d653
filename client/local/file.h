// A local file, by the name or the descriptor that the client was given.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cstddef>

namespace zolt_local {

/// A file by path (links are followed) or by descriptor.
class File {
 public:
  explicit File(const char* path) : path_(path) {}
  explicit File(int fd) : fd_(fd) {}

  /// Null for one by descriptor.
  const char* path() const { return path_; }

  int stat(struct stat& st) const {
    return path_ != nullptr ? ::stat(path_, &st) : fstat(fd_, &st);
  }
  ssize_t getAttribute(const char* name, void* value, size_t size) const;
  ssize_t listAttributes(char* names, size_t size) const;
  /// As statfs(2) calls it (linux/magic.h); 0 when it cannot be told.
  long fileSystemType() const;

 private:
  const char* path_ = nullptr;
  int fd_ = -1;
};

/// The file that a path leads to at this moment, held for the length of a scope (open(2), O_PATH:
/// it need not be readable).
class PinnedFile {
 public:
  explicit PinnedFile(const char* path);
  ~PinnedFile();
  PinnedFile(const PinnedFile&) = delete;
  PinnedFile& operator=(const PinnedFile&) = delete;

  bool isOpen() const { return fd_ >= 0; }
  /// By a path that leads to this very file, whatever happens to its own (proc(5)).
  File file() const { return File(link_.data()); }

 private:
  int fd_;
  std::array<char, 32> link_{};
};

}  // namespace zolt_local
