#include "attributes.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "attribute_record.h"
#include "layout.h"
#include "map_keeper.h"

namespace zolt_cephfs {

namespace {

bool isAcl(std::string_view name) {
  return name == "system.posix_acl_access" || name == "system.posix_acl_default";
}

// Where there are more names than fit, each of the two is asked for.
bool hasAcl(const File& file) {
  std::array<char, 1024> names{};
  const ssize_t length = file.listAttributes(names.data(), names.size());
  if (length < 0) {
    return file.getAttribute("system.posix_acl_access", nullptr, 0) >= 1 ||
           file.getAttribute("system.posix_acl_default", nullptr, 0) >= 1;
  }
  std::string_view rest(names.data(), static_cast<size_t>(length));
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\0'), rest.size());
    if (isAcl(rest.substr(0, end))) return true;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

uint8_t copiesOf(const File& file) {
  FileLayout layout;
  if (readLayout(file, layout) != 0) return 1;
  const auto map = theKeeper().map();
  const Pool* pool = map ? map->pool(layout.pool) : nullptr;
  return pool != nullptr ? pool->copies() : uint8_t{1};
}

}  // namespace

int readAttributes(const File& file, zolt_iattr64& out) {
  struct stat st;
  if (file.stat(st) != 0) return -1;
  out = zolt_client::attributesFrom(st);
  out.ia_replication = S_ISREG(st.st_mode) ? copiesOf(file) : uint8_t{1};
  out.ia_blocksize = static_cast<int32_t>(std::clamp<blksize_t>(st.st_blksize, 1, 1 << 30));
  out.ia_flags = hasAcl(file) ? ZOLT_IAFLAG_ACL : 0;
  return 0;
}

}  // namespace zolt_cephfs
