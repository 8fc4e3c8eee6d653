// What every interposed function asks first.
#pragma once

#include <dlfcn.h>

#include <cerrno>

namespace faults {

// Every function that can be failed. The order has no meaning.
#define ZOLT_FAULT_FUNCTIONS(X) \
  X(chmod)                      \
  X(clock_gettime)              \
  X(closedir)                   \
  X(fgetxattr)                  \
  X(fsetxattr)                  \
  X(getgrgid_r)                 \
  X(getgrnam_r)                 \
  X(getgrouplist)               \
  X(getgroups)                  \
  X(getpwnam_r)                 \
  X(getpwuid_r)                 \
  X(getxattr)                   \
  X(lgetxattr)                  \
  X(listxattr)                  \
  X(llistxattr)                 \
  X(lremovexattr)               \
  X(lsetxattr)                  \
  X(lstat)                      \
  X(open)                       \
  X(opendir)                    \
  X(readdir)                    \
  X(readlink)                   \
  X(removexattr)                \
  X(rewinddir)                  \
  X(seekdir)                    \
  X(setfsgid)                   \
  X(setfsuid)                   \
  X(setgroups)                  \
  X(setmntent)                  \
  X(setxattr)                   \
  X(stat)                       \
  X(syscall_setgroups)          \
  X(utimensat)                  \
  X(zolt_fcntl)                 \
  X(zolt_fstat_x)               \
  X(zolt_restripe_file)         \
  X(zolt_stat_x)

enum class Call {
#define X(name) name,
  ZOLT_FAULT_FUNCTIONS(X)
#undef X
      count
};

/// Counts this call; true, with errno set, when it is one that shall fail.
bool fails(Call call);

/// The function that would be called without this library.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace faults
