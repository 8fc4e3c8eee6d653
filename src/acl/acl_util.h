// libacl, bound at run time: opened by name when the library loads, never linked, so that a machine
// without it loses the access control lists and nothing else.
#pragma once

#include <acl/libacl.h>
#include <sys/acl.h>

#include <string>

namespace zolt {

// The functions of libacl in the order in which they are resolved. All are required, those that
// nothing calls too.
#define ZOLT_LIBACL(EACH) \
  EACH(acl_init)          \
  EACH(acl_dup)           \
  EACH(acl_copy_int)      \
  EACH(acl_free)          \
  EACH(acl_create_entry)  \
  EACH(acl_copy_entry)    \
  EACH(acl_delete_entry)  \
  EACH(acl_get_entry)     \
  EACH(acl_valid)         \
  EACH(acl_add_perm)      \
  EACH(acl_clear_perms)   \
  EACH(acl_delete_perm)   \
  EACH(acl_get_permset)   \
  EACH(acl_set_permset)   \
  EACH(acl_calc_mask)     \
  EACH(acl_get_qualifier) \
  EACH(acl_set_qualifier) \
  EACH(acl_get_tag_type)  \
  EACH(acl_set_tag_type)  \
  EACH(acl_get_file)      \
  EACH(acl_set_file)      \
  EACH(acl_get_fd)        \
  EACH(acl_set_fd)        \
  EACH(acl_from_text)     \
  EACH(acl_to_text)       \
  EACH(acl_size)          \
  EACH(acl_copy_ext)      \
  EACH(acl_entries)       \
  EACH(acl_cmp)           \
  EACH(acl_check)         \
  EACH(acl_equiv_mode)    \
  EACH(acl_get_perm)      \
  EACH(acl_from_mode)     \
  EACH(acl_to_any_text)   \
  EACH(acl_error)

/// The functions of libacl, one slot each under the function's own name. Written at load, only read
/// afterwards. Unless bound(), the slots hold nothing that may be called.
class ACLUtil {
 public:
  ACLUtil() = delete;

  /// Opens "libacl.so.1" and fills every slot. True when libacl is bound, by this call or an
  /// earlier one. Otherwise nothing is bound; a symbol that is missing is named at debug, a missing
  /// library is not mentioned.
  static bool init();

  /// Resolves one symbol of the open library. On failure `error` becomes the symbol's name ("null"
  /// for none), ": " and the loader's message; with no library open it stays as it is.
  static bool loadSym(const char* name, void** slot, std::string& error);

  /// Closes libacl. The slots stay as they are. For an orderly unload by hand, while no ACL exists.
  static void uninit();

  static bool bound() { return libacl_handle != nullptr; }

  /// IOException 95 (EOPNOTSUPP) "libacl.so.1 is not available" unless libacl is bound.
  static void require();

  static inline void* libacl_handle = nullptr;  // what dlopen(3) gave; null: not bound

#define ZOLT_SLOT(function) static inline decltype(&::function) function = nullptr;
  ZOLT_LIBACL(ZOLT_SLOT)
#undef ZOLT_SLOT
};

}  // namespace zolt
