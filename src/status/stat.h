// The stat calls of the library: POSIX and extended.
//
// Nothing here throws, and nothing is reported but by a code and a log line. Permission checks are
// the file system's, for the calling thread's identity.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "base/errno_text.h"
#include "zolt.h"

namespace zolt {

/// What the status record says of a file with an access control list.
inline constexpr uint16_t ACL_FLAG = 0x1000;

/// lstat(2), and stat(2) after it where the path is a symbolic link to be followed. 0 or errno; a
/// path that goes on below a file (ENOTDIR) is a missing one (ENOENT).
int getStat(const char* path, bool followLink, struct stat& st);

/// What a failed stat is reported as: ENOENT for ENOTDIR.
Errno reportedStatError(Errno error);

/// The extended attributes, links followed. 0; 5 (EIO) for a record of another version; or errno.
int getStatX(const char* path, zolt_iattr64& attr);
int getStatX(int fd, zolt_iattr64& attr);

/// ACL_FLAG when the attributes tell of an access control list, else 0.
uint16_t getAclBit(const zolt_iattr64& attr);

/// ACL_FLAG when the path carries an access or a default ACL, else 0, also when it cannot be asked.
uint16_t getPermissionFromMode(const std::string& path, bool followLink);

}  // namespace zolt
