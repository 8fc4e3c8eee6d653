// The byte stream in which Java and the library exchange ACL entries: 32-bit integers in native
// byte order, without padding.
//
// An entry is: scope (32768 access, 16384 default); tag (ACL_USER_OBJ ...); the uid or gid, for
// named users and groups only; permission (4 read, 2 write, 1 execute; from Java, -1 gives none).
// From Java a count stands before the entries; to Java the length of the array is the end.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "acl/acl.h"

namespace zolt {

/// Writes the entries of all lists, list by list: at the end of a string, or into a stream, which
/// costs more to make than a short list to read.
void convert(std::vector<ACL*>& acls, std::string& out);
void convert(std::vector<ACL*>& acls, std::ostream& out);

/// Reads a stream and adds its entries to the first list of their scope, or to a new one at the
/// back. Every list in the vector is the caller's to delete, also after an exception (see
/// AclVector). What the stream lacks reads as 0.
///
/// IOException 0 "convert,790 unknown acl scope: N" for a scope that is none; IOException 0 with no
/// text for a tag that is none. The entries before it stay.
void convert(std::istream& in, std::vector<ACL*>& acls);

/// Owns the lists of a vector that convert fills.
struct AclVector {
  AclVector() = default;
  ~AclVector() {
    for (const ACL* acl : acls)
      delete acl;
  }
  AclVector(const AclVector&) = delete;
  AclVector& operator=(const AclVector&) = delete;

  std::vector<ACL*> acls;
};

}  // namespace zolt
