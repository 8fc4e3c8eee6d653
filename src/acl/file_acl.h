// The access control lists of a file: read, replaced, merged, reduced. Specifications and results
// are byte streams (acl_stream.h); permission checks are those of the thread's identity.
//
// What the file system refuses is answered. A specification that says nothing, memory, and a libacl
// that is not bound (also where there would be nothing to do) end in an IOException that is thrown.
#pragma once

#include <istream>
#include <string>

#include "base/io_exception.h"

namespace zolt {

/// The entries of the access list, then, for a directory, of the default list. Answers every
/// IOException.
Failure aclStatus(const std::string& path, bool isDirectory, std::string& bytes);

enum class AclChange {
  SET,     // the entries given become the list; a missing base entry stays as it is
  MODIFY,  // its entries are added to the list, or replace those of the same key
  REMOVE,  // the entries of its keys leave the list, which is stored as it then is
};

/// Changes the list of each scope that the entries given have, in the order in which the scopes
/// appear. A failure ends it: what was stored before stays stored. A specification that cannot be
/// read, or a list that would be invalid, stores nothing.
Failure changeAcl(const std::string& path, std::istream& spec, AclChange change);

/// Removes the default list of a directory; of anything else, nothing.
Failure removeDefaultAcl(const std::string& path, bool isDirectory);

/// Reduces the access list to its base entries, then removes the default list of a directory.
Failure removeAcl(const std::string& path, bool isDirectory);

}  // namespace zolt
