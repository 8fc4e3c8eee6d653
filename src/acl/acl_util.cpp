#include "acl/acl_util.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>

#include "jni/io_exception.h"
#include "jni/logger2.h"

namespace zolt {

void* ACLUtil::libacl_handle = nullptr;

decltype(&::acl_init) ACLUtil::acl_init = nullptr;
decltype(&::acl_dup) ACLUtil::acl_dup = nullptr;
decltype(&::acl_copy_int) ACLUtil::acl_copy_int = nullptr;
decltype(&::acl_free) ACLUtil::acl_free = nullptr;
decltype(&::acl_create_entry) ACLUtil::acl_create_entry = nullptr;
decltype(&::acl_copy_entry) ACLUtil::acl_copy_entry = nullptr;
decltype(&::acl_delete_entry) ACLUtil::acl_delete_entry = nullptr;
decltype(&::acl_get_entry) ACLUtil::acl_get_entry = nullptr;
decltype(&::acl_valid) ACLUtil::acl_valid = nullptr;
decltype(&::acl_add_perm) ACLUtil::acl_add_perm = nullptr;
decltype(&::acl_clear_perms) ACLUtil::acl_clear_perms = nullptr;
decltype(&::acl_delete_perm) ACLUtil::acl_delete_perm = nullptr;
decltype(&::acl_get_permset) ACLUtil::acl_get_permset = nullptr;
decltype(&::acl_set_permset) ACLUtil::acl_set_permset = nullptr;
decltype(&::acl_calc_mask) ACLUtil::acl_calc_mask = nullptr;
decltype(&::acl_get_qualifier) ACLUtil::acl_get_qualifier = nullptr;
decltype(&::acl_set_qualifier) ACLUtil::acl_set_qualifier = nullptr;
decltype(&::acl_get_tag_type) ACLUtil::acl_get_tag_type = nullptr;
decltype(&::acl_set_tag_type) ACLUtil::acl_set_tag_type = nullptr;
decltype(&::acl_get_file) ACLUtil::acl_get_file = nullptr;
decltype(&::acl_set_file) ACLUtil::acl_set_file = nullptr;
decltype(&::acl_get_fd) ACLUtil::acl_get_fd = nullptr;
decltype(&::acl_set_fd) ACLUtil::acl_set_fd = nullptr;
decltype(&::acl_from_text) ACLUtil::acl_from_text = nullptr;
decltype(&::acl_to_text) ACLUtil::acl_to_text = nullptr;
decltype(&::acl_size) ACLUtil::acl_size = nullptr;
decltype(&::acl_copy_ext) ACLUtil::acl_copy_ext = nullptr;
decltype(&::acl_entries) ACLUtil::acl_entries = nullptr;
decltype(&::acl_cmp) ACLUtil::acl_cmp = nullptr;
decltype(&::acl_check) ACLUtil::acl_check = nullptr;
decltype(&::acl_equiv_mode) ACLUtil::acl_equiv_mode = nullptr;
decltype(&::acl_get_perm) ACLUtil::acl_get_perm = nullptr;
decltype(&::acl_from_mode) ACLUtil::acl_from_mode = nullptr;
decltype(&::acl_to_any_text) ACLUtil::acl_to_any_text = nullptr;
decltype(&::acl_error) ACLUtil::acl_error = nullptr;

namespace {

constexpr const char* LIBACL = "libacl.so.1";

struct Symbol {
  const char* name;
  void** slot;
};

// dlsym(3) answers functions as void*; POSIX has the caller store them through such a cast.
template <class Function>
void** untyped(Function*& slot) noexcept {
  return reinterpret_cast<void**>(&slot);
}

// In the order in which they are resolved. All are required, those that nothing calls too.
const Symbol symbols[] = {
    {"acl_init", untyped(ACLUtil::acl_init)},
    {"acl_dup", untyped(ACLUtil::acl_dup)},
    {"acl_copy_int", untyped(ACLUtil::acl_copy_int)},
    {"acl_free", untyped(ACLUtil::acl_free)},
    {"acl_create_entry", untyped(ACLUtil::acl_create_entry)},
    {"acl_copy_entry", untyped(ACLUtil::acl_copy_entry)},
    {"acl_delete_entry", untyped(ACLUtil::acl_delete_entry)},
    {"acl_get_entry", untyped(ACLUtil::acl_get_entry)},
    {"acl_valid", untyped(ACLUtil::acl_valid)},
    {"acl_add_perm", untyped(ACLUtil::acl_add_perm)},
    {"acl_clear_perms", untyped(ACLUtil::acl_clear_perms)},
    {"acl_delete_perm", untyped(ACLUtil::acl_delete_perm)},
    {"acl_get_permset", untyped(ACLUtil::acl_get_permset)},
    {"acl_set_permset", untyped(ACLUtil::acl_set_permset)},
    {"acl_calc_mask", untyped(ACLUtil::acl_calc_mask)},
    {"acl_get_qualifier", untyped(ACLUtil::acl_get_qualifier)},
    {"acl_set_qualifier", untyped(ACLUtil::acl_set_qualifier)},
    {"acl_get_tag_type", untyped(ACLUtil::acl_get_tag_type)},
    {"acl_set_tag_type", untyped(ACLUtil::acl_set_tag_type)},
    {"acl_get_file", untyped(ACLUtil::acl_get_file)},
    {"acl_set_file", untyped(ACLUtil::acl_set_file)},
    {"acl_get_fd", untyped(ACLUtil::acl_get_fd)},
    {"acl_set_fd", untyped(ACLUtil::acl_set_fd)},
    {"acl_from_text", untyped(ACLUtil::acl_from_text)},
    {"acl_to_text", untyped(ACLUtil::acl_to_text)},
    {"acl_size", untyped(ACLUtil::acl_size)},
    {"acl_copy_ext", untyped(ACLUtil::acl_copy_ext)},
    {"acl_entries", untyped(ACLUtil::acl_entries)},
    {"acl_cmp", untyped(ACLUtil::acl_cmp)},
    {"acl_check", untyped(ACLUtil::acl_check)},
    {"acl_equiv_mode", untyped(ACLUtil::acl_equiv_mode)},
    {"acl_get_perm", untyped(ACLUtil::acl_get_perm)},
    {"acl_from_mode", untyped(ACLUtil::acl_from_mode)},
    {"acl_to_any_text", untyped(ACLUtil::acl_to_any_text)},
    {"acl_error", untyped(ACLUtil::acl_error)},
};

bool callable = false;  // bound, and no slot is null

void close(void*& handle) {
  dlclose(handle);
  handle = nullptr;
  callable = false;
}

}  // namespace

bool ACLUtil::init() {
  if (libacl_handle != nullptr) return true;
  libacl_handle = dlopen(LIBACL, RTLD_LAZY);
  if (libacl_handle == nullptr) return false;
  std::string error;
  for (const Symbol& symbol : symbols) {
    if (loadSym(symbol.name, symbol.slot, error)) continue;
    close(libacl_handle);
    ZOLT_DEBUG("failed to resolve: " << error);
    return false;
  }
  // A symbol that is there may still be null (dlsym(3), NOTES), and null must not be called.
  callable = std::ranges::all_of(symbols, [](const Symbol& s) { return *s.slot != nullptr; });
  ZOLT_DEBUG("libacl.so loaded");
  return true;
}

bool ACLUtil::loadSym(const char* name, void** slot, std::string& error) {
  if (libacl_handle == nullptr) return false;
  dlerror();  // forget what an earlier call left: only it tells a missing symbol from a null one
  *slot = dlsym(libacl_handle, orNull(name));
  const char* message = dlerror();
  if (message == nullptr) return true;
  error = joined("", orNull(name), ": ", message);
  return false;
}

void ACLUtil::uninit() {
  if (libacl_handle == nullptr) return;
  close(libacl_handle);
  ZOLT_DEBUG("libacl.so unloaded");
}

void ACLUtil::require() {
  if (callable) return;
  throw IOException(std::string(LIBACL) + " is not available", EOPNOTSUPP);
}

}  // namespace zolt
