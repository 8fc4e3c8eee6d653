// What the client keeps about a file, on the file itself, so that it outlives every process.
//
// Each setting is an extended attribute of the local file in the "trusted." namespace. That asks
// for CAP_SYS_ADMIN and for nothing else: it can be written through a read-only descriptor, and by
// a daemon whose thread acts with another user's rights (setfsuid(2) leaves that capability), and
// it does not show in the listings of unprivileged processes. A process without the capability has
// one in "user." instead, with the ordinary rules and visible in listings; where a file has both,
// "trusted." counts. A file system without extended attributes keeps nothing: reading finds every
// file as it was created, writing fails.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "cluster.h"
#include "file.h"
#include "marks.h"

namespace zolt_local {

/// A setting, by its two names and the mark of a file that may have it.
struct Setting {
  const char* trusted;
  const char* user;
  Marks mark;
};
inline constexpr Setting BGF{"trusted.zolt.BGF", "user.zolt.BGF", MAY_KEEP_BGF};
inline constexpr Setting REPLICATION{"trusted.zolt.replication", "user.zolt.replication",
                                     MAY_KEEP_REPLICATION};

/// Reads a setting of a file that has these marks: its length, 0 when it is not set, or -1 with
/// errno.
ssize_t readKept(const File& file, Marks marks, const Setting& setting, void* value, size_t size);

/// Writes a setting of an open file that the caller (with the thread's file-system identity) may
/// write to. 0, or -1 with errno.
int writeKept(int fd, const Setting& setting, const void* value, size_t size);

/// How many copies a file is to have, and how many its data has had since the last restripe.
struct Replication {
  uint8_t wanted;
  uint8_t placed;
};

/// The cluster's default for a file that has none kept, or none of the right form. 0, or -1 with
/// errno when it cannot be read; `out` is the default then too.
int replicationOf(const File& file, Marks marks, const Cluster& cluster, Replication& out);

int writeReplication(int fd, Replication replication);

}  // namespace zolt_local
