// Directory listings: entries packed into a buffer and continued from call to call, and their
// count.
//
// Permission checks are those of the file system for the calling thread's identity. Type and inode
// come from the directory entry alone; no entry is stat'ed. "." and ".." never show.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/buffer.h"
#include "base/io_exception.h"

namespace zolt {

// What a listing buffer holds: the number of records (int32), then the records back to back, each
// this header and the name's bytes, without a terminator. Native byte order, no padding.
struct [[gnu::packed]] DirentHeader {
  uint64_t inode;      // d_ino
  uint16_t type;       // d_type: 4 directory, 8 regular file, 10 symbolic link, 0 unknown, ...
  int32_t nameLength;  // bytes
};
static_assert(sizeof(DirentHeader) == 14);
static_assert(offsetof(DirentHeader, type) == 8);
static_assert(offsetof(DirentHeader, nameLength) == 10);

/// Fills `out` with entries of the thread's listing, which is opened at `path` when the thread has
/// none under way; a listing under way goes on whatever the path. With dirOnly, only directories
/// (type 4). `more` becomes whether the buffer is full and entries remain, with which the next call
/// on this thread continues; otherwise the listing is complete and closed.
///
/// The buffer must hold at least one record past its 4-byte count: a continuation whose first entry
/// does not fit starts the directory over.
///
/// Errors end the thread's listing: Failure with errno and "failed to open directory" or "failed to
/// readdir"; std::out_of_range for a buffer of fewer than 5 bytes.
Failure getDirents(const std::string& path, Buffer<char>& out, bool dirOnly, bool& more);

/// Ends the thread's listing, if it has one. A listing also ends with its thread.
void closeDirents(const std::string& path);

/// Counts the entries of a directory, whatever listing the thread has under way. A directory that
/// does not exist or may not be read has none. Any other Failure to open has errno and "failed to
/// open directory " + path. A readdir that fails stops it ("failed to readdir"), and what was
/// counted before stays counted.
Failure getDirentCount(const std::string& path, int& count);

}  // namespace zolt
