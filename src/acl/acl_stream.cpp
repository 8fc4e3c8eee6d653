#include "acl/acl_stream.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "jni/io_exception.h"
#include "jni/logger2.h"

namespace zolt {

namespace {

constexpr int32_t NO_PERMISSION = -1;

int32_t readInt(std::istream& in) {
  int32_t value = 0;
  return in.read(reinterpret_cast<char*>(&value), sizeof value) ? value : 0;
}

bool isNamed(int tag) {
  return tag == ACL_USER || tag == ACL_GROUP;
}

bool isTag(int tag) {
  return isNamed(tag) || tag == ACL_USER_OBJ || tag == ACL_GROUP_OBJ || tag == ACL_MASK ||
         tag == ACL_OTHER;
}

ACL& listOfType(std::vector<ACL*>& acls, unsigned type) {
  const auto found = std::ranges::find(acls, type, &ACL::get_type);
  if (found != acls.end()) return **found;
  auto created = std::make_unique<ACL>(type);
  acls.push_back(created.get());
  return *created.release();
}

void readEntry(std::istream& in, ACL& list) {
  ACL::Entry entry(list);
  const int32_t tag = readInt(in);
  if (!isTag(tag)) {
    entry.remove();
    const std::string text;  // a tag, unlike a scope, is refused without a word
    ZOLT_ERROR(text);
    throw IOException(text, 0);
  }
  entry.set_tag(tag);
  if (isNamed(tag)) {
    const int32_t id = readInt(in);
    entry.set_qualifier(&id);
  }
  const int32_t permission = readInt(in);
  if (permission != NO_PERMISSION) entry.set_perm(permission);
}

}  // namespace

void convert(std::istream& in, std::vector<ACL*>& acls) {
  const int32_t count = readInt(in);
  ZOLT_TRACE("aclspec entry size: " << count);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t scope = readInt(in);
    if (scope != ACL_TYPE_ACCESS && scope != ACL_TYPE_DEFAULT) {
      const std::string text = "convert,790 unknown acl scope: " + std::to_string(scope);
      ZOLT_ERROR(text);
      throw IOException(text, 0);
    }
    readEntry(in, listOfType(acls, static_cast<unsigned>(scope)));
  }
  for (const ACL* acl : acls) {
    ZOLT_TRACE("convert dump: " << acl->dump());
  }
}

// In one piece, since each write to a stream has its own price.
void convert(std::vector<ACL*>& acls, std::ostream& out) {
  std::vector<int32_t> words;
  for (const ACL* acl : acls) {
    ZOLT_TRACE("AclEntry count:" << acl->size());
    ZOLT_TRACE("convert dump: " << acl->dump());
    const auto type = static_cast<int32_t>(acl->get_type());
    for (const ACL::Entry& entry : *acl) {
      const int tag = entry.get_tag();
      words.insert(words.end(), {type, tag});
      if (isNamed(tag)) words.push_back(static_cast<int32_t>(entry.get_qualifier()));
      words.push_back(entry.get_perm());
    }
  }
  out.write(reinterpret_cast<const char*>(words.data()),
            static_cast<std::streamsize>(words.size() * sizeof(int32_t)));
}

}  // namespace zolt
