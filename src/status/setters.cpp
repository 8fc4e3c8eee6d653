#include "status/setters.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/logger2.h"

namespace zolt {

namespace {

constexpr const char* TIMES = ZOLT_NATIVE(setTimes);

timespec timestamp(int64_t milliseconds) {
  if (milliseconds == -1) return {UTIME_OMIT, UTIME_OMIT};
  return {milliseconds / 1000, (milliseconds % 1000) * 1000000};
}

}  // namespace

Errno setPermission(const char* path, int16_t permission) {
  ZOLT_TRACE_AS(ZOLT_NATIVE(setPermission), joined(", ", path, permission));
  // C's remainder: what is negative stays so, and the kernel takes its low 12 bits (chmod(2)).
  const auto mode = static_cast<int16_t>(permission % 1024);
  return chmod(path, static_cast<mode_t>(mode)) == 0 ? Errno() : Errno::ofFailure();
}

Errno setTimes(const char* path, int64_t mtime, int64_t atime) {
  ZOLT_TRACE_AS(TIMES, joined(", ", path, mtime, atime));
  const timespec times[] = {timestamp(atime), timestamp(mtime)};
  if (utimensat(-1, path, times, 0) == 0) return {};
  const auto error = Errno::ofFailure();
  ZOLT_ERROR_AS(TIMES,
                "failed to set time for " << path << " mtime " << mtime << " atime " << atime);
  return error;
}

}  // namespace zolt
