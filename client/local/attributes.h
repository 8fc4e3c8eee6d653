// The attribute record of a local file.
#pragma once

#include "kept.h"
#include "zolt.h"

namespace zolt_local {

/// The file system's block size for the file, in bytes: from 1 to LARGEST_BLOCK.
int32_t blockSizeOf(const struct stat& st, const Cluster& cluster);

/// Fills the record from the status of the file, its ACL attributes and what the client keeps.
void storeAttributes(const File& file, const struct stat& st, zolt_iattr64* out);

}  // namespace zolt_local
