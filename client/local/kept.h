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

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "cluster.h"

namespace zolt_local {

/// A file by path (links are followed) or by descriptor.
class File {
 public:
  explicit File(const char* path) : path_(path) {}
  explicit File(int fd) : fd_(fd) {}

  int stat(struct stat& st) const;
  ssize_t getAttribute(const char* name, void* value, size_t size) const;
  ssize_t listAttributes(char* names, size_t size) const;

 private:
  const char* path_ = nullptr;
  int fd_ = -1;
};

/// A setting, by its two names.
struct Setting {
  const char* trusted;
  const char* user;
};
inline constexpr Setting BGF{"trusted.zolt.BGF", "user.zolt.BGF"};
inline constexpr Setting REPLICATION{"trusted.zolt.replication", "user.zolt.replication"};

/// Reads a setting: its length, 0 when it is not set, or -1 with errno.
ssize_t readKept(const File& file, const Setting& setting, void* value, size_t size);

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
int replicationOf(const File& file, const Cluster& cluster, Replication& out);

int writeReplication(int fd, Replication replication);

}  // namespace zolt_local
