// A file of the mount, held open for the length of a call.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cstddef>

namespace zolt_cephfs {

/// A file by the caller's descriptor, or by a path (links are followed). A path is walked once, and
/// what is asked afterwards is asked of that very file: on a FUSE mount each component of a path is
/// a request to another process, each time.
class File {
 public:
  explicit File(int fd) : fd_(fd) {}
  explicit File(const char* path);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Each 0 or a length, or -1 with errno; that of open(2) when the path leads nowhere.
  int stat(struct stat& st) const;
  ssize_t getAttribute(const char* name, void* value, size_t size) const;
  ssize_t listAttributes(char* names, size_t size) const;

 private:
  bool isByPath() const { return link_[0] != '\0'; }

  int fd_;
  int openError_ = 0;
  std::array<char, 32> link_{};  // a path without components that leads to fd_ (proc(5))
};

}  // namespace zolt_cephfs
