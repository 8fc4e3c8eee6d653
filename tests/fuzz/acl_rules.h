// The rules of the ACL stream once more, as plainly as they can be.
#pragma once

#include <sys/acl.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "acl/acl.h"

namespace zolt::fuzz {

/// Tag, uid or gid (0 where there is none), permission.
using AclEntry = std::tuple<int, uint32_t, int>;

/// In an order of their own: libacl sorts its lists, and equal keys stand in any order.
using AclEntries = std::vector<AclEntry>;

inline AclEntries sorted(AclEntries entries) {
  std::sort(entries.begin(), entries.end());
  return entries;
}

inline AclEntries entriesOf(const ACL& acl) {
  AclEntries entries;
  for (const ACL::Entry& entry : acl) {
    const int tag = entry.get_tag();
    const bool named = tag == 2 || tag == 8;
    entries.emplace_back(tag, named ? entry.get_qualifier() : 0, entry.get_perm());
  }
  return sorted(entries);
}

struct Scope {
  int32_t scope;
  AclEntries entries;
};

/// What a stream says up to its end or its first fault.
struct Reading {
  std::vector<Scope> scopes;  // in the order in which they first occur
  std::string failure = "none";
};

inline Reading readByTheRules(const std::string& stream) {
  Reading reading;
  size_t at = 0;
  const auto next = [&] {
    int32_t value = 0;
    if (at + 4 <= stream.size()) {
      std::memcpy(&value, stream.data() + at, 4);
      at += 4;
    } else {
      at = stream.size();
    }
    return value;
  };
  const int32_t count = next();
  for (int32_t i = 0; i < count; ++i) {
    const int32_t scope = next();
    if (scope != 32768 && scope != 16384) {
      reading.failure = "convert,790 unknown acl scope: " + std::to_string(scope);
      break;
    }
    auto place = std::find_if(reading.scopes.begin(), reading.scopes.end(),
                              [&](const Scope& known) { return known.scope == scope; });
    if (place == reading.scopes.end()) place = reading.scopes.insert(place, Scope{scope, {}});
    const int32_t tag = next();
    if (tag != 1 && tag != 2 && tag != 4 && tag != 8 && tag != 16 && tag != 32) {
      reading.failure = "";
      break;
    }
    const uint32_t id = tag == 2 || tag == 8 ? static_cast<uint32_t>(next()) : 0;
    const int32_t permission = next();
    place->entries.emplace_back(tag, id, permission == -1 ? 0 : permission & 7);
  }
  for (Scope& scope : reading.scopes)
    scope.entries = sorted(scope.entries);
  return reading;
}

}  // namespace zolt::fuzz
