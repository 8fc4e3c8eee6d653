// What the floors share: the strings that the VM lends, and the calls of each operation, which the
// JNI form and the bare form make alike.
#pragma once

#include <dirent.h>
#include <jni.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>

#include "zolt.h"

namespace floors {

class Chars {
 public:
  Chars(JNIEnv* env, jstring string)
      : env_(env), string_(string), chars_(env->GetStringUTFChars(string, nullptr)) {}
  ~Chars() { env_->ReleaseStringUTFChars(string_, chars_); }
  Chars(const Chars&) = delete;
  Chars& operator=(const Chars&) = delete;

  const char* get() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring string_;
  const char* chars_;
};

/// The address and the capacity of a direct buffer, as every native asks for both.
struct Memory {
  char* address = nullptr;
  size_t capacity = 0;

  Memory() = default;
  Memory(char* memory, size_t bytes) : address(memory), capacity(bytes) {}
  Memory(JNIEnv* env, jobject buffer)
      : address(static_cast<char*>(env->GetDirectBufferAddress(buffer))),
        capacity(static_cast<size_t>(env->GetDirectBufferCapacity(buffer))) {}
};

/// Throws the system's text, ": ", what stands before the path, and the path; the class is
/// NoSuchFileException for ENOENT, for all others IOException.
void raise(JNIEnv* env, int error, const char* before, const char* path);

jbyteArray bytes(JNIEnv* env, const char* from, jsize length);

// The operations without Java. Each answers a number that says what it found; minus errno when the
// first call failed.

long inode(const char* path);
bool changed(const char* path, int64_t ctimeSec);
long permission(const char* path, int mode);
long times(const char* path, int64_t mtime, int64_t atime);
long link(const char* path, char* target, size_t length);

/// `memory()` is called when the record is to be written: that is when the natives ask for it.
template <class Ask>
long fast(const char* path, int64_t ctimeSec, const Ask& memory);

long full(const char* path, bool withLease, zolt_iattr64& attr, uint32_t& blockSize,
          uint16_t& leaseLength);
void store(const zolt_iattr64& attr, char* out);
void storeFull(const zolt_iattr64& attr, uint32_t blockSize, uint16_t leaseLength, char* out);

long list(const char* path, const Memory& out);
long count(const char* path);

/// A value of at most 4096 bytes, found by a probe and a read.
long xattr(const char* path, const char* name, char* value);
long setXattr(const char* path, const char* name, const char* value, size_t length);
long lease(const char* path, char* holder, size_t size);

/// The outbound stream of the access list, and of a directory's default list; its length.
long acl(const char* path, bool isDirectory, char* out);

long blocks(const char* path, int type, uint64_t length, uint64_t blockSize, const Memory& status,
            const Memory& locations);

template <class Ask>
long fast(const char* path, int64_t ctimeSec, const Ask& memory) {
  zolt_iattr64 attr;
  unsigned int mask = 0;
  if (zolt_stat_x(path, &mask, &attr, sizeof attr) != 0) return -errno;
  if (attr.ia_ctime.seconds <= ctimeSec) return 0;
  store(attr, memory().address);
  return static_cast<long>(attr.ia_inode);
}

}  // namespace floors
