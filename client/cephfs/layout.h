// How the data of a file is cut into objects, and in which pool they lie: the attribute
// "ceph.file.layout" of every regular file on CephFS.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "file.h"

namespace zolt_cephfs {

struct FileLayout {
  uint64_t stripeUnit = 0;   // bytes; of all three at least 1
  uint64_t stripeCount = 0;  // objects that units are laid round
  uint64_t objectSize = 0;   // bytes, a multiple of stripeUnit
  std::string pool;          // its name, or its number where the mount does not know the name
  std::string nameSpace;     // within the pool; empty as a rule

  /// The number of the object that holds a byte of the file.
  uint64_t objectAt(uint64_t offset) const;
};

/// From "stripe_unit=N stripe_count=N object_size=N pool=NAME", " pool_namespace=NAME" after it or
/// not. Nothing when the text is not that.
std::optional<FileLayout> layoutFrom(std::string_view text);

/// 0, or -1 with errno: EACCES when the caller may not read the file, EOPNOTSUPP when it does not
/// lie on CephFS, EIO for a layout that is none.
int readLayout(const File& file, FileLayout& layout);

/// The names of a file's objects, as its pool hashes them: the namespace, and the numbers of file
/// and object in hexadecimal.
class ObjectNames {
 public:
  ObjectNames(uint64_t inode, std::string_view nameSpace);

  /// Good until the next call.
  std::string_view of(uint64_t object);

 private:
  std::string name_;
  size_t prefix_;
};

}  // namespace zolt_cephfs
