#include "mark_cache.h"

#include <linux/magic.h>
#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <ctime>

#include "slot.h"

namespace zolt_local {

namespace {

constexpr size_t REMEMBERED = 16384;    // files at the most
constexpr time_t COARSEST_TIME = 2;     // seconds between two times that a file system tells apart
constexpr long XFS_MAGIC = 0x58465342;  // not in every linux/magic.h

// In place of a file's marks: it was met once; or it lies where changes are not stamped.
constexpr Marks MET = 8;
constexpr Marks UNSTAMPED = 16;

Version versionOf(const struct stat& st) {
  return {st.st_dev, st.st_ino, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
}

// Neighbouring inodes, as the files of a directory often are, lie in slots of their own.
Slot& slotOf(const Version& version) {
  static constinit std::array<Slot, REMEMBERED> slots;
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

// Reads the marks of an open file that has this version, and remembers them.
std::optional<Marks> learn(const File& open, const Version& version, ReadMarks read) {
  if (!stampsChanges(open)) {
    slotOf(version).keep(version, UNSTAMPED);
    return std::nullopt;
  }
  const std::optional<Marks> marks = read(open);
  if (marks) slotOf(version).keep(version, *marks);
  return marks;
}

// The same for a file by its path, as long as that leads to the version.
std::optional<Marks> learnByPath(const char* path, const Version& version, ReadMarks read) {
  const PinnedFile pinned(path);
  struct stat st;
  if (!pinned.isOpen() || pinned.file().stat(st) != 0 || versionOf(st) != version)
    return std::nullopt;
  return learn(pinned.file(), version, read);
}

}  // namespace

std::optional<Marks> rememberedMarks(const File& file, const struct stat& st, ReadMarks read) {
  const Version version = versionOf(st);
  Slot& slot = slotOf(version);
  Marks known = 0;
  const bool isMet = slot.find(version, known);
  if (isMet && (known & (MET | UNSTAMPED)) == 0) return known;
  if (st.st_ctim.tv_sec + COARSEST_TIME >= std::time(nullptr)) return std::nullopt;
  if (!isMet) {
    slot.keep(version, MET);
  } else if (known == MET) {
    const char* path = file.path();
    return path != nullptr ? learnByPath(path, version, read) : learn(file, version, read);
  }
  return std::nullopt;
}

}  // namespace zolt_local
