// libacl, bound at run time: opened by name when the library loads, never linked, so that a machine
// without it loses the access control lists and nothing else.
#pragma once

#include <acl/libacl.h>
#include <sys/acl.h>

#include <string>

namespace zolt {

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

  static void* libacl_handle;  // what dlopen(3) gave; null: not bound

  static decltype(&::acl_init) acl_init;
  static decltype(&::acl_dup) acl_dup;
  static decltype(&::acl_copy_int) acl_copy_int;
  static decltype(&::acl_free) acl_free;
  static decltype(&::acl_create_entry) acl_create_entry;
  static decltype(&::acl_copy_entry) acl_copy_entry;
  static decltype(&::acl_delete_entry) acl_delete_entry;
  static decltype(&::acl_get_entry) acl_get_entry;
  static decltype(&::acl_valid) acl_valid;
  static decltype(&::acl_add_perm) acl_add_perm;
  static decltype(&::acl_clear_perms) acl_clear_perms;
  static decltype(&::acl_delete_perm) acl_delete_perm;
  static decltype(&::acl_get_permset) acl_get_permset;
  static decltype(&::acl_set_permset) acl_set_permset;
  static decltype(&::acl_calc_mask) acl_calc_mask;
  static decltype(&::acl_get_qualifier) acl_get_qualifier;
  static decltype(&::acl_set_qualifier) acl_set_qualifier;
  static decltype(&::acl_get_tag_type) acl_get_tag_type;
  static decltype(&::acl_set_tag_type) acl_set_tag_type;
  static decltype(&::acl_get_file) acl_get_file;
  static decltype(&::acl_set_file) acl_set_file;
  static decltype(&::acl_get_fd) acl_get_fd;
  static decltype(&::acl_set_fd) acl_set_fd;
  static decltype(&::acl_from_text) acl_from_text;
  static decltype(&::acl_to_text) acl_to_text;
  static decltype(&::acl_size) acl_size;
  static decltype(&::acl_copy_ext) acl_copy_ext;
  static decltype(&::acl_entries) acl_entries;
  static decltype(&::acl_cmp) acl_cmp;
  static decltype(&::acl_check) acl_check;
  static decltype(&::acl_equiv_mode) acl_equiv_mode;
  static decltype(&::acl_get_perm) acl_get_perm;
  static decltype(&::acl_from_mode) acl_from_mode;
  static decltype(&::acl_to_any_text) acl_to_any_text;
  static decltype(&::acl_error) acl_error;
};

}  // namespace zolt
