// A lease whose two attributes hold anything: read back, expired or refused as the plain rules say.
#include "xattr/lease.h"

#include <linux/limits.h>

#include <cerrno>

#include "attributes.h"
#include "fuzz.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

struct Expected {
  int error = 0;
  std::string operation;
  std::string name;
  bool held = false;
  std::string holder;
  std::vector<std::string> removed;
};

// Read at once, into so much room.
int readOnce(const Value& value, size_t room, std::string& bytes) {
  if (room == 0) return EINVAL;
  if (value.readError != 0) return value.readError;
  if (value.bytes.size() > room) return ERANGE;
  bytes = value.bytes;
  return 0;
}

Expected byTheRules(const Attributes& attributes, int holderSize, int64_t limit, int64_t now) {
  std::string stamp;
  if (const int error = readOnce(attributes.of("user.lease.update"), 8, stamp)) {
    return {error, "getxattr", "user.lease.update", false, "", {}};
  }
  stamp.resize(8, '\0');
  int64_t last = 0;
  std::memcpy(&last, stamp.data(), 8);
  int64_t age = 0;
  static_cast<void>(__builtin_sub_overflow(now, last, &age));  // the difference wraps
  if (age > limit) {
    Expected expired{attributes.removeError, "removexattr", "user.lease.*", false, "", {}};
    expired.removed = {"user.lease.holder", "user.lease.update"};
    return expired;
  }
  std::string holder;
  const auto room = static_cast<size_t>(std::max(holderSize, 0));
  if (const int error = readOnce(attributes.of("user.lease.holder"), room, holder)) {
    return {error, "getxattr", "user.lease.holder", false, "", {}};
  }
  return {0, "", "", true, holder, {}};
}

Value someValue(Input& input, size_t most) {
  Value value{};
  const uint8_t error = input.byte();
  value.readError = error < 232 ? 0 : error < 240 ? ENODATA : 1 + error % 8;
  value.bytes = input.bytes(input.byte() % most);
  return value;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  drawThreshold(input);
  const auto now = static_cast<int64_t>(input.number());
  const auto limit = static_cast<int64_t>(input.number());
  const auto holderSize = static_cast<int32_t>(input.number());
  const bool follow = input.flag();
  Attributes attributes;
  const uint8_t removing = input.byte();
  attributes.removeError = removing < 200 ? 0 : removing - 199;
  // The two names fall on different values.
  attributes.values = {someValue(input, 12), {}};
  attributes.values.back() = someValue(input, 64);

  const Expected expected = byTheRules(attributes, holderSize, limit, now);
  XattrValue holder;
  const XattrError failed = getLease("path", follow, holderSize, limit, now, holder);
  REQUIRE(failed.error == expected.error);
  if (expected.error != 0) {
    REQUIRE(failed.operation == expected.operation);
    REQUIRE(failed.name == expected.name);
  }
  REQUIRE((holder.bytes != nullptr) == expected.held);
  if (expected.held) {
    REQUIRE(std::string(holder.bytes.get(), static_cast<size_t>(holder.length)) == expected.holder);
  }
  REQUIRE(attributes.removed == expected.removed);
  return 0;
}
