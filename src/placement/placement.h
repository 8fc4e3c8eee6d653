// Replica count and block group factor of a file, by path.
//
// A failure is logged at error and answered with the same text and errno.
#pragma once

#include <string>

#include "base/io_exception.h"

namespace zolt {

/// Sets how many copies of its data the file is to have; with `restripe` its data follows at once.
/// A restripe that fails leaves the count changed.
Failure changeReplication(const std::string& path, short replication, bool restripe);

inline constexpr int LARGEST_BGF = 1024;

/// Sets the block group factor, from 1 to LARGEST_BGF: EINVAL otherwise.
Failure changeBGF(const std::string& path, int bgf);

}  // namespace zolt
