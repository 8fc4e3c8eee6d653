// Extended attributes and the real-time clock, interposed.
#include <sys/types.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>

#include "faults.h"
#include "injector.h"
#include "walk.h"

using faults::Call;

namespace {

struct Names {
  const char* bytes;
  int length;
};
thread_local Names names{};
thread_local long valueLength = -1;
thread_local long listLength = -1;
thread_local std::optional<timespec> standingClock;

ssize_t givenNames(char* list, size_t size) {
  const auto length = static_cast<size_t>(names.length);
  if (size == 0) return names.length;
  if (size < length) {
    errno = ERANGE;
    return -1;
  }
  std::memcpy(list, names.bytes, length);
  return names.length;
}

// Altered as a walk has it: but nothing is longer than the room that it was read into.
ssize_t answered(ssize_t length, size_t size) {
  const ssize_t other = faults::altered(length);
  return size == 0 ? other : std::min(other, static_cast<ssize_t>(size));
}

}  // namespace

void zolt_fault_xattr_names(const char* bytes, int length) {
  names = {bytes, length};
}

void zolt_fault_xattr_lengths(long value, long list) {
  valueLength = value;
  listLength = list;
}

void zolt_fault_realtime(const timespec* time) {
  standingClock = time != nullptr ? std::optional(*time) : std::nullopt;
}

#define FORWARD(result, name, parameters, ...)                  \
  result name parameters noexcept {                             \
    static auto* real = faults::next<result parameters>(#name); \
    return faults::fails(Call::name) ? -1 : real(__VA_ARGS__);  \
  }

#define GET(name)                                                                              \
  ssize_t name(const char* path, const char* attribute, void* value, size_t size) noexcept {   \
    static auto* real = faults::next<ssize_t(const char*, const char*, void*, size_t)>(#name); \
    if (faults::fails(Call::name)) return -1;                                                  \
    if (size == 0 && valueLength >= 0) return valueLength;                                     \
    return answered(real(path, attribute, value, size), size);                                 \
  }

#define LIST(name)                                                                \
  ssize_t name(const char* path, char* list, size_t size) noexcept {              \
    static auto* real = faults::next<ssize_t(const char*, char*, size_t)>(#name); \
    if (faults::fails(Call::name)) return -1;                                     \
    if (size == 0 && listLength >= 0) return listLength;                          \
    if (names.bytes != nullptr) return answered(givenNames(list, size), size);    \
    return answered(real(path, list, size), size);                                \
  }

extern "C" {

GET(getxattr)
GET(lgetxattr)
LIST(listxattr)
LIST(llistxattr)
FORWARD(int, setxattr,
        (const char* path, const char* name, const void* value, size_t size, int flags), path, name,
        value, size, flags)
FORWARD(int, lsetxattr,
        (const char* path, const char* name, const void* value, size_t size, int flags), path, name,
        value, size, flags)
FORWARD(int, removexattr, (const char* path, const char* name), path, name)
FORWARD(int, lremovexattr, (const char* path, const char* name), path, name)

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static auto* real = faults::next<int(clockid_t, timespec*)>("clock_gettime");
  if (clock != CLOCK_REALTIME) return real(clock, time);
  if (faults::fails(Call::clock_gettime)) return -1;
  if (!standingClock) return real(clock, time);
  *time = *standingClock;
  return 0;
}

time_t time(time_t* seconds) noexcept {
  static auto* real = faults::next<time_t(time_t*)>("time");
  if (!standingClock) return real(seconds);
  if (seconds != nullptr) *seconds = standingClock->tv_sec;
  return standingClock->tv_sec;
}

}  // extern "C"
