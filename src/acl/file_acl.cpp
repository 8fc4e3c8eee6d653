#include "acl/file_acl.h"

#include "acl/acl_stream.h"

namespace zolt {

namespace {

constexpr size_t ROOM = 240;  // 15 named entries, more than most files have

Failure changeOne(const std::string& path, ACL& spec, AclChange change) {
  if (change == AclChange::SET) return spec.store(path, true);
  ACL current(spec.get_type(), ACL::Unloaded());
  if (Failure failure = current.load(path)) return failure;
  if (change == AclChange::MODIFY) return (current + spec).store(path, true);
  return (current - spec).store(path, false);
}

Failure clearAccess(const std::string& path) {
  ACL access(ACL_TYPE_ACCESS, ACL::Unloaded());
  if (Failure failure = access.load(path)) return failure;
  return access.clear();
}

}  // namespace

Failure aclStatus(const std::string& path, bool isDirectory, std::string& bytes) try {
  ACLUtil::require();
  ACL access(ACL_TYPE_ACCESS, ACL::Unloaded());
  if (Failure failure = access.load(path)) return failure;
  ACL byDefault(ACL_TYPE_DEFAULT);
  if (isDirectory) {
    if (Failure failure = byDefault.load(path)) return failure;
  }
  std::vector<ACL*> acls{&access, &byDefault};
  bytes.reserve(ROOM);
  convert(acls, bytes);
  return {};
} catch (const IOException& error) {
  return error;
}

Failure changeAcl(const std::string& path, std::istream& spec, AclChange change) {
  ACLUtil::require();
  AclVector lists;
  convert(spec, lists.acls);
  for (ACL* list : lists.acls) {
    if (list->begin() == list->end()) continue;
    if (Failure failure = changeOne(path, *list, change)) return failure;
  }
  return {};
}

Failure removeDefaultAcl(const std::string& path, bool isDirectory) {
  ACLUtil::require();
  return isDirectory ? ACL(ACL_TYPE_DEFAULT).store(path, false) : Failure();
}

Failure removeAcl(const std::string& path, bool isDirectory) {
  ACLUtil::require();
  if (Failure failure = clearAccess(path)) return failure;
  return removeDefaultAcl(path, isDirectory);
}

}  // namespace zolt
