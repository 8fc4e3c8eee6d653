#include "acl/acl.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "base/logger2.h"
#include "identity/groups.h"

namespace zolt {

using acl_errors::callFailed;
using acl_errors::check;
using acl_errors::raise;

namespace {

constexpr const char* MAKE_VALID = "make_valid";

constexpr int BASE_TAGS = ACL_USER_OBJ | ACL_GROUP_OBJ | ACL_OTHER;
constexpr int NAMED_TAGS = ACL_USER | ACL_GROUP;

constexpr int MERGE_ENTRIES = 0;
constexpr int REMOVE_ENTRIES = 1;

unsigned checkedType(unsigned type, const char* function = __builtin_FUNCTION()) {
  if (type == ACL_TYPE_ACCESS || type == ACL_TYPE_DEFAULT) return type;
  const std::string text = "Unknown type: " + std::to_string(type);
  ZOLT_ERROR_AS(function, text);
  throw IOException(text, EINVAL);
}

const char* typePrefix(unsigned type) {
  if (type == ACL_TYPE_ACCESS) return "";
  return type == ACL_TYPE_DEFAULT ? "default:" : "undef:";
}

// libacl translates between ids and names with getpwuid(3) and its kin, whose answers lie in static
// storage: two threads in it at a time would read each other's.
std::mutex namesMutex;

uint32_t typeOf(const char* buffer) {
  uint32_t type = 0;
  std::memcpy(&type, buffer, sizeof type);
  return type;
}

}  // namespace

Failure acl_errors::callFailed(const char* call, const std::string& text, int error,
                               const char* function) {
  ZOLT_ERROR_AS(function, call << " error " << error << ": " << text);
  return IOException(text, error);
}

void acl_errors::raise(const char* call, const std::string& text, int error, const char* function) {
  callFailed(call, text, error, function).orThrow();
  __builtin_unreachable();
}

void AclFree::operator()(void* object) const noexcept {
  const ErrnoKeeper keeper;
  if (ACLUtil::bound()) ACLUtil::acl_free(object);
}

ACL::ACL(unsigned aclType) : type(checkedType(aclType)) {
  ACLUtil::require();
  get_file("");
}

ACL::ACL(const std::string& path, unsigned aclType) : type(checkedType(aclType)) {
  ACLUtil::require();
  get_file(path);
}

ACL::ACL(const char* buffer) : type(checkedType(typeOf(buffer))) {
  ACLUtil::require();
  from_text(buffer);
}

ACL::ACL(unsigned aclType, Unloaded /*unloaded*/) noexcept : type(aclType) {}

// It is an exchange, so it takes the other as it is; with itself it changes nothing.
// NOLINTNEXTLINE(misc-unconventional-assign-operator,cert-oop54-cpp)
ACL& ACL::operator=(ACL& other) {
  acl.swap(other.acl);
  return *this;
}

Failure ACL::load(const std::string& path) {
  file = path;
  const bool empty = file.empty();
  acl.reset(empty ? ACLUtil::acl_init(0) : ACLUtil::acl_get_file(file.c_str(), type));
  if (acl != nullptr) return {};
  const int error = errnoOfFailure();
  if (error == EACCES) dump_gid("acl_get_file error");
  return callFailed(empty ? "acl_init" : "acl_get_file", file, error, "get_file");
}

Failure ACL::store(const std::string& path, bool fix) {
  if (fix) make_valid(path);
  valid();
  if (ACLUtil::acl_set_file(path.c_str(), type, acl.get()) != 0) {
    const int error = errnoOfFailure();
    // Some file systems tell that there was no default list to remove.
    const bool nothingToRemove = error == ENODATA && type == ACL_TYPE_DEFAULT && begin() == end();
    if (!nothingToRemove) return callFailed("acl_set_file", path, error, "set_file");
  }
  file = path;
  return {};
}

acl_entry_t ACL::entryAt(int position, const char* function) const {
  acl_entry_t entry = nullptr;
  const int found = ACLUtil::acl_get_entry(acl.get(), position, &entry);
  check(found, "acl_get_entry", function);
  return found == 1 ? entry : nullptr;
}

// libacl may move the list to new storage, and then says where it is now. Until it has answered the
// list is ours.
template <class Call>
int ACL::relocating(const Call& call) {
  acl_t handle = acl.get();
  const int answer = call(&handle);
  static_cast<void>(acl.release());
  acl.reset(handle);
  return answer;
}

acl_entry_t ACL::createEntry() {
  acl_entry_t entry = nullptr;
  check(relocating([&](acl_t* list) { return ACLUtil::acl_create_entry(list, &entry); }),
        "acl_create_entry", "Entry");
  return entry;
}

ACL::Entry ACL::begin() const {
  return {*this, entryAt(ACL_FIRST_ENTRY, static_cast<const char*>(__func__))};
}

ACL::Entry ACL::end() const {
  return {*this, nullptr};
}

int ACL::size() const {
  int count = 0;
  for (Entry entry = begin(); entry != end(); ++entry)
    ++count;
  return count;
}

ACL& ACL::operator+(ACL& other) {
  changeEntries(other, MERGE_ENTRIES);
  return *this;
}

ACL& ACL::operator-(ACL& other) {
  changeEntries(other, REMOVE_ENTRIES);
  return *this;
}

int ACL::changeEntries(ACL& other, int mode) {
  for (const Entry& change : other) {
    if (change.get_tag() == ACL_MASK) maskGiven = true;
    changeEntry(change, mode);
  }
  return 0;
}

void ACL::changeEntry(const Entry& change, int mode) {
  for (Entry& entry : *this) {
    if (!entry.cmp(change)) continue;
    if (mode == MERGE_ENTRIES) {
      entry.copy(change);
    } else {
      entry.remove();
    }
    return;
  }
  if (mode == MERGE_ENTRIES) Entry(*this).copy(change);
}

Failure ACL::clear() {
  int doomed = NAMED_TAGS | ACL_MASK;
  if (type == ACL_TYPE_DEFAULT) doomed |= ACL_OTHER;
  std::vector<Entry> entries;  // apart, since a removal ends the walk
  for (const Entry& entry : *this) {
    if ((entry.get_tag() & doomed) != 0) entries.push_back(entry);
  }
  for (Entry& entry : entries)
    entry.remove();
  return store(file, true);
}

void ACL::valid() {
  if (type == ACL_TYPE_DEFAULT && begin() == end()) return;
  const int answer = ACLUtil::acl_check(acl.get(), nullptr);
  if (answer == 0) return;
  const int error = errnoOfFailure();
  ZOLT_TRACE("valid failed dump " << dump());
  if (answer < 0) {
    ZOLT_ERROR("acl_valid fails");
    throw IOException("acl_valid fails", error);
  }
  std::string entries = libaclText(static_cast<const char*>(__func__));
  std::ranges::replace(entries, '\n', ',');
  const std::string text = joined("", file, ": Malformed access ACL \"", entries,
                                  "\": ", orNull(ACLUtil::acl_error(answer)));
  ZOLT_ERROR(text);
  throw IOException(text, EINVAL);
}

void ACL::make_valid(const std::string& path) {
  int baseCount = 0;
  int tags = 0;
  for (const Entry& entry : *this) {
    const int tag = entry.get_tag();
    if ((tag & BASE_TAGS) != 0) ++baseCount;
    tags |= tag;
  }
  const bool named = (tags & NAMED_TAGS) != 0;
  const bool mask = (tags & ACL_MASK) != 0;
  // An empty list is complete: it is for valid() to refuse it or not.
  const bool complete = baseCount == 3 || (baseCount == 0 && !named && !mask);
  if (!complete) addBaseEntries(path, tags);
  // Without a path the list is a specification, and its mask the caller's.
  const bool computed = mask ? !file.empty() && !maskGiven : named;
  if (computed) calcMask(path);
}

void ACL::addBaseEntries(const std::string& path, int presentTags) {
  if (path.empty()) {
    const char* text = "current acl lacks base entries, requires a valid file path to load.";
    ZOLT_ERROR_AS(MAKE_VALID, text);
    throw IOException(text, 0);
  }
  const ACL current(path, ACL_TYPE_ACCESS);
  for (const Entry& entry : current) {
    const int tag = entry.get_tag();
    if ((tag & BASE_TAGS) != 0 && (tag & presentTags) == 0) Entry(*this).copy(entry);
  }
}

void ACL::calcMask(const std::string& path) {
  if (relocating([](acl_t* list) { return ACLUtil::acl_calc_mask(list); }) != 0) {
    raise("acl_calc_mask", path, errnoOfFailure(), MAKE_VALID);
  }
}

std::string ACL::libaclText(const char* function) const {
  ssize_t length = 0;
  const std::lock_guard lock(namesMutex);
  const std::unique_ptr<char, AclFree> text(ACLUtil::acl_to_text(acl.get(), &length));
  check(text == nullptr ? -1 : 0, "acl_to_text", function);
  return {text.get(), static_cast<size_t>(length)};
}

std::string ACL::to_text(long* len) const {
  const uint32_t tag = type;
  std::string text(sizeof tag, '\0');
  std::memcpy(text.data(), &tag, sizeof tag);
  text += libaclText(static_cast<const char*>(__func__));
  if (len != nullptr) *len = static_cast<long>(text.size());
  return text;
}

void ACL::from_text(const char* buffer) {
  type = checkedType(typeOf(buffer));
  const char* text = buffer + sizeof(uint32_t);
  file.clear();
  {
    const std::lock_guard lock(namesMutex);
    acl.reset(ACLUtil::acl_from_text(text));
  }
  if (acl == nullptr) raise("acl_from_text", text, errnoOfFailure());
}

std::string ACL::dump() const {
  if (acl == nullptr) return joined("", typePrefix(type), "nil");
  Fmt text(",");
  for (const Entry& entry : *this)
    text << entry.dump();
  return typePrefix(type) + text.str();
}

}  // namespace zolt
