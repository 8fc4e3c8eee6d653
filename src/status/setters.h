// Permissions and times of a file, changed with the calling thread's rights. Links are followed.
#pragma once

#include <cstdint>

#include "base/errno_text.h"

namespace zolt {

/// Sets the sticky bit and the nine permission bits to those of `permission`; set-user-id and
/// set-group-id are dropped.
Errno setPermission(const char* path, int16_t permission);

/// Sets the times, in milliseconds since the epoch; -1 leaves one as it is. The path is absolute:
/// a relative one is EBADF. A fraction of a second before the epoch is EINVAL (utimensat(2)).
/// Failures are logged at error.
Errno setTimes(const char* path, int64_t mtime, int64_t atime);

}  // namespace zolt
