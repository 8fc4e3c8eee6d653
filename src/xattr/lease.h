// Leases: which client holds a file open for writing, and since when.
//
// A lease is two attributes of the file: "user.lease.holder", the holder's bytes, and
// "user.lease.update", the lease clock of the last set or renewal (int64 in native byte order). It
// is held while both exist. Setters compete through the create-only write of the holder, and
// nothing else locks; a lease expires only when someone reads it.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string_view>

namespace zolt {

/// The lease clock at a time: seconds x 1000 + microseconds of the second. Not monotonic: it runs
/// up to 999999 within a second and falls back at the next. Stored values and limits are made for
/// just this.
constexpr int64_t leaseClock(const timespec& time) {
  return static_cast<int64_t>(static_cast<uint64_t>(time.tv_sec) * 1000 +
                              static_cast<uint64_t>(time.tv_nsec / 1000));
}

/// How far `now` is past `last`, both of the lease clock. Negative where the clock fell back; what
/// is stored may be any number, so the difference wraps.
constexpr int64_t leaseAge(int64_t now, int64_t last) {
  return static_cast<int64_t>(static_cast<uint64_t>(now) - static_cast<uint64_t>(last));
}

/// Reads the lease clock. 0, or the errno value of clock_gettime(2).
int readLeaseClock(int64_t& now);

/// The attribute call that ended an operation on a lease; error 0 when none did.
struct LeaseFailure {
  int error = 0;               // errno value
  const char* operation = "";  // "setxattr", "getxattr" or "removexattr"
  const char* name = "";       // the attribute, or USER_LEASE for the pair
};

/// The first half of taking the lease. EEXIST when it is held. `now` is only for the log.
LeaseFailure setLeaseHolder(const char* path, bool follow, std::string_view holder, int64_t now);

/// The second half, without which there is no lease: where the update cannot be written (one left
/// over without a holder is EEXIST), the holder is removed again.
LeaseFailure setLeaseUpdate(const char* path, bool follow, int64_t now);

/// What getLease found. `holder` has at least `length` bytes; it is null after a failure and where
/// the lease has expired.
struct LeaseRead {
  LeaseFailure failure;
  std::unique_ptr<char[]> holder;
  int length = 0;
};

/// Reads the holder of the lease, at most `holderSize` bytes: ERANGE for a longer one, EINVAL for a
/// size below 1. A lease older than `limit` units of the lease clock is removed instead, and the
/// failure is that of the removal. ENODATA without a lease.
LeaseRead getLease(const char* path, bool follow, int holderSize, int64_t limit, int64_t now);

/// Stamps the lease, whoever holds it; without one, the stamp stands alone.
LeaseFailure renewLease(const char* path, bool follow, int64_t now);

/// Removes both attributes, the second even where the first failed; the failure is the first one.
LeaseFailure removeLease(const char* path, bool follow);

}  // namespace zolt
