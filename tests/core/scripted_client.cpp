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

ScriptedClient::Answer placement(uint32_t replicas, int32_t status, uint32_t bgf) {
  return [=](void* request) {
    putPlacement(request, replicas, status, bgf);
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
    putLocations(request, reply);
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
