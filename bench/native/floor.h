// What the floors share: the strings that the VM lends, and the calls of each operation, which the
// JNI form and the bare form make alike.
#pragma once

#include <dirent.h>
#include <jni.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <initializer_list>

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

/// The bytes of a Java array; nothing is copied back.
class Bytes {
 public:
  Bytes(JNIEnv* env, jbyteArray array)
      : env_(env),
        array_(array),
        bytes_(env->GetByteArrayElements(array, nullptr)),
        size_(static_cast<size_t>(env->GetArrayLength(array))) {}
  ~Bytes() { env_->ReleaseByteArrayElements(array_, bytes_, JNI_ABORT); }
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;

  const char* data() const { return reinterpret_cast<const char*>(bytes_); }
  size_t size() const { return size_; }

 private:
  JNIEnv* env_;
  jbyteArray array_;
  jbyte* bytes_;
  size_t size_;
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

using Pieces = std::initializer_list<const char*>;

/// Throws the system's text, ": " and the pieces; the class is NoSuchFileException for ENOENT,
/// RuntimeException for ENOMEM, for all others IOException.
void raise(JNIEnv* env, int error, Pieces pieces);

/// Throws an IOException with the pieces alone.
void raiseText(JNIEnv* env, Pieces pieces);

/// What has become of an operation on an attribute.
void raiseXattr(JNIEnv* env, int error, const char* operation, const char* name);

jbyteArray bytes(JNIEnv* env, const char* from, jsize length);

// The operations without Java. Each answers a number that says what it found; minus errno when the
// first call failed.

long inode(const char* path);
long changed(const char* path, int64_t ctimeSec);
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

/// A value of at most 4096 bytes, found by a probe and a read; its length.
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
