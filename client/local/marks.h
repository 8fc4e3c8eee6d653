// Which of the attributes that the client looks for a file has.
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
