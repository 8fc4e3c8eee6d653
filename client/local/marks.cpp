#include "marks.h"

#include <linux/magic.h>
#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string_view>

#include "kept.h"
#include "slot.h"

namespace zolt_local {

namespace {

constexpr long XFS_MAGIC = 0x58465342;  // not in every linux/magic.h
constexpr const char* ACCESS_ACL = "system.posix_acl_access";
constexpr const char* DEFAULT_ACL = "system.posix_acl_default";

Version versionOf(const struct stat& st) {
  return {st.st_dev, st.st_ino, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
}

// Neighbouring inodes, as the files of a directory often are, lie in slots of their own.
Slot& slotOf(const Version& version) {
  static constinit std::array<Slot, 16384> slots;
  return slots[(version.inode ^ version.device * 0x9E3779B97F4A7C15 >> 48) % slots.size()];
}

// tmpfs stamps a changed attribute since Linux 6.1.
bool isLinux61() {
  utsname system{};
  unsigned major = 0;
  unsigned minor = 0;
  // NOLINTNEXTLINE(cert-err34-c): numbers of a kernel's release
  if (uname(&system) != 0 || std::sscanf(system.release, "%u.%u", &major, &minor) != 2)
    return false;
  return major > 6 || (major == 6 && minor >= 1);
}

bool stampsChanges(const File& file) {
  switch (file.fileSystemType()) {
    case EXT4_SUPER_MAGIC:  // and ext2, ext3
    case XFS_MAGIC:
    case BTRFS_SUPER_MAGIC:
      return true;
    case TMPFS_MAGIC: {
      static const bool recent = isLinux61();
      return recent;
    }
    default:
      return false;
  }
}

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

// In place of a file's marks: it was met once; or it lies where changes are not stamped.
constexpr Marks MET = 8;
constexpr Marks UNSTAMPED = 16;

// Reads the marks of an open file that has this version, and remembers them.
std::optional<Marks> learn(const File& open, const Version& version) {
  if (!stampsChanges(open)) {
    slotOf(version).keep(version, UNSTAMPED);
    return std::nullopt;
  }
  const std::optional<Marks> marks = readMarks(open);
  if (marks) slotOf(version).keep(version, *marks);
  return marks;
}

// The same for a file by its path, as long as that leads to the version.
std::optional<Marks> learnByPath(const char* path, const Version& version) {
  const PinnedFile pinned(path);
  struct stat st;
  if (!pinned.isOpen() || pinned.file().stat(st) != 0 || versionOf(st) != version)
    return std::nullopt;
  return learn(pinned.file(), version);
}

}  // namespace

Marks marksOf(const File& file, const struct stat& st) {
  const Version version = versionOf(st);
  Slot& slot = slotOf(version);
  Marks known = 0;
  const bool isMet = slot.find(version, known);
  if (isMet && (known & (MET | UNSTAMPED)) == 0) return known;

  // Times come in units of up to two seconds.
  if (st.st_ctim.tv_sec + 2 < std::time(nullptr)) {
    if (!isMet) {
      slot.keep(version, MET);
    } else if (known == MET) {
      const char* path = file.path();
      const auto learned = path != nullptr ? learnByPath(path, version) : learn(file, version);
      if (learned) return *learned;
    }
  }
  const std::optional<Marks> marks = readMarks(file);
  return marks ? *marks : marksWithoutNames(file);
}

}  // namespace zolt_local
