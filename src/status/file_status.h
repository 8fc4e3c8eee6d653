// The status of a file as a record in the caller's buffer, and whether it changed.
//
// A buffer is written only when the file changed since the times that the caller knows; what it has
// room for matters no earlier. All errors are to be reported with the path.
#pragma once

#include <cstdint>
#include <string>

#include "base/errno_text.h"

namespace zolt {

struct FileTime {
  int64_t seconds;
  int64_t nanoseconds;

  bool laterThan(const FileTime& other) const {
    return seconds != other.seconds ? seconds > other.seconds : nanoseconds > other.nanoseconds;
  }
};

/// Where a record goes.
struct StatusBuffer {
  char* address;
  unsigned long capacity;  // bytes
};

/// The size in bytes of the HDFS blocks of a file: its block group factor times the file system's
/// block size, which is positive. A file without a factor (0) has the default size, rounded up to
/// whole blocks of the file system.
uint32_t hdfsBlockSize(int blockSize, int bgf);

/// The full record, when both times are later than the known ones; `written` says whether. An error
/// leaves the record unwritten or, where a member of a regular file could not be had, written up to
/// that member.
///
/// The calling thread's identity must be allowed to stat the path; then the superuser reads. The
/// thread's ids are what they were on every way out; IOException when the switch fails. A symbolic
/// link that is not to be followed is ELOOP.
Errno getFileStatus(const char* path, bool followLink, bool withLease, const FileTime& ctime,
                    const FileTime& mtime, const StatusBuffer& buffer, bool& written);

/// The record without block size, replication and lease, when the status change time is later than
/// the known one. It takes the calling thread's identity only, and opens nothing. Links are always
/// followed; `followLink` serves the diagnosis of a failure.
Errno getFileStatusFast(const char* path, bool followLink, const FileTime& ctime,
                        const StatusBuffer& buffer, bool& written);

/// Whether either time is later than the known one; an error leaves `changed` as it is.
Errno isCMTimeChanged(const char* path, bool followLink, const FileTime& ctime,
                      const FileTime& mtime, bool& changed);

}  // namespace zolt
