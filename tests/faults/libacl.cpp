// A libacl.so.1 that passes every call on to the system's own and fails the ones it is told to.
// It stands before the system's in the search path of the tests.
#include <acl/libacl.h>
#include <sys/acl.h>

#include <cstdlib>
#include <type_traits>

#include "injector.h"
#include "walk.h"

using faults::Call;
using faults::Holding;

namespace {

// The system's libacl. From now on there are two of that name, and the loader gives the older one
// to whoever asks again: so this one stays, however often it is closed.
void* openReal() {
  Dl_info self{};
  dladdr(reinterpret_cast<void*>(&openReal), &self);
  dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  return dlopen(REAL_LIBACL, RTLD_LAZY | RTLD_LOCAL);
}

void* realSymbol(const char* name) {
  static void* const library = openReal();
  void* symbol = library != nullptr ? dlsym(library, name) : nullptr;
  if (symbol == nullptr) abort();
  return symbol;
}

// What a failing function answers: null where it answers an object, -1 elsewhere.
template <class Answer>
Answer failure() {
  if constexpr (std::is_pointer_v<Answer>) {
    return nullptr;
  } else {
    return -1;
  }
}

// What a function answers, altered or noted as taken.
template <class Answer>
Answer given(Answer answer, const void* caller) {
  if constexpr (std::is_same_v<Answer, int>) {
    return faults::altered(answer);
  } else if constexpr (std::is_pointer_v<Answer> && !std::is_same_v<Answer, const char*>) {
    return faults::held(Holding::ACL, answer, caller);
  } else {
    return answer;
  }
}

}  // namespace

#define FORWARD(answer, name, parameters, arguments)                                  \
  extern "C" answer name parameters {                                                 \
    static auto* const real = reinterpret_cast<decltype(&::name)>(realSymbol(#name)); \
    if (faults::fails(Call::name)) return failure<answer>();                          \
    return given<answer>(real arguments, __builtin_return_address(0));                \
  }

FORWARD(acl_t, acl_init, (int count), (count))
FORWARD(acl_t, acl_dup, (acl_t acl), (acl))
FORWARD(acl_t, acl_copy_int, (const void* buffer), (buffer))
FORWARD(int, acl_create_entry, (acl_t * acl, acl_entry_t* entry), (acl, entry))
FORWARD(int, acl_copy_entry, (acl_entry_t to, acl_entry_t from), (to, from))
FORWARD(int, acl_delete_entry, (acl_t acl, acl_entry_t entry), (acl, entry))
FORWARD(int, acl_get_entry, (acl_t acl, int which, acl_entry_t* entry), (acl, which, entry))
FORWARD(int, acl_valid, (acl_t acl), (acl))
FORWARD(int, acl_add_perm, (acl_permset_t set, acl_perm_t perm), (set, perm))
FORWARD(int, acl_clear_perms, (acl_permset_t set), (set))
FORWARD(int, acl_delete_perm, (acl_permset_t set, acl_perm_t perm), (set, perm))
FORWARD(int, acl_get_permset, (acl_entry_t entry, acl_permset_t* set), (entry, set))
FORWARD(int, acl_set_permset, (acl_entry_t entry, acl_permset_t set), (entry, set))
FORWARD(int, acl_calc_mask, (acl_t * acl), (acl))
FORWARD(void*, acl_get_qualifier, (acl_entry_t entry), (entry))
FORWARD(int, acl_set_qualifier, (acl_entry_t entry, const void* id), (entry, id))
FORWARD(int, acl_get_tag_type, (acl_entry_t entry, acl_tag_t* tag), (entry, tag))
FORWARD(int, acl_set_tag_type, (acl_entry_t entry, acl_tag_t tag), (entry, tag))
FORWARD(acl_t, acl_get_file, (const char* path, acl_type_t type), (path, type))
FORWARD(int, acl_set_file, (const char* path, acl_type_t type, acl_t acl), (path, type, acl))
FORWARD(acl_t, acl_get_fd, (int fd), (fd))
FORWARD(int, acl_set_fd, (int fd, acl_t acl), (fd, acl))
FORWARD(acl_t, acl_from_text, (const char* text), (text))
FORWARD(char*, acl_to_text, (acl_t acl, ssize_t* length), (acl, length))
FORWARD(ssize_t, acl_size, (acl_t acl), (acl))
FORWARD(ssize_t, acl_copy_ext, (void* buffer, acl_t acl, ssize_t size), (buffer, acl, size))
FORWARD(int, acl_entries, (acl_t acl), (acl))
FORWARD(int, acl_cmp, (acl_t one, acl_t other), (one, other))
FORWARD(int, acl_check, (acl_t acl, int* last), (acl, last))
FORWARD(int, acl_equiv_mode, (acl_t acl, mode_t* mode), (acl, mode))
FORWARD(int, acl_get_perm, (acl_permset_t set, acl_perm_t perm), (set, perm))
FORWARD(acl_t, acl_from_mode, (mode_t mode), (mode))
FORWARD(char*, acl_to_any_text, (acl_t acl, const char* prefix, char separator, int options),
        (acl, prefix, separator, options))
FORWARD(const char*, acl_error, (int code), (code))

// One that fails has freed all the same, so that what is counted as held is what really is.
extern "C" int acl_free(void* object) {
  static auto* const real = reinterpret_cast<decltype(&::acl_free)>(realSymbol("acl_free"));
  faults::hold(Holding::ACL, -1);
  const int answer = real(object);
  return faults::fails(Call::acl_free) ? -1 : answer;
}
