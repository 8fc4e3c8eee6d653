// The targets of symbolic links, as raw bytes.
#pragma once

#include <array>
#include <climits>
#include <string>

namespace zolt {

/// The kernel's bound: no target is longer (symlink(2)).
using TargetBuffer = std::array<char, PATH_MAX>;

/// Reads at most `length` bytes of a link's target; a longer one is cut. The number of bytes read,
/// or minus errno: -EINVAL for what is no link, and for a negative length. Failures are logged at
/// warn.
int readTarget(const char* path, int length, TargetBuffer& target);

/// The target of a link if its length is exactly `length`, which tells a link that changed since
/// its status was read. Otherwise an empty string, logged at error.
std::string getLinkTarget(const char* path, int length);

}  // namespace zolt
