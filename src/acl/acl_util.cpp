#include "acl/acl_util.h"

#include <dlfcn.h>

#include <array>
#include <cerrno>

#include "base/io_exception.h"
#include "base/logger2.h"

namespace zolt {

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

auto allSymbols() noexcept {
#define ZOLT_SYMBOL(function) symbol(#function, ACLUtil::function),
  return std::to_array<Symbol>({ZOLT_LIBACL(ZOLT_SYMBOL)});
#undef ZOLT_SYMBOL
}

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
  const auto symbols = allSymbols();
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
