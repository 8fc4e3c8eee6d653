#include "status/links.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/logger2.h"

namespace zolt {

Errno readTarget(const char* path, int length, LinkTarget& target) {
  // readlink(2) refuses a buffer of size 0, so one byte is read at least, and cut.
  const auto room = static_cast<size_t>(std::clamp(length, 1, PATH_MAX));
  const ssize_t count = length < 0 ? -1 : readlink(path, target.bytes.data(), room);
  if (count < 0) {
    const auto error = length < 0 ? Errno(EINVAL) : Errno::ofFailure();
    ZOLT_WARN_AS(ZOLT_NATIVE(getLinkTargetNative), "Invalid link target for " << path);
    return error;
  }
  target.length = std::min(static_cast<int>(count), length);
  return {};
}

std::string getLinkTarget(const char* path, int length) {
  std::array<char, PATH_MAX> target;
  // One byte more than expected, so that a longer target shows.
  const size_t room = std::min(static_cast<size_t>(std::max(length, 0)) + 1, target.size());
  if (path != nullptr && length >= 0 && readlink(path, target.data(), room) == length) {
    return {target.data(), static_cast<size_t>(length)};
  }
  ZOLT_ERROR("Invalid link target for " << orNull(path));
  return {};
}

}  // namespace zolt
