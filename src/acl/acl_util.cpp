#include "acl/acl_util.h"

#include <dlfcn.h>

#include <cerrno>

#include "base/io_exception.h"
#include "base/logger2.h"

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

[[noreturn, gnu::cold]] void refuse() {
  throw IOException(std::string(LIBACL) + " is not available", EOPNOTSUPP);
}

// What stands for a function of libacl that is there and null (dlsym(3), NOTES): it refuses, so
// that only what needs the function does without it.
template <class Function>
struct Refusal;
template <class Result, class... Arguments>
struct Refusal<Result(Arguments...)> {
  static Result call(Arguments... /*unused*/) { refuse(); }
};

struct Symbol {
  const char* name;
  void** slot;
  void* whenNull;
};

// dlsym(3) answers functions as void*; POSIX has the caller store them through such a cast.
template <class Function>
Symbol symbol(const char* name, Function*& slot) noexcept {
  return {name, reinterpret_cast<void**>(&slot), reinterpret_cast<void*>(&Refusal<Function>::call)};
}

// In the order in which they are resolved. All are required, those that nothing calls too.
const Symbol symbols[] = {
    symbol("acl_init", ACLUtil::acl_init),
    symbol("acl_dup", ACLUtil::acl_dup),
    symbol("acl_copy_int", ACLUtil::acl_copy_int),
    symbol("acl_free", ACLUtil::acl_free),
    symbol("acl_create_entry", ACLUtil::acl_create_entry),
    symbol("acl_copy_entry", ACLUtil::acl_copy_entry),
    symbol("acl_delete_entry", ACLUtil::acl_delete_entry),
    symbol("acl_get_entry", ACLUtil::acl_get_entry),
    symbol("acl_valid", ACLUtil::acl_valid),
    symbol("acl_add_perm", ACLUtil::acl_add_perm),
    symbol("acl_clear_perms", ACLUtil::acl_clear_perms),
    symbol("acl_delete_perm", ACLUtil::acl_delete_perm),
    symbol("acl_get_permset", ACLUtil::acl_get_permset),
    symbol("acl_set_permset", ACLUtil::acl_set_permset),
    symbol("acl_calc_mask", ACLUtil::acl_calc_mask),
    symbol("acl_get_qualifier", ACLUtil::acl_get_qualifier),
    symbol("acl_set_qualifier", ACLUtil::acl_set_qualifier),
    symbol("acl_get_tag_type", ACLUtil::acl_get_tag_type),
    symbol("acl_set_tag_type", ACLUtil::acl_set_tag_type),
    symbol("acl_get_file", ACLUtil::acl_get_file),
    symbol("acl_set_file", ACLUtil::acl_set_file),
    symbol("acl_get_fd", ACLUtil::acl_get_fd),
    symbol("acl_set_fd", ACLUtil::acl_set_fd),
    symbol("acl_from_text", ACLUtil::acl_from_text),
    symbol("acl_to_text", ACLUtil::acl_to_text),
    symbol("acl_size", ACLUtil::acl_size),
    symbol("acl_copy_ext", ACLUtil::acl_copy_ext),
    symbol("acl_entries", ACLUtil::acl_entries),
    symbol("acl_cmp", ACLUtil::acl_cmp),
    symbol("acl_check", ACLUtil::acl_check),
    symbol("acl_equiv_mode", ACLUtil::acl_equiv_mode),
    symbol("acl_get_perm", ACLUtil::acl_get_perm),
    symbol("acl_from_mode", ACLUtil::acl_from_mode),
    symbol("acl_to_any_text", ACLUtil::acl_to_any_text),
    symbol("acl_error", ACLUtil::acl_error),
};

bool callable = false;  // bound, and what is got of libacl can be given back

void closeLibrary(void*& handle) {
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
  for (const Symbol& each : symbols) {
    if (loadSym(each.name, each.slot, error)) continue;
    closeLibrary(libacl_handle);
    ZOLT_DEBUG("failed to resolve: " << error);
    return false;
  }
  callable = acl_free != nullptr;
  for (const Symbol& each : symbols) {
    if (*each.slot == nullptr) *each.slot = each.whenNull;
  }
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
  closeLibrary(libacl_handle);
  ZOLT_DEBUG("libacl.so unloaded");
}

void ACLUtil::require() {
  if (!callable) refuse();
}

}  // namespace zolt
