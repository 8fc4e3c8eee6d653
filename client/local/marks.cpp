#include "marks.h"

#include <array>
#include <optional>
#include <string_view>

#include "kept.h"
#include "mark_cache.h"

namespace zolt_local {

namespace {

constexpr const char* ACCESS_ACL = "system.posix_acl_access";
constexpr const char* DEFAULT_ACL = "system.posix_acl_default";

// The names of a file's attributes, as far as they fit.
class Names {
 public:
  explicit Names(const File& file) : length_(file.listAttributes(names_.data(), names_.size())) {}

  bool areKnown() const { return length_ >= 0; }
  bool have(std::string_view wanted) const {
    const std::string_view names(names_.data(), static_cast<size_t>(length_));
    for (size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      if (std::string_view(names_.data() + at) == wanted) return true;
    }
    return false;
  }
  bool have(const Setting& setting) const { return have(setting.trusted) || have(setting.user); }

 private:
  std::array<char, 1024> names_;
  ssize_t length_;
};

Marks marksFrom(const Names& names) {
  return (names.have(ACCESS_ACL) || names.have(DEFAULT_ACL) ? HAS_ACL : 0) |
         (names.have(REPLICATION) ? MAY_KEEP_REPLICATION : 0) |
         (names.have(BGF) ? MAY_KEEP_BGF : 0);
}

// Where the names cannot be listed, the file may have any.
Marks marksWithoutNames(const File& file) {
  const auto has = [&](const char* name) { return file.getAttribute(name, nullptr, 0) >= 1; };
  return (has(ACCESS_ACL) || has(DEFAULT_ACL) ? HAS_ACL : 0) | MAY_KEEP_REPLICATION | MAY_KEEP_BGF;
}

// Nothing when they do not fit, or cannot be read.
std::optional<Marks> readMarks(const File& file) {
  const Names names(file);
  if (!names.areKnown()) return std::nullopt;
  return marksFrom(names);
}

}  // namespace

Marks marksOf(const File& file, const struct stat& st) {
  if (const auto remembered = rememberedMarks(file, st, readMarks)) return *remembered;
  const std::optional<Marks> marks = readMarks(file);
  return marks ? *marks : marksWithoutNames(file);
}

}  // namespace zolt_local
