#include "attributes.h"

#include <sys/types.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "fuzz.h"

namespace zolt::fuzz {

namespace {

Attributes* current = nullptr;

ssize_t failing(int error) {
  errno = error;
  return -1;
}

// The kernel never writes past the room it is given, and never answers more.
ssize_t answer(const Value& value, void* room, size_t size) {
  REQUIRE(room != nullptr || size == 0);
  if (size == 0) {
    return value.probeError != 0 ? failing(value.probeError) : static_cast<ssize_t>(value.probed);
  }
  if (value.readError != 0) return failing(value.readError);
  if (value.bytes.size() > size) return failing(ERANGE);
  if (!value.bytes.empty()) std::memcpy(room, value.bytes.data(), value.bytes.size());
  return static_cast<ssize_t>(value.bytes.size());
}

ssize_t get(const char* name, void* room, size_t size) {
  REQUIRE(current != nullptr && name != nullptr);
  return answer(current->of(name), room, size);
}

ssize_t list(char* room, size_t size) {
  REQUIRE(current != nullptr);
  return answer(current->names, room, size);
}

int setOne() {
  REQUIRE(current != nullptr);
  return current->setError != 0 ? static_cast<int>(failing(current->setError)) : 0;
}

int removeOne(const char* name) {
  REQUIRE(current != nullptr);
  current->removed.emplace_back(name);
  return current->removeError != 0 ? static_cast<int>(failing(current->removeError)) : 0;
}

}  // namespace

Attributes::Attributes() {
  current = this;
}

Attributes::~Attributes() {
  current = nullptr;
}

const Value& Attributes::of(const std::string& name) const {
  REQUIRE(!values.empty());
  size_t sum = 0;  // the same on every run, which std::hash need not be
  for (const char c : name)
    sum = sum * 31 + static_cast<unsigned char>(c);
  return values[sum % values.size()];
}

std::optional<std::string> readTwice(const Value& value) {
  if (value.probeError != 0) return std::nullopt;
  if (value.probed == 0) return "";
  if (value.readError != 0 || value.bytes.size() > value.probed) return std::nullopt;
  return value.bytes;
}

}  // namespace zolt::fuzz

using namespace zolt::fuzz;

extern "C" {

ssize_t getxattr(const char* /*path*/, const char* name, void* room, size_t size) noexcept {
  return get(name, room, size);
}
ssize_t lgetxattr(const char* /*path*/, const char* name, void* room, size_t size) noexcept {
  return get(name, room, size);
}
ssize_t listxattr(const char* /*path*/, char* room, size_t size) noexcept {
  return list(room, size);
}
ssize_t llistxattr(const char* /*path*/, char* room, size_t size) noexcept {
  return list(room, size);
}
int setxattr(const char* /*path*/, const char* /*name*/, const void* /*value*/, size_t /*size*/,
             int /*flags*/) noexcept {
  return setOne();
}
int lsetxattr(const char* /*path*/, const char* /*name*/, const void* /*value*/, size_t /*size*/,
              int /*flags*/) noexcept {
  return setOne();
}
int removexattr(const char* /*path*/, const char* name) noexcept {
  return removeOne(name);
}
int lremovexattr(const char* /*path*/, const char* name) noexcept {
  return removeOne(name);
}

}  // extern "C"
