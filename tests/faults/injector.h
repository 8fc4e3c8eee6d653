// What every interposed function asks first.
#pragma once

#include <dlfcn.h>

#include <cerrno>

namespace faults {

// Every function that can be failed. The order has no meaning.
#define ZOLT_FAULT_FUNCTIONS(X) \
  X(clock_gettime)              \
  X(closedir)                   \
  X(getxattr)                   \
  X(lgetxattr)                  \
  X(listxattr)                  \
  X(llistxattr)                 \
  X(lremovexattr)               \
  X(lsetxattr)                  \
  X(opendir)                    \
  X(readdir)                    \
  X(removexattr)                \
  X(rewinddir)                  \
  X(seekdir)                    \
  X(setmntent)                  \
  X(setxattr)                   \
  X(stat)

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
