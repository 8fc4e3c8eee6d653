// The targets of symbolic links, as raw bytes.
#pragma once

#include <array>
#include <climits>
#include <string>

#include "base/errno_text.h"

namespace zolt {

struct LinkTarget {
  std::array<char, PATH_MAX> bytes;  // the kernel's bound: no target is longer (symlink(2))
  int length;
};

/// Reads at most `length` bytes of a link's target; a longer one is cut. EINVAL for what is no
/// link, and for a negative length. Failures are logged at warn.
Errno readTarget(const char* path, int length, LinkTarget& target);

/// The target of a link if its length is exactly `length`, which tells a link that changed since
/// its status was read. Otherwise an empty string, logged at error.
std::string getLinkTarget(const char* path, int length);

}  // namespace zolt
