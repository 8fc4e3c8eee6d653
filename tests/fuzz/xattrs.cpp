// Attribute names and values as a file system could give them, through dumpXAttrs, getXAttr and
// getXAttrs: Java gets each value that can be read, whole, and no lease.
#include <cerrno>

#include "attributes.h"
#include "base/modified_utf8.h"
#include "fake_vm.h"
#include "fuzz.h"
#include "org_apache_hadoop_hdfs_server_namenode_ZOLTNative.h"

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_##method

using namespace zolt;
using namespace zolt::fuzz;

namespace {

using Map = std::map<std::string, std::string>;

int someErrno(Input& input) {
  const uint8_t byte = input.byte();
  return byte < 232 ? 0 : byte < 240 ? ENODATA : 1 + byte % 8;
}

Value someValue(Input& input, size_t most) {
  Value value{};
  value.probeError = someErrno(input);
  value.readError = someErrno(input);
  value.bytes = input.bytes(input.byte() % most);
  const uint8_t change = input.byte();
  value.probed = change < 240 ? value.bytes.size() : change % 32U;
  return value;
}

bool isLease(const std::string& name) {
  return name == "user.lease.holder" || name == "user.lease.update";
}

// Every name of the list up to its NUL, or to the end of the list.
std::vector<std::string> namesIn(const std::string& list) {
  std::vector<std::string> names;
  for (size_t at = 0; at < list.size();) {
    const size_t end = std::min(list.find('\0', at), list.size());
    names.push_back(list.substr(at, end - at));
    at = end + 1;
  }
  return names;
}

void checkDump(FakeVm& vm, const Attributes& attributes, jstring path) {
  jobject found = NATIVE(dumpXAttrs)(vm.env(), nullptr, path);
  const auto list = readTwice(attributes.names);
  const std::string exception = vm.takeException();
  REQUIRE((found == nullptr) == !list.has_value());
  REQUIRE(exception.empty() == list.has_value());
  if (found == nullptr) return;
  Map expected;
  for (const std::string& name : namesIn(*list)) {
    if (name.empty() || isLease(name)) continue;
    if (const auto value = readTwice(attributes.of(name))) {
      expected[toModifiedUtf8(name)] = *value;
    }
  }
  REQUIRE(vm.mapOf(found) == expected);
  vm.drop(found);
}

void checkOne(FakeVm& vm, const Attributes& attributes, jstring path, const std::string& name) {
  jstring javaName = vm.string(name);
  jobject found = NATIVE(getXAttr)(vm.env(), nullptr, path, javaName);
  const std::string exception = vm.takeException();
  const auto value = isLease(name) ? std::nullopt : readTwice(attributes.of(name));
  REQUIRE((found != nullptr) == value.has_value());
  if (value) REQUIRE(vm.bytesOf(found) == *value);
  const Value& there = attributes.of(name);
  const bool absent = there.probeError == ENODATA ||
                      (there.probeError == 0 && there.probed != 0 && there.readError == ENODATA);
  REQUIRE(exception.empty() == (value.has_value() || isLease(name) || absent));
  vm.drop(found);
  vm.drop(javaName);
}

void checkSome(FakeVm& vm, const Attributes& attributes, jstring path,
               const std::vector<std::string>& names) {
  jobjectArray javaNames = vm.strings(names);
  jobject found = NATIVE(getXAttrs)(vm.env(), nullptr, path, javaNames);
  REQUIRE(found != nullptr && vm.takeException().empty());
  Map expected;
  for (const std::string& name : names) {
    if (isLease(name)) continue;
    if (const auto value = readTwice(attributes.of(name))) expected[name] = *value;
  }
  REQUIRE(vm.mapOf(found) == expected);
  vm.drop(found);
  vm.drop(javaNames);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  drawThreshold(input);
  Attributes attributes;
  attributes.values.resize(1 + input.pick(4));
  for (Value& value : attributes.values)
    value = someValue(input, 64);
  attributes.names = someValue(input, 256);

  FakeVm vm;
  jstring path = vm.string("path");
  checkDump(vm, attributes, path);
  const std::vector<std::string> names = namesIn(attributes.names.bytes);
  if (!names.empty()) checkOne(vm, attributes, path, names.front());
  checkSome(vm, attributes, path, names);
  REQUIRE(vm.references() == 1);
  vm.drop(path);
  return 0;
}
