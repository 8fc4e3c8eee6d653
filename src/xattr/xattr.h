// Extended attributes: the system's calls, each in the form that follows a symbolic link at the end
// of the path and in the one that acts on the link itself (xattr(7)).
//
// Names are NUL-terminated with their namespace prefix, values raw bytes of any length, zero
// included. The four zolt_ wrappers answer a count, or minus the errno value. Nothing here throws.
// What fails is logged at error, the probe of zolt_getxattr excepted: there an absent attribute is
// ordinary.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

#include "base/errno_text.h"

namespace zolt {

// The two attributes of a lease, and the name under which messages speak of the pair.
inline constexpr const char* USER_LEASE_HOLDER = "user.lease.holder";
inline constexpr const char* USER_LEASE_UPDATE = "user.lease.update";
inline constexpr const char* USER_LEASE = "user.lease.*";

inline bool isLeaseName(std::string_view name) {
  return name == USER_LEASE_HOLDER || name == USER_LEASE_UPDATE;
}

/// Reads a value: into the caller's `value` of `size` bytes, or, with `value` null and `size` 0,
/// into a buffer of the value's length that the caller frees with delete[]; for an empty value it
/// stays null. The length of the value. -EINVAL when only one of `value` and `size` is given;
/// -ERANGE when the room does not do, a value that grew after its length was taken included. A
/// failure leaves `value` as it was.
int zolt_getxattr(const char* path, bool follow, const char* name, char*& value,
                  size_t size) noexcept;

/// A value that was read; `bytes` is null when there are none.
struct XattrValue {
  std::unique_ptr<char[]> bytes;
  int length = 0;
};

/// The reading form that makes its own buffer, with an owner. A failure leaves `value` empty.
Errno readXattr(const char* path, bool follow, const char* name, XattrValue& value) noexcept;

/// The same of what Java may see: an attribute of a lease is as one that is absent (ENODATA), and
/// is not asked for.
Errno readVisibleXattr(const char* path, bool follow, const char* name, XattrValue& value) noexcept;

/// Writes `size` bytes. Flags are those of setxattr(2): 0 creates or replaces, 1 (XATTR_CREATE) is
/// -EEXIST for an attribute that exists, 2 (XATTR_REPLACE) -ENODATA for one that does not. 0 on
/// success.
int zolt_setxattr(const char* path, bool follow, const char* name, const char* value, size_t size,
                  int flags) noexcept;

/// Lists the names, one NUL-terminated name after another: the length of it all, with `*list` a
/// buffer that the caller frees with delete[]. Null for a path without attributes and on failure.
/// When not even the length can be had, the answer is -ENOMEM, whatever the reason.
int zolt_listxattrs(const char* path, bool follow, char** list) noexcept;

/// A list of names with its owner.
struct XattrNames {
  std::unique_ptr<char[]> list;  // null when there are none
  int length = 0;
};
Errno listXattrs(const char* path, bool follow, XattrNames& names) noexcept;

/// Whom takeVisibleXattrs hands an attribute to; false ends the walk.
using TakeXattr = std::function<bool(const char* name, const XattrValue& value)>;

/// Hands over each attribute of the list that Java may see and that can be read. The others are
/// left out: the attributes of a lease, and a name without a byte, with a line at warn. False where
/// `take` has ended it.
bool takeVisibleXattrs(const char* path, bool follow, const XattrNames& names,
                       const TakeXattr& take);

/// Removes an attribute. 0, or for one that is not there -ENODATA like any other failure.
int zolt_removexattr(const char* path, bool follow, const char* name) noexcept;

/// A failed call for an attribute, in the words of its message; no error where nothing failed.
struct [[nodiscard]] XattrError {
  Errno error;
  const char* operation = nullptr;  // "setxattr", "getxattr" or "removexattr"
  const char* name = nullptr;       // the attribute, or USER_LEASE for the pair

  explicit operator bool() const { return static_cast<bool>(error); }
};

}  // namespace zolt
