// stat(2) and lstat(2), interposed by both of their names: GLIBC has them as such since 2.33, and
// before that as
// __xstat and __lxstat. Under all four is the one system call.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "faults.h"
#include "injector.h"

using faults::Call;

namespace {

thread_local long long directorySize = 0;

int statusOf(const char* path, struct stat* st, int flags) {
  const auto result = static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, st, flags));
  if (result == 0 && directorySize != 0 && S_ISDIR(st->st_mode)) st->st_size = directorySize;
  return result;
}

}  // namespace

void zolt_fault_directory_size(long long size) {
  directorySize = size;
}

extern "C" {

int stat(const char* path, struct stat* st) {
  return faults::fails(Call::stat) ? -1 : statusOf(path, st, 0);
}

int lstat(const char* path, struct stat* st) noexcept {
  return faults::fails(Call::lstat) ? -1 : statusOf(path, st, AT_SYMLINK_NOFOLLOW);
}

int __xstat(int version, const char* path, struct stat* st) noexcept;
int __xstat(int /*version*/, const char* path, struct stat* st) noexcept {
  return faults::fails(Call::stat) ? -1 : statusOf(path, st, 0);
}

int __lxstat(int version, const char* path, struct stat* st) noexcept;
int __lxstat(int /*version*/, const char* path, struct stat* st) noexcept {
  return faults::fails(Call::lstat) ? -1 : statusOf(path, st, AT_SYMLINK_NOFOLLOW);
}

}  // extern "C"
