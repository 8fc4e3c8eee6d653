#include "xattr/xattr.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/logger2.h"

namespace zolt {

namespace {

ssize_t outOfMemory() {
  errno = ENOMEM;
  return -1;
}

// Reads a value into `room`; null is room that could not be had.
inline int readInto(char* room, size_t size, decltype(getxattr)* get, const char* path,
                    const char* name) noexcept {
  const ssize_t length = room != nullptr ? get(path, name, room, size) : outOfMemory();
  if (length >= 0) return static_cast<int>(length);
  const int error = errnoOfFailure();
  ZOLT_ERROR_AS("zolt_getxattr", "getxattr: failed to get value of attribute " << name);
  return -error;
}

}  // namespace

// The kernel bounds values and lists to 64 KiB (XATTR_SIZE_MAX, XATTR_LIST_MAX), so int holds every
// length.

int zolt_getxattr(const char* path, bool follow, const char* name, char*& value,
                  size_t size) noexcept {
  if ((value == nullptr) != (size == 0)) return -EINVAL;
  const auto get = follow ? getxattr : lgetxattr;
  if (size != 0) return readInto(value, size, get, path, name);

  const ssize_t probed = get(path, name, nullptr, 0);
  if (probed < 0) return -errnoOfFailure();
  // A second call with no room would be a second probe, and could answer the length of a value
  // that has come in between without a byte of it.
  if (probed == 0) return 0;
  size = static_cast<size_t>(probed);
  std::unique_ptr<char[]> made(new (std::nothrow) char[size]());
  const int length = readInto(made.get(), size, get, path, name);
  if (length >= 0) value = made.release();
  return length;
}

Errno readXattr(const char* path, bool follow, const char* name, XattrValue& value) noexcept {
  char* bytes = nullptr;
  const int length = zolt_getxattr(path, follow, name, bytes, 0);
  value.bytes.reset(bytes);
  value.length = std::max(length, 0);
  return Errno::ofNegative(length);
}

Errno readVisibleXattr(const char* path, bool follow, const char* name,
                       XattrValue& value) noexcept {
  return isLeaseName(name) ? Errno(ENODATA) : readXattr(path, follow, name, value);
}

int zolt_setxattr(const char* path, bool follow, const char* name, const char* value, size_t size,
                  int flags) noexcept {
  const auto set = follow ? setxattr : lsetxattr;
  if (set(path, name, value, size, flags) == 0) return 0;
  const int error = errnoOfFailure();
  ZOLT_ERROR("setxattr: failed to set value of attribute path " << path << " " << name << " to "
                                                                << std::string_view(value, size));
  return -error;
}

int zolt_listxattrs(const char* path, bool follow, char** list) noexcept {
  const auto names = follow ? listxattr : llistxattr;
  *list = nullptr;
  const ssize_t probed = names(path, nullptr, 0);
  if (probed == 0) return 0;

  // A failed probe is a length that nobody can allocate, and is reported as such. One byte more
  // than the list has ends its last name in any case.
  std::unique_ptr<char[]> made;
  if (probed > 0) made.reset(new (std::nothrow) char[static_cast<size_t>(probed) + 1]());
  const ssize_t length =
      made != nullptr ? names(path, made.get(), static_cast<size_t>(probed)) : outOfMemory();
  if (length < 0) {
    const int error = errnoOfFailure();
    ZOLT_ERROR("listxattr: failed to get the EA names for " << path);
    return -error;
  }
  *list = made.release();
  return static_cast<int>(length);
}

Errno listXattrs(const char* path, bool follow, XattrNames& names) noexcept {
  char* list = nullptr;
  const int length = zolt_listxattrs(path, follow, &list);
  names.list.reset(list);
  names.length = std::max(length, 0);
  return Errno::ofNegative(length);
}

bool takeVisibleXattrs(const char* path, bool follow, const XattrNames& names,
                       const TakeXattr& take) {
  const char* const end = names.list.get() + names.length;
  for (const char* name = names.list.get(); name < end; name += strlen(name) + 1) {
    if (*name == '\0' || isLeaseName(name)) {
      ZOLT_WARN_AS(ZOLT_NATIVE(dumpXAttrs), "Ignore EA: " << name);
      continue;
    }
    XattrValue value;
    if (readXattr(path, follow, name, value)) continue;
    if (!take(name, value)) return false;
  }
  return true;
}

int zolt_removexattr(const char* path, bool follow, const char* name) noexcept {
  const auto remove = follow ? removexattr : lremovexattr;
  if (remove(path, name) == 0) return 0;
  const int error = errnoOfFailure();
  ZOLT_ERROR("removexattr: failed to remove attribute " << name);
  return -error;
}

}  // namespace zolt
