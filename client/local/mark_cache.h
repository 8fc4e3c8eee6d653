// The marks of files that were met before, so that a status costs one system call, not two or more.
//
// Whatever changes an attribute changes the file's ctime as well, so a file with the device, the
// inode number and the ctime that it had when its marks were read has those marks still. That takes
// a file system that stamps such changes (a few are known to), and a ctime that was some seconds
// old when they were read, so that every later change got another one.
//
// What is remembered has to come from that very file: a path may mean another one from one call to
// the next and then the first again, so its marks are read through a descriptor. That is dearer
// than what it spares once, and done when a file is met for the second time.
#pragma once

#include <sys/stat.h>

#include <optional>

#include "file.h"
#include "marks.h"

namespace zolt_local {

/// Reads the marks of a file; nothing when they cannot be told.
using ReadMarks = std::optional<Marks> (*)(const File& file);

/// The marks of a file whose status `st` was read just now, by the same path or descriptor; nothing
/// when they are not remembered and `read` was not asked for them, or has none. Any number of
/// threads may ask, and none waits.
std::optional<Marks> rememberedMarks(const File& file, const struct stat& st, ReadMarks read);

}  // namespace zolt_local
