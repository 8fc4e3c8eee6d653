#include "scripted_client.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace zolt::test {

namespace {

ScriptedClient* script = nullptr;

using Call = int(int fd, void* request);

int delegate(const char* name, int fd, void* request) {
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name))(fd, request);
}

using StatByPath = decltype(zolt_stat_x);
using StatByDescriptor = decltype(zolt_fstat_x);

// Passes an extended stat on; under a script, it is written down and its mask spoilt.
template <class Function, class Which>
int watched(const char* name, ScriptedClient::Stat asked, Which which, unsigned int* mask,
            zolt_iattr64* buffer, size_t length) {
  if (script != nullptr) script->watch(std::move(asked));
  auto* next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  const int result = next(which, mask, buffer, length);
  if (script != nullptr) *mask = ~0U;
  return result;
}

template <class Field>
void put(void* request, size_t offset, const Field& field) {
  std::memcpy(static_cast<char*>(request) + offset, &field, sizeof field);
}

}  // namespace

ScriptedClient::ScriptedClient() : otherwise_(failing(-1, ENOTSUP)) {
  script = this;
}

ScriptedClient::~ScriptedClient() {
  script = nullptr;
}

int ScriptedClient::take(bool restripe, int fd, void* request) {
  uint32_t length = 0;
  std::memcpy(&length, request, sizeof length);
  calls_.push_back({restripe, fd, std::string(static_cast<const char*>(request), length)});
  if (answers_.empty()) return otherwise_(request);
  const Answer answer = std::move(answers_.front());
  answers_.pop_front();
  return answer(request);
}

ScriptedClient::Answer failing(int result, int error) {
  return [=](void*) {
    errno = error;
    return result;
  };
}

// The offsets stand here once more, as numbers: the tests do not take the structs' word for it.

ScriptedClient::Answer placement(uint32_t replicas, int32_t status, uint32_t bgf) {
  return [=](void* request) {
    put(request, 16 + 16, replicas);
    put(request, 48 + 20, status);
    const uint8_t value[] = {static_cast<uint8_t>(bgf >> 24), static_cast<uint8_t>(bgf >> 16),
                             static_cast<uint8_t>(bgf >> 8), static_cast<uint8_t>(bgf)};
    put(request, 48 + 32, value);
    return 0;
  };
}

ScriptedClient::Answer attribute(int32_t status, const std::string& value) {
  return [=](void* request) {
    put(request, 16 + 20, status);
    std::memcpy(static_cast<char*>(request) + 16 + 32, value.data(), value.size());
    return 0;
  };
}

ScriptedClient::Answer locations(Locations reply) {
  return [reply = std::move(reply)](void* request) {
    put(request, 16 + 40, reply.replicas);
    put(request, 16 + 44, reply.blocks);
    put(request, 16 + 48, reply.metaBlockSize);
    size_t at = 16 + 56;
    for (const int32_t word : reply.words) {
      put(request, at, word);
      at += sizeof word;
    }
    return 0;
  };
}

}  // namespace zolt::test

int zolt_fcntl(int fd, void* request) {
  if (zolt::test::script != nullptr) return zolt::test::script->take(false, fd, request);
  return zolt::test::delegate("zolt_fcntl", fd, request);
}

int zolt_restripe_file(int fd, void* request) {
  if (zolt::test::script != nullptr) return zolt::test::script->take(true, fd, request);
  return zolt::test::delegate("zolt_restripe_file", fd, request);
}

int zolt_stat_x(const char* path, unsigned int* mask, zolt_iattr64* buffer, size_t length) {
  return zolt::test::watched<zolt::test::StatByPath>("zolt_stat_x", {path, -1, *mask, length}, path,
                                                     mask, buffer, length);
}

int zolt_fstat_x(int fd, unsigned int* mask, zolt_iattr64* buffer, size_t length) {
  return zolt::test::watched<zolt::test::StatByDescriptor>("zolt_fstat_x", {"", fd, *mask, length},
                                                           fd, mask, buffer, length);
}
