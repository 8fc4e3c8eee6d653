// Calls on a file by its path or descriptor, interposed.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdarg>

#include "faults.h"
#include "injector.h"
#include "walk.h"

using faults::Call;
using faults::Holding;

extern "C" {

int open(const char* path, int flags, ...) {
  static auto* real = faults::next<int(const char*, int, ...)>("open");
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
    va_list list;
    va_start(list, flags);
    mode = va_arg(list, mode_t);
    va_end(list);
  }
  if (faults::fails(Call::open)) return -1;
  const int fd = real(path, flags, mode);
  if (fd >= 0) faults::hold(Holding::DESCRIPTOR, 1);
  return fd;
}

int close(int fd) {
  static auto* real = faults::next<int(int)>("close");
  const int result = real(fd);  // a close that fails has closed all the same (close(2))
  if (result == 0) faults::hold(Holding::DESCRIPTOR, -1);
  return faults::fails(Call::close) ? -1 : result;
}

ssize_t fgetxattr(int fd, const char* name, void* value, size_t size) noexcept {
  static auto* real = faults::next<ssize_t(int, const char*, void*, size_t)>("fgetxattr");
  return faults::fails(Call::fgetxattr) ? -1 : faults::altered(real(fd, name, value, size));
}

int fsetxattr(int fd, const char* name, const void* value, size_t size, int flags) noexcept {
  static auto* real = faults::next<int(int, const char*, const void*, size_t, int)>("fsetxattr");
  return faults::fails(Call::fsetxattr) ? -1 : real(fd, name, value, size, flags);
}

ssize_t readlink(const char* path, char* target, size_t size) noexcept {
  static auto* real = faults::next<ssize_t(const char*, char*, size_t)>("readlink");
  return faults::fails(Call::readlink) ? -1 : faults::altered(real(path, target, size));
}

int chmod(const char* path, mode_t mode) noexcept {
  static auto* real = faults::next<int(const char*, mode_t)>("chmod");
  return faults::fails(Call::chmod) ? -1 : real(path, mode);
}

int utimensat(int dir, const char* path, const timespec times[2], int flags) noexcept {
  static auto* real = faults::next<int(int, const char*, const timespec*, int)>("utimensat");
  return faults::fails(Call::utimensat) ? -1 : real(dir, path, times, flags);
}

}  // extern "C"
