// Directory streams and the mount table, interposed.
#include <dirent.h>
#include <mntent.h>
#include <sys/types.h>

#include <cstring>
#include <vector>

#include "faults.h"
#include "injector.h"
#include "walk.h"

using faults::Call;
using faults::Holding;

namespace {

thread_local const char* mountTable = nullptr;
thread_local int entryType = -1;
thread_local int strayErrno = 0;
thread_local bool numbered = false;
thread_local std::vector<off_t> positions;  // the real ones, of the entries read so far

bool isDots(const dirent& entry) {
  return strcmp(entry.d_name, ".") == 0 || strcmp(entry.d_name, "..") == 0;
}

}  // namespace

void zolt_fault_mount_table(const char* file) {
  mountTable = file;
}
void zolt_fault_entry_type(int type) {
  entryType = type;
}
void zolt_fault_numbered_entries(int on) {
  numbered = on != 0;
  positions.clear();
}
void zolt_fault_stray_errno(int error) {
  strayErrno = error;
}

extern "C" {

DIR* opendir(const char* path) {
  static auto* real = faults::next<DIR*(const char*)>("opendir");
  return faults::fails(Call::opendir) ? nullptr : faults::held(Holding::STREAM, real(path));
}

dirent* readdir(DIR* stream) {
  static auto* real = faults::next<dirent*(DIR*)>("readdir");
  if (faults::fails(Call::readdir)) return nullptr;
  dirent* entry = real(stream);
  while (numbered && entry != nullptr && isDots(*entry))
    entry = real(stream);
  if (entry == nullptr) return nullptr;
  if (numbered) {
    positions.push_back(entry->d_off);
    entry->d_off = static_cast<off_t>(positions.size());
  }
  if (entryType >= 0) entry->d_type = static_cast<unsigned char>(entryType);
  if (strayErrno != 0) errno = strayErrno;
  return entry;
}

// These two answer nothing; a failure shows in errno alone.
void seekdir(DIR* stream, long position) {
  static auto* real = faults::next<void(DIR*, long)>("seekdir");
  if (faults::fails(Call::seekdir)) return;
  if (!numbered) return real(stream, position);
  const auto read = static_cast<size_t>(position);
  real(stream, positions.at(read - 1));
  positions.resize(read);
}

void rewinddir(DIR* stream) {
  static auto* real = faults::next<void(DIR*)>("rewinddir");
  if (faults::fails(Call::rewinddir)) return;
  if (numbered) positions.clear();
  real(stream);
}

int closedir(DIR* stream) {
  static auto* real = faults::next<int(DIR*)>("closedir");
  const int result = real(stream);  // a close that fails has closed all the same
  faults::hold(Holding::STREAM, -1);
  return faults::fails(Call::closedir) ? -1 : result;
}

FILE* setmntent(const char* file, const char* mode) {
  static auto* real = faults::next<FILE*(const char*, const char*)>("setmntent");
  if (faults::fails(Call::setmntent)) return nullptr;
  const bool isTable = strcmp(file, "/etc/mtab") == 0 && strcmp(mode, "r") == 0;
  return faults::held(Holding::TABLE,
                      real(isTable && mountTable != nullptr ? mountTable : file, mode));
}

mntent* getmntent_r(FILE* table, mntent* entry, char* buffer, int size) {
  static auto* real = faults::next<mntent*(FILE*, mntent*, char*, int)>("getmntent_r");
  return faults::fails(Call::getmntent_r) ? nullptr : real(table, entry, buffer, size);
}

int endmntent(FILE* table) {
  static auto* real = faults::next<int(FILE*)>("endmntent");
  static_cast<void>(faults::fails(Call::endmntent));  // always 1 (getmntent(3))
  faults::hold(Holding::TABLE, -1);
  return real(table);
}

}  // extern "C"
