// Floors of the listing: readdir and one copy of each entry. A listing goes on where it stopped,
// with the entry that did not fit.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

struct [[gnu::packed]] Header {
  uint64_t inode;
  uint16_t type;
  int32_t length;
};

thread_local DIR* underWay = nullptr;
thread_local const dirent64* left = nullptr;

bool isDots(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

long list(const char* path, const Memory& out) {
  struct stat st;
  stat(path, &st);
  if (underWay == nullptr) underWay = opendir(path);
  if (underWay == nullptr) return -errno;
  char* next = out.address + sizeof(int32_t);
  char* const end = out.address + out.capacity;
  int32_t count = 0;
  const dirent64* entry = left != nullptr ? left : readdir64(underWay);
  for (; entry != nullptr; entry = readdir64(underWay)) {
    if (isDots(entry->d_name)) continue;
    const size_t length = strlen(entry->d_name);
    if (length + sizeof(Header) > static_cast<size_t>(end - next)) break;
    const Header header{entry->d_ino, entry->d_type, static_cast<int32_t>(length)};
    memcpy(next, &header, sizeof header);
    memcpy(next + sizeof header, entry->d_name, length);
    next += sizeof header + length;
    ++count;
  }
  left = entry;
  if (entry == nullptr) {
    closedir(underWay);
    underWay = nullptr;
  }
  memcpy(out.address, &count, sizeof count);
  return entry != nullptr;
}

long count(const char* path) {
  struct stat st;
  stat(path, &st);
  DIR* stream = opendir(path);
  if (stream == nullptr) return -errno;
  long found = 0;
  while (const dirent64* entry = readdir64(stream)) {
    if (!isDots(entry->d_name)) ++found;
  }
  closedir(stream);
  return found;
}

}  // namespace floors

using namespace floors;

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_list(JNIEnv* env, jclass, jstring javaPath,
                                                  jobject buffer) {
  const Chars path(env, javaPath);
  const long more = list(path.get(), Memory(env, buffer));
  if (more < 0) raise(env, static_cast<int>(-more), {"failed to open directory"});
  return static_cast<jint>(more);
}

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_count(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  const long found = count(path.get());
  if (found < 0) raise(env, static_cast<int>(-found), {"failed to open directory ", path.get()});
  return static_cast<jint>(found);
}

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_getdents(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  const int fd = open(path.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  alignas(dirent64) char buffer[32768];
  int found = 0;
  while (const ssize_t bytes = getdents64(fd, buffer, sizeof buffer)) {
    for (ssize_t at = 0; at < bytes; ++found)
      at += reinterpret_cast<const dirent64*>(buffer + at)->d_reclen;
  }
  close(fd);
  return found - 2;
}
