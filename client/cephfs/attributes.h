// The attribute record of a file on CephFS.
#pragma once

#include "file.h"
#include "zolt.h"

namespace zolt_cephfs {

/// Fills the record from the file's status, its ACL attributes and its pool. 0, or -1 with errno
/// when there is no status.
///
/// What cannot be read hides no file: where the layout is closed to the caller or the pool is not
/// known the number of copies is 1.
int readAttributes(const File& file, zolt_iattr64& out);

}  // namespace zolt_cephfs
