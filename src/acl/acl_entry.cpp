#include <array>

#include "acl/acl.h"
#include "base/fmt.h"

namespace zolt {

using acl_errors::check;

namespace {

const char* tagName(int tag) {
  switch (tag) {
    case ACL_USER_OBJ:
      return "user_obj";
    case ACL_USER:
      return "user";
    case ACL_GROUP_OBJ:
      return "group_obj";
    case ACL_GROUP:
      return "group";
    case ACL_MASK:
      return "mask";
    case ACL_OTHER:
      return "other";
    case ACL_UNDEFINED_TAG:
      return "undef";
    default:
      return "unknown";
  }
}

}  // namespace

ACL::Entry::Entry(ACL& owner) : Entry(owner, owner.createEntry()) {}

void ACL::Entry::copy(const Entry& src) {
  check(ACLUtil::acl_copy_entry(entry, src.entry), "acl_copy_entry");
}

void ACL::Entry::remove() {
  check(ACLUtil::acl_delete_entry(list->acl.get(), entry), "acl_delete_entry");
}

int ACL::Entry::get_tag() const {
  acl_tag_t tag = ACL_UNDEFINED_TAG;
  check(ACLUtil::acl_get_tag_type(entry, &tag), "acl_get_tag_type");
  return tag;
}

void ACL::Entry::set_tag(int tag) {
  check(ACLUtil::acl_set_tag_type(entry, tag), "acl_set_tag_type");
}

id_t ACL::Entry::get_qualifier() const {
  const std::unique_ptr<void, AclFree> id(ACLUtil::acl_get_qualifier(entry));
  check(id == nullptr ? -1 : 0, "acl_get_qualifier");
  return *static_cast<const id_t*>(id.get());
}

void ACL::Entry::set_qualifier(const void* id) {
  check(ACLUtil::acl_set_qualifier(entry, id), "acl_set_qualifier");
}

acl_permset_t ACL::Entry::permset(const char* function) const {
  acl_permset_t permissions = nullptr;
  check(ACLUtil::acl_get_permset(entry, &permissions), "acl_get_permset", function);
  return permissions;
}

int ACL::Entry::get_perm() const {
  acl_permset_t permissions = permset(static_cast<const char*>(__func__));
  int bits = 0;
  for (const int bit : {ACL_READ, ACL_WRITE, ACL_EXECUTE}) {
    const int given = ACLUtil::acl_get_perm(permissions, static_cast<acl_perm_t>(bit));
    check(given, "acl_get_perm");
    if (given != 0) bits |= bit;
  }
  return bits;
}

void ACL::Entry::set_perm(int bits) {
  acl_permset_t permissions = permset(static_cast<const char*>(__func__));
  for (const int bit : {ACL_READ, ACL_WRITE, ACL_EXECUTE}) {
    if ((bits & bit) == 0) continue;
    check(ACLUtil::acl_add_perm(permissions, static_cast<acl_perm_t>(bit)), "acl_add_perm");
  }
}

void ACL::Entry::clear_perm() {
  check(ACLUtil::acl_clear_perms(permset(static_cast<const char*>(__func__))), "acl_clear_perms");
}

bool ACL::Entry::cmp(const Entry& other) const {
  if (*this == other) return true;
  if (entry == nullptr || other.entry == nullptr) return false;
  const int tag = get_tag();
  if (tag != other.get_tag()) return false;
  return !isNamed(tag) || get_qualifier() == other.get_qualifier();
}

std::string ACL::Entry::dump() const {
  if (entry == nullptr) return "nil";
  const int tag = get_tag();
  const int bits = get_perm();
  Fmt text(nullptr);
  text << tagName(tag) << ":";
  if (isNamed(tag)) text << get_qualifier();
  text << ":" << ((bits & ACL_READ) != 0 ? "r" : "-") << ((bits & ACL_WRITE) != 0 ? "w" : "-")
       << ((bits & ACL_EXECUTE) != 0 ? "x" : "-");
  return text.str();
}

bool ACL::Entry::operator==(const Entry& other) const {
  return list->acl == other.list->acl && entry == other.entry;
}

ACL::Entry& ACL::Entry::operator++() {
  // Past the end libacl would begin anew.
  if (entry != nullptr) entry = list->entryAt(ACL_NEXT_ENTRY, static_cast<const char*>(__func__));
  return *this;
}

}  // namespace zolt
