#include "xattr/lease.h"

#include <linux/limits.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <string>

#include "base/logger2.h"

namespace zolt {

namespace {

constexpr const char* SET = ZOLT_NATIVE(setFileLeaseNative);
constexpr const char* GET = ZOLT_NATIVE(getFileLeaseNative);
constexpr const char* RENEW = ZOLT_NATIVE(renewFileLeaseNative);
constexpr const char* REMOVE = ZOLT_NATIVE(removeFileLeaseNative);

using Stamp = std::array<char, sizeof(int64_t)>;

int writeStamp(const char* path, bool follow, int64_t now, int flags) {
  const auto stamp = std::bit_cast<Stamp>(now);
  return zolt_setxattr(path, follow, USER_LEASE_UPDATE, stamp.data(), stamp.size(), flags);
}

// A stored value of fewer bytes fills the low ones.
int readStamp(const char* path, bool follow, int64_t& last) {
  Stamp stamp{};
  char* bytes = stamp.data();
  const int length = zolt_getxattr(path, follow, USER_LEASE_UPDATE, bytes, stamp.size());
  last = std::bit_cast<int64_t>(stamp);
  return length;
}

// For log lines: the first 16 bytes as numbers, each after a blank; nothing when there are fewer.
std::string firstBytes(std::string_view bytes) {
  constexpr size_t SHOWN = 16;
  std::string text;
  if (bytes.size() < SHOWN) return text;
  for (const char byte : bytes.substr(0, SHOWN)) {
    text += ' ';
    text += std::to_string(static_cast<unsigned char>(byte));
  }
  return text;
}

}  // namespace

Errno readLeaseClock(int64_t& now) {
  timespec time{};
  if (clock_gettime(CLOCK_REALTIME, &time) != 0) return Errno::ofFailure();
  now = leaseClock(time);
  return {};
}

XattrError setLease(const char* path, bool follow, std::string_view holder, int64_t now,
                    const std::function<void()>& giveBack) {
  ZOLT_TRACE_AS(SET,
                "lease update " << now << " lease holder " << holder.size() << firstBytes(holder));
  int result =
      zolt_setxattr(path, follow, USER_LEASE_HOLDER, holder.data(), holder.size(), XATTR_CREATE);
  giveBack();
  if (result < 0) return {Errno::ofNegative(result), "setxattr", USER_LEASE_HOLDER};
  result = writeStamp(path, follow, now, XATTR_CREATE);
  if (result >= 0) return {};
  zolt_removexattr(path, follow, USER_LEASE_HOLDER);
  return {Errno::ofNegative(result), "setxattr", USER_LEASE_UPDATE};
}

XattrError getLease(const char* path, bool follow, int holderSize, int64_t limit, int64_t now,
                    XattrValue& holder) {
  int64_t last = 0;
  if (const int result = readStamp(path, follow, last); result < 0) {
    ZOLT_TRACE_AS(GET, "lease overdue now " << now << " last update " << last << " limit " << limit
                                            << " overdue " << leaseAge(now, last));
    return {Errno::ofNegative(result), "getxattr", USER_LEASE_UPDATE};
  }
  if (leaseAge(now, last) > limit) return removeLease(path, follow);

  // No value is longer than XATTR_SIZE_MAX, so more room than that changes no answer. With none the
  // read is EINVAL.
  const auto size = static_cast<size_t>(std::clamp(holderSize, 0, XATTR_SIZE_MAX));
  auto room = std::make_unique<char[]>(size);
  char* bytes = room.get();
  const int length = zolt_getxattr(path, follow, USER_LEASE_HOLDER, bytes, size);
  if (length < 0) return {Errno::ofNegative(length), "getxattr", USER_LEASE_HOLDER};
  ZOLT_TRACE_AS(GET, "now " << now << " lease last update " << last << " lease limit " << limit
                            << " lease overdue " << leaseAge(now, last) << " lease holder "
                            << length << firstBytes({bytes, size}));
  holder = {std::move(room), length};
  return {};
}

XattrError renewLease(const char* path, bool follow, int64_t now) {
  ZOLT_TRACE_AS(RENEW, path << " " << now);
  const int result = writeStamp(path, follow, now, 0);
  if (result < 0) return {Errno::ofNegative(result), "setxattr", USER_LEASE_UPDATE};
  return {};
}

XattrError removeLease(const char* path, bool follow) {
  ZOLT_TRACE_AS(REMOVE, path);
  const int holder = zolt_removexattr(path, follow, USER_LEASE_HOLDER);
  const int update = zolt_removexattr(path, follow, USER_LEASE_UPDATE);
  const int result = holder < 0 ? holder : update;
  if (result < 0) return {Errno::ofNegative(result), "removexattr", USER_LEASE};
  return {};
}

}  // namespace zolt
