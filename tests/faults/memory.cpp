// The allocation functions, interposed: calloc and operator new with its kin. Those of a sanitizer
// must stay its own, so it gets a library without this file.
#include <cerrno>
#include <cstdlib>
#include <new>

#include "walk.h"

extern "C" void* __libc_calloc(size_t count, size_t size);

using faults::Holding;

namespace {

void* allocate(size_t size, const void* caller) {
  if (faults::memoryFails(caller)) return nullptr;
  void* memory = std::malloc(size != 0 ? size : 1);
  return faults::held(Holding::MEMORY, memory, caller);
}

void* allocateOrThrow(size_t size, const void* caller) {
  void* memory = allocate(size, caller);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void release(void* memory, const void* caller) noexcept {
  if (memory != nullptr) faults::hold(Holding::MEMORY, -1, caller);
  std::free(memory);
}

}  // namespace

#define CALLER __builtin_return_address(0)

// Not by dlsym, which allocates itself.
extern "C" void* calloc(size_t count, size_t size) noexcept {
  if (!faults::memoryFails(CALLER)) return __libc_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}

void* operator new(size_t size) {
  return allocateOrThrow(size, CALLER);
}
void* operator new[](size_t size) {
  return allocateOrThrow(size, CALLER);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, CALLER);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, CALLER);
}
void operator delete(void* memory) noexcept {
  release(memory, CALLER);
}
void operator delete[](void* memory) noexcept {
  release(memory, CALLER);
}
// clang declares the sized forms only where it is told to call them.
void operator delete(void* memory, size_t) noexcept;
void operator delete[](void* memory, size_t) noexcept;
void operator delete(void* memory, size_t) noexcept {
  release(memory, CALLER);
}
void operator delete[](void* memory, size_t) noexcept {
  release(memory, CALLER);
}
