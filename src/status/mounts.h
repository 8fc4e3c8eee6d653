// The mount table.
#pragma once

#include <optional>
#include <string>

namespace zolt {

/// The device (first column of "/etc/mtab") of the first entry mounted at mountPoint with type
/// fsType; nothing when no entry matches or the table cannot be opened.
std::optional<std::string> mountDevice(const std::string& mountPoint, const std::string& fsType);

}  // namespace zolt
