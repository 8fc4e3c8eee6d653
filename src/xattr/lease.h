// Leases: which client holds a file open for writing, and since when.
//
// A lease is two attributes of the file: "user.lease.holder", the holder's bytes, and
// "user.lease.update", the lease clock of the last set or renewal (int64 in native byte order). It
// is held while both exist. Setters compete through the create-only write of the holder, and
// nothing else locks; a lease expires only when someone reads it.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <string_view>

#include "xattr/xattr.h"

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

/// Reads the lease clock (clock_gettime(2)).
Errno readLeaseClock(int64_t& now);

/// Takes the lease: writes the holder, then the update, without which there is no lease. EEXIST
/// when the lease is held. Where the update cannot be written (one left over without a holder is
/// EEXIST), the holder is removed again. `giveBack` is called as soon as the bytes of the holder
/// are no longer needed, whatever has become of them.
XattrError setLease(const char* path, bool follow, std::string_view holder, int64_t now,
                    const std::function<void()>& giveBack);

/// Reads the holder of the lease, at most `holderSize` bytes: ERANGE for a longer one, EINVAL for a
/// size below 1. A lease older than `limit` units of the lease clock is removed instead, and the
/// error is that of the removal. ENODATA without a lease. `holder` is null after an error and where
/// the lease has expired.
XattrError getLease(const char* path, bool follow, int holderSize, int64_t limit, int64_t now,
                    XattrValue& holder);

/// Stamps the lease, whoever holds it; without one, the stamp stands alone.
XattrError renewLease(const char* path, bool follow, int64_t now);

/// Removes both attributes, the second even where the first failed; the error is the first one.
XattrError removeLease(const char* path, bool follow);

}  // namespace zolt
