#include "walk.h"

#include <dlfcn.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace faults {

namespace {

struct Walk {
  bool on = false;
  int failing = 0;
  int error = 0;
  Altered altered = Altered::NO;
  Altered next = Altered::NO;  // what becomes of the call that is being looked at
  int failingMemory = 0;
  int failingToo = 0;
  int allocations = 0;
  std::array<int, static_cast<size_t>(Holding::count)> left{};
};
thread_local Walk walk;

// Apart from the rest, which has no destructor: a thread may call libc after its last one.
thread_local std::vector<const char*> steps;

bool isNamed(const char* file, const char* name) {
  return file != nullptr && strstr(file, name) != nullptr;
}

// The tests of the core have the library in them.
bool isLibrary(const char* file) {
  return isNamed(file, "libzolthadoop.so") || isNamed(file, "core_tests");
}

const char* fileOf(const void* address) {
  Dl_info info{};
  return dladdr(address, &info) != 0 ? info.dli_fname : nullptr;
}

// While this library works for a walk, its own allocations are none of the walk's.
struct Pause {
  Pause() { walk.on = false; }
  ~Pause() { walk.on = true; }
};

}  // namespace

bool walks(const void* caller) {
  if (!walk.on) [[likely]]
    return false;
  const Pause pause;
  return isLibrary(fileOf(caller));
}

bool allocates(const void* caller) {
  if (!walk.on) [[likely]]
    return false;
  const Pause pause;
  const char* file = fileOf(caller);
  return isLibrary(file) || isNamed(file, "libstdc++.so");
}

bool memoryFails(const void* caller) {
  return allocates(caller) && ++walk.allocations == walk.failingMemory;
}

bool stepFails(const char* function) {
  if (!walk.on) return false;
  const Pause pause;
  steps.push_back(function);
  const auto step = static_cast<int>(steps.size());
  if (step == walk.failingToo) {
    errno = EIO;
    return true;
  }
  if (step != walk.failing) return false;
  walk.next = walk.altered;
  if (walk.altered != Altered::NO) return false;
  errno = walk.error;
  return true;
}

Altered alteration() {
  return std::exchange(walk.next, Altered::NO);
}

void hold(Holding what, int change, const void* caller) {
  const bool ours = what == Holding::MEMORY ? allocates(caller) : walks(caller);
  if (ours) walk.left[static_cast<size_t>(what)] += change;
}

}  // namespace faults

using faults::steps;
using faults::walk;

void zolt_walk_begin(int failing, int error, int altered, int failingMemory, int failingToo) {
  steps.clear();
  walk = {};
  walk.failing = failing;
  walk.error = error;
  walk.altered = static_cast<faults::Altered>(altered);
  walk.failingMemory = failingMemory;
  walk.failingToo = failingToo;
  walk.on = true;
}

void zolt_walk_end(void) {
  walk.on = false;
}

bool zolt_walk_step(const char* function) {
  return faults::stepFails(function);
}

int zolt_walk_steps(void) {
  return static_cast<int>(steps.size());
}

const char* zolt_walk_step_name(int step) {
  return steps[static_cast<size_t>(step)];
}

int zolt_walk_allocations(void) {
  return walk.allocations;
}

int zolt_walk_left(int what) {
  return walk.left[static_cast<size_t>(what)];
}
