#include "status/mounts.h"

#include <mntent.h>

#include <array>
#include <climits>
#include <cstdio>
#include <memory>

namespace zolt {

namespace {

struct CloseTable {
  void operator()(FILE* table) const { endmntent(table); }
};

// The longest device and directory, each byte of them escaped as \nnn, and room for the options:
// what getmntent_r(3) cuts from a longer line is only options.
constexpr size_t LINE_MAX_BYTES = 4UL * PATH_MAX * 2 + 4096;

}  // namespace

std::optional<std::string> mountDevice(const std::string& mountPoint, const std::string& fsType) {
  const std::unique_ptr<FILE, CloseTable> table(setmntent("/etc/mtab", "r"));
  if (table == nullptr) return std::nullopt;

  std::array<char, LINE_MAX_BYTES> line;
  mntent storage{};
  while (const mntent* entry =
             getmntent_r(table.get(), &storage, line.data(), static_cast<int>(line.size()))) {
    if (fsType == entry->mnt_type && mountPoint == entry->mnt_dir) return entry->mnt_fsname;
  }
  return std::nullopt;
}

}  // namespace zolt
