// User and group names to ids and back, by the system's databases (getpwnam_r(3), getgrnam_r(3)).
//
// Each conversion answers the IOException that it fails with, after logging its text at warn: 22
// for an id or a name that the database does not have, 12 when there is no memory for an entry, and
// otherwise the errno that the lookup set. A lookup that fails and leaves errno at 0 is no error:
// the output keeps what it held. Entries of any size are found.
#pragma once

#include <cstdint>
#include <string>

#include "base/io_exception.h"

namespace zolt {

/// An id that no user and no group has (credentials(7)): the value to start an output from where it
/// matters that a lookup may leave it alone.
inline constexpr uint32_t NO_ID = 0xffffffff;

Failure uid_to_usrname(uint32_t uid, std::string& name);
Failure gid_to_grpname(uint32_t gid, std::string& name);
/// `gid` becomes the user's primary group.
Failure username_to_uidgid(const std::string& name, uint32_t& uid, uint32_t& gid);
Failure grpname_to_gid(const std::string& name, uint32_t& gid);

}  // namespace zolt
