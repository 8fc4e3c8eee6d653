// A directory as readdir could give it, in place of the system's.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zolt::fuzz {

struct DirEntry {
  std::string name;  // no NUL, 1 to 255 bytes
  uint64_t inode;
  unsigned char type;
  off_t next;      // d_off: where the entry after this one begins
  int error;       // not 0: the read fails with it
  int strayErrno;  // what a read that succeeds leaves in errno
};

/// For its lifetime, on this thread, opendir opens this directory, whatever the path.
class Directory {
 public:
  Directory(std::vector<DirEntry> entries, int openError);
  ~Directory();
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  /// Streams opened and not closed.
  int open() const { return open_; }

  // The system's side.
  struct Stream;
  Stream* openStream();
  void* read(Stream& stream);
  void seek(Stream& stream, off_t position) const;
  void close(Stream* stream);

 private:
  std::vector<DirEntry> entries_;
  int openError_;
  int open_ = 0;
};

}  // namespace zolt::fuzz
