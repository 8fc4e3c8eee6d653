// What every interposed function asks first.
#pragma once

#include <dlfcn.h>

#include <cerrno>

namespace faults {

// Those of libacl, for which libacl.cpp stands in.
#define ZOLT_FAULT_LIBACL(X) \
  X(acl_init)                \
  X(acl_dup)                 \
  X(acl_copy_int)            \
  X(acl_free)                \
  X(acl_create_entry)        \
  X(acl_copy_entry)          \
  X(acl_delete_entry)        \
  X(acl_get_entry)           \
  X(acl_valid)               \
  X(acl_add_perm)            \
  X(acl_clear_perms)         \
  X(acl_delete_perm)         \
  X(acl_get_permset)         \
  X(acl_set_permset)         \
  X(acl_calc_mask)           \
  X(acl_get_qualifier)       \
  X(acl_set_qualifier)       \
  X(acl_get_tag_type)        \
  X(acl_set_tag_type)        \
  X(acl_get_file)            \
  X(acl_set_file)            \
  X(acl_get_fd)              \
  X(acl_set_fd)              \
  X(acl_from_text)           \
  X(acl_to_text)             \
  X(acl_size)                \
  X(acl_copy_ext)            \
  X(acl_entries)             \
  X(acl_cmp)                 \
  X(acl_check)               \
  X(acl_equiv_mode)          \
  X(acl_get_perm)            \
  X(acl_from_mode)           \
  X(acl_to_any_text)         \
  X(acl_error)

// Every function that can be failed. The order has no meaning.
#define ZOLT_FAULT_FUNCTIONS(X) \
  ZOLT_FAULT_LIBACL(X)          \
  X(chmod)                      \
  X(clock_gettime)              \
  X(close)                      \
  X(closedir)                   \
  X(endmntent)                  \
  X(fgetxattr)                  \
  X(fsetxattr)                  \
  X(getgrgid_r)                 \
  X(getgrnam_r)                 \
  X(getgrouplist)               \
  X(getgroups)                  \
  X(getmntent_r)                \
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
  X(sysconf)                    \
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

/// Counts this call; true, with errno set, when it is one that shall fail. `caller` is where the
/// interposed function was called from: a walk looks at the library's calls alone.
bool fails(Call call, const void* caller = __builtin_return_address(0));

/// The function that would be called without this library.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace faults
