#include "acl/file_acl.h"

#include "acl/acl_stream.h"

namespace zolt {

namespace {

constexpr size_t ROOM = 240;  // 15 named entries, more than most files have

void changeOne(const std::string& path, ACL& spec, AclChange change) {
  if (change == AclChange::SET) {
    spec.set_file(path, true);
    return;
  }
  ACL current(path, spec.get_type());
  if (change == AclChange::MODIFY) {
    (current + spec).set_file(path, true);
  } else {
    (current - spec).set_file(path, false);
  }
}

}  // namespace

std::string aclStatus(const std::string& path, bool isDirectory) {
  ACL access(path, ACL_TYPE_ACCESS);
  ACL byDefault(ACL_TYPE_DEFAULT);
  if (isDirectory) byDefault.get_file(path);
  std::vector<ACL*> acls{&access, &byDefault};
  std::string bytes;
  bytes.reserve(ROOM);
  convert(acls, bytes);
  return bytes;
}

void changeAcl(const std::string& path, std::istream& spec, AclChange change) {
  ACLUtil::require();
  AclVector lists;
  convert(spec, lists.acls);
  for (ACL* list : lists.acls) {
    if (list->begin() != list->end()) changeOne(path, *list, change);
  }
}

void removeDefaultAcl(const std::string& path, bool isDirectory) {
  ACLUtil::require();
  if (isDirectory) ACL(ACL_TYPE_DEFAULT).set_file(path, false);
}

void removeAcl(const std::string& path, bool isDirectory) {
  ACL(path, ACL_TYPE_ACCESS).clear();
  removeDefaultAcl(path, isDirectory);
}

}  // namespace zolt
