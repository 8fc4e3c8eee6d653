#include "acl/acl_stream.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>

#include "base/io_exception.h"
#include "base/logger2.h"

namespace zolt {

namespace {

constexpr int32_t NO_PERMISSION = -1;

int32_t readInt(std::istream& in) {
  int32_t value = 0;
  return in.read(reinterpret_cast<char*>(&value), sizeof value) ? value : 0;
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
    ZOLT_ERROR_AS("convert", text);
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

void convert(std::vector<ACL*>& acls, std::string& out) {
  const auto put = [&out](std::initializer_list<int32_t> words) {
    out.append(reinterpret_cast<const char*>(words.begin()), words.size() * sizeof(int32_t));
  };
  for (const ACL* acl : acls) {
    ZOLT_TRACE("AclEntry count:" << acl->size());
    ZOLT_TRACE("convert dump: " << acl->dump());
    const auto type = static_cast<int32_t>(acl->get_type());
    for (const ACL::Entry& entry : *acl) {
      const int tag = entry.get_tag();
      if (isNamed(tag)) {
        const auto id = static_cast<int32_t>(entry.get_qualifier());
        put({type, tag, id, entry.get_perm()});
      } else {
        put({type, tag, entry.get_perm()});
      }
    }
  }
}

void convert(std::vector<ACL*>& acls, std::ostream& out) {
  std::string bytes;
  convert(acls, bytes);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace zolt
