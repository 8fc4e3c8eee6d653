#include "directory.h"

#include <dirent.h>
#include <dlfcn.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "fuzz.h"

namespace zolt::fuzz {

namespace {

thread_local Directory* current = nullptr;

// The system's own, for the fuzzer itself, which reads its corpus.
template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

struct Directory::Stream {
  size_t at = 0;
  // No longer than the entry needs: a look past the name's end shows.
  std::unique_ptr<char[]> entry;
};

Directory::Directory(std::vector<DirEntry> entries, int openError)
    : entries_(std::move(entries)), openError_(openError) {
  current = this;
}

Directory::~Directory() {
  current = nullptr;
  REQUIRE(open_ == 0);
}

Directory::Stream* Directory::openStream() {
  if (openError_ != 0) {
    errno = openError_;
    return nullptr;
  }
  ++open_;
  return new Stream;
}

void* Directory::read(Stream& stream) {
  if (stream.at == entries_.size()) return nullptr;
  const DirEntry& entry = entries_[stream.at++];
  if (entry.error != 0) {
    errno = entry.error;
    return nullptr;
  }
  const size_t size = offsetof(dirent, d_name) + entry.name.size() + 1;
  stream.entry.reset(new char[size]);
  const auto length = static_cast<unsigned short>(size);
  char* bytes = stream.entry.get();
  std::memcpy(bytes + offsetof(dirent, d_ino), &entry.inode, sizeof entry.inode);
  std::memcpy(bytes + offsetof(dirent, d_off), &entry.next, sizeof entry.next);
  std::memcpy(bytes + offsetof(dirent, d_reclen), &length, sizeof length);
  std::memcpy(bytes + offsetof(dirent, d_type), &entry.type, sizeof entry.type);
  std::memcpy(bytes + offsetof(dirent, d_name), entry.name.c_str(), entry.name.size() + 1);
  if (entry.strayErrno != 0) errno = entry.strayErrno;
  return bytes;
}

void Directory::seek(Stream& stream, off_t position) const {
  stream.at = 0;
  if (position == 0) return;
  while (stream.at < entries_.size() && entries_[stream.at].next != position)
    ++stream.at;
  REQUIRE(stream.at < entries_.size());  // only to where an entry said
  ++stream.at;
}

void Directory::close(Stream* stream) {
  delete stream;
  --open_;
}

}  // namespace zolt::fuzz

using zolt::fuzz::current;
using zolt::fuzz::Directory;
using zolt::fuzz::real;

namespace {

Directory::Stream& ours(DIR* stream) {
  return *reinterpret_cast<Directory::Stream*>(stream);
}

}  // namespace

extern "C" {

DIR* opendir(const char* path) {
  if (current == nullptr) return real<DIR*(const char*)>("opendir")(path);
  return reinterpret_cast<DIR*>(current->openStream());
}

dirent* readdir(DIR* stream) {
  if (current == nullptr) return real<dirent*(DIR*)>("readdir")(stream);
  return static_cast<dirent*>(current->read(ours(stream)));
}

void seekdir(DIR* stream, long position) {
  if (current == nullptr) return real<void(DIR*, long)>("seekdir")(stream, position);
  REQUIRE(position >= 1);
  current->seek(ours(stream), position);
}

void rewinddir(DIR* stream) {
  if (current == nullptr) return real<void(DIR*)>("rewinddir")(stream);
  current->seek(ours(stream), 0);
}

int closedir(DIR* stream) {
  if (current == nullptr) return real<int(DIR*)>("closedir")(stream);
  current->close(&ours(stream));
  return 0;
}

}  // extern "C"
