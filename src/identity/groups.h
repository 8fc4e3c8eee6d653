// The supplementary groups of the calling thread.
#pragma once

#include <cstdint>

namespace zolt {

/// Gives the calling thread, and no other, the groups of `user` with `gid` among them; a user that
/// no group names has `gid` alone. Needs CAP_SETGID. IOException with errno, logged at warn.
///
/// The kernel keeps groups per thread; it is the C library's setgroups(2) that changes them in all
/// threads at once, and this function never calls that one.
void setgroups(const char* user, uint32_t gid);

/// Logs the calling thread's groups at debug, after the label (which may be null): what an
/// administrator needs to see beside a refused access. 0, or minus errno when the kernel does not
/// tell or there is no memory: it never ends what it reports on. At any other level nothing is
/// asked.
int dump_gid(const char* label) noexcept;

}  // namespace zolt
