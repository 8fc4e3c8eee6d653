// ACL specifications against real lists: of a directory that is in no directory, so that nothing is
// left behind however a run ends.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "acl/acl_stream.h"
#include "acl/file_acl.h"
#include "acl_rules.h"
#include "base/io_exception.h"
#include "fuzz.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

std::string makeDirectory() {
  std::string path = "/tmp/zolt-fuzz-XXXXXX";
  REQUIRE(mkdtemp(path.data()) != nullptr);
  const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY);
  REQUIRE(fd >= 0 && rmdir(path.c_str()) == 0);
  return "/proc/self/fd/" + std::to_string(fd);
}

struct Lists {
  AclEntries access;
  AclEntries byDefault;
  bool operator==(const Lists&) const = default;
};

AclEntries listOf(const std::string& path, unsigned type) {
  return entriesOf(ACL(path, type));
}

Lists listsOf(const std::string& path) {
  return {listOf(path, ACL_TYPE_ACCESS), listOf(path, ACL_TYPE_DEFAULT)};
}

size_t countOf(const AclEntries& entries, int tags) {
  return static_cast<size_t>(
      std::count_if(entries.begin(), entries.end(),
                    [tags](const AclEntry& entry) { return (std::get<0>(entry) & tags) != 0; }));
}

// acl(5): one entry of each base tag, and a mask with named entries.
bool isSound(const AclEntries& entries) {
  return countOf(entries, ACL_USER_OBJ) == 1 && countOf(entries, ACL_GROUP_OBJ) == 1 &&
         countOf(entries, ACL_OTHER) == 1 && countOf(entries, ACL_MASK) <= 1 &&
         (countOf(entries, ACL_MASK) == 1 || countOf(entries, ACL_USER | ACL_GROUP) == 0);
}

bool hasAll(const AclEntries& entries, const AclEntries& wanted) {
  return std::all_of(wanted.begin(), wanted.end(), [&](const AclEntry& entry) {
    return std::find(entries.begin(), entries.end(), entry) != entries.end();
  });
}

bool hasKey(const AclEntries& entries, const AclEntry& key) {
  return std::any_of(entries.begin(), entries.end(), [&](const AclEntry& entry) {
    return std::get<0>(entry) == std::get<0>(key) && std::get<1>(entry) == std::get<1>(key);
  });
}

// What holds of a list after a change that was not refused. No key comes twice in what was asked
// for when a list was stored as it says (MODIFY lets the last one win).
void checkChanged(const AclEntries& before, const AclEntries& after, const AclEntries& spec,
                  AclChange change) {
  switch (change) {
    case AclChange::SET:
      REQUIRE(hasAll(after, spec));
      REQUIRE(after.size() <= spec.size() + 4);
      break;
    case AclChange::MODIFY:
      for (const AclEntry& entry : spec)
        REQUIRE(hasKey(after, entry));
      for (const AclEntry& entry : before)
        REQUIRE(hasKey(after, entry));
      break;
    case AclChange::REMOVE:
      for (const AclEntry& entry : spec)
        REQUIRE(!hasKey(after, entry));
      REQUIRE(hasAll(before, after));
      break;
  }
}

// One change; true when it was refused.
bool changed(const std::string& path, const std::string& stream, AclChange change) {
  const Reading reading = readByTheRules(stream);
  const Lists before = listsOf(path);
  std::istringstream in(stream);
  try {
    changeAcl(path, in, change).orThrow();
  } catch (const IOException& error) {
    REQUIRE(reading.failure == "none" || error.what() == reading.failure);
    // A specification that cannot be read changes nothing; else the first scope may be stored.
    if (reading.failure != "none") REQUIRE(listsOf(path) == before);
    return false;
  }
  REQUIRE(reading.failure == "none");
  const Lists after = listsOf(path);
  bool accessGiven = false;
  bool defaultGiven = false;
  for (const Scope& scope : reading.scopes) {
    const bool access = scope.scope == static_cast<int>(ACL_TYPE_ACCESS);
    (access ? accessGiven : defaultGiven) = true;
    checkChanged(access ? before.access : before.byDefault, access ? after.access : after.byDefault,
                 scope.entries, change);
  }
  REQUIRE(accessGiven || after.access == before.access);
  REQUIRE(defaultGiven || after.byDefault == before.byDefault);
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  REQUIRE(ACLUtil::init());
  static const std::string path = makeDirectory();
  Input input(data, size);
  drawThreshold(input);
  REQUIRE(chmod(path.c_str(), 0750) == 0);
  while (!input.empty()) {
    const auto change = static_cast<AclChange>(input.pick(3));
    changed(path, input.bytes(input.byte()), change);
    const Lists lists = listsOf(path);
    REQUIRE(isSound(lists.access));
    REQUIRE(lists.byDefault.empty() || isSound(lists.byDefault));

    // What Java is told is both lists, entry by entry.
    std::string status;
    REQUIRE(!aclStatus(path, true, status));
    const size_t entries = lists.access.size() + lists.byDefault.size();
    const size_t named = countOf(lists.access, ACL_USER | ACL_GROUP) +
                         countOf(lists.byDefault, ACL_USER | ACL_GROUP);
    REQUIRE(status.size() == 12 * entries + 4 * named);
  }
  REQUIRE(!removeAcl(path, true));
  const Lists left = listsOf(path);
  REQUIRE(left.access.size() == 3 && left.byDefault.empty());
  return 0;
}
