// The file system's client, interposed: its answers, or changed ones.
#include <cstring>
#include <vector>

#include "faults.h"
#include "injector.h"
#include "walk.h"
#include "zolt.h"

using faults::Call;

namespace {

struct Patch {
  unsigned offset;
  unsigned size;
  unsigned long long value;
};
thread_local std::vector<Patch> patches;

// The client may have been loaded later and for the library alone, out of sight of a plain lookup.
template <class Function>
Function* client(const char* name) {
  if (auto* found = faults::next<Function>(name)) return found;
  void* library = dlopen("libzolt.so", RTLD_LAZY | RTLD_NOLOAD);
  return reinterpret_cast<Function*>(dlsym(library, name));
}

int patched(int answer, zolt_iattr64* buffer) {
  if (answer != 0) return answer;
  for (const Patch& patch : patches)
    std::memcpy(reinterpret_cast<char*>(buffer) + patch.offset, &patch.value, patch.size);
  return 0;
}

// A reply about locations with another number of blocks.
void alterBlocks(faults::Altered how, void* request) {
  zolt_request_header header;
  std::memcpy(&header, request, sizeof header);
  if (header.length != sizeof header + sizeof(zolt_location_record)) return;
  char* at = static_cast<char*>(request) + sizeof header + offsetof(zolt_location_record, blocks);
  int32_t blocks = 0;
  std::memcpy(&blocks, at, sizeof blocks);
  blocks = how == faults::Altered::NONE ? 0 : blocks - 1;
  std::memcpy(at, &blocks, sizeof blocks);
}

}  // namespace

void zolt_fault_attribute(unsigned offset, unsigned size, unsigned long long value) {
  if (size == 0) {
    patches.clear();
  } else {
    patches.push_back({offset, size, value});
  }
}

extern "C" {

int zolt_stat_x(const char* path, unsigned int* mask, zolt_iattr64* buffer, size_t length) {
  static auto* real = client<decltype(zolt_stat_x)>("zolt_stat_x");
  return faults::fails(Call::zolt_stat_x) ? -1 : patched(real(path, mask, buffer, length), buffer);
}

int zolt_fstat_x(int fd, unsigned int* mask, zolt_iattr64* buffer, size_t length) {
  static auto* real = client<decltype(zolt_fstat_x)>("zolt_fstat_x");
  return faults::fails(Call::zolt_fstat_x) ? -1 : patched(real(fd, mask, buffer, length), buffer);
}

int zolt_fcntl(int fd, void* request) {
  static auto* real = client<decltype(zolt_fcntl)>("zolt_fcntl");
  if (faults::fails(Call::zolt_fcntl)) return -1;
  const faults::Altered how = faults::alteration();
  const int result = real(fd, request);
  if (how != faults::Altered::NO) alterBlocks(how, request);
  return result;
}

int zolt_restripe_file(int fd, void* request) {
  static auto* real = client<decltype(zolt_restripe_file)>("zolt_restripe_file");
  return faults::fails(Call::zolt_restripe_file) ? -1 : real(fd, request);
}

}  // extern "C"
