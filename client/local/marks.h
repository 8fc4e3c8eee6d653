// Which of the attributes that the client looks for a file has, remembered from call to call.
//
// Whatever changes an attribute changes the file's ctime as well, so a file with the device, the
// inode number and the ctime that it had when its names were read has those names still: a status
// then costs one system call instead of two or more. That takes a file system that stamps such
// changes (a few are known to), and a ctime that was some seconds old when the names were read, so
// that every later change got another one.
//
// What is remembered has to come from that very file: a path may mean another one from one call to
// the next and then the first again, so its names are read through a descriptor. That is dearer
// than what it spares once, and done when a file is met for the second time.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "file.h"

namespace zolt_local {

/// Bits. A setting that may be kept is to be read; one that is not marked is not there.
using Marks = uint32_t;
inline constexpr Marks HAS_ACL = 1;  // of either kind
inline constexpr Marks MAY_KEEP_REPLICATION = 2;
inline constexpr Marks MAY_KEEP_BGF = 4;

/// The marks of a file whose status `st` was read just now, by the same path or descriptor. Any
/// thread may ask at any time; what one thread may see counts for all ("trusted." attributes, which
/// only CAP_SYS_ADMIN shows). So whoever is going to write a setting reads it whatever the marks.
Marks marksOf(const File& file, const struct stat& st);

}  // namespace zolt_local
