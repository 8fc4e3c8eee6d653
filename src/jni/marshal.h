// Java strings, byte arrays and direct buffers to C++ and back.
//
// Which bytes a string is: a Java string crosses as modified UTF-8, just as the VM gives it (JNI
// specification, "Modified UTF-8 Strings"): U+0000 is the two bytes C0 80, and a character beyond
// U+FFFF is two three-byte surrogates, not the four bytes of UTF-8. A byte array crosses exactly.
#pragma once

#include <jni.h>

#include <span>
#include <sstream>
#include <string>

#include "base/errno_text.h"

namespace zolt {

/// The bytes of a Java string, terminated, as the VM lends them for the length of a scope: for the
/// natives that are too quick for a copy of their own.
class StringChars {
 public:
  StringChars(JNIEnv* env, jstring string);
  ~StringChars() {
    if (chars_ != nullptr) env_->ReleaseStringUTFChars(string_, chars_);
  }
  StringChars(const StringChars&) = delete;
  StringChars& operator=(const StringChars&) = delete;

  /// EINVAL for a null string, with nothing pending; ENOMEM when the VM has no memory for the
  /// characters, with the RuntimeException of handle_error(ENOMEM, "") pending.
  Errno error() const { return error_; }
  /// Null only after an error.
  const char* get() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring string_;
  const char* chars_ = nullptr;
  Errno error_;
};

/// Copies a Java string. 0, or the value of the same errors.
int getString(JNIEnv* env, jstring javaString, std::string& out);

/// Copies a Java byte array, embedded zeros included. The same results.
int getString(JNIEnv* env, jbyteArray javaBytes, std::string& out);

/// The bytes of a Java byte array, pinned or copied by the VM for the length of a scope and
/// released without copying back (JNI_ABORT), since they are only read. data() is null when the VM
/// had no memory for them, with an OutOfMemoryError pending.
class ByteArrayElements {
 public:
  ByteArrayElements(JNIEnv* env, jbyteArray array);
  ~ByteArrayElements() {
    if (bytes_ != nullptr) env_->ReleaseByteArrayElements(array_, bytes_, JNI_ABORT);
  }
  ByteArrayElements(const ByteArrayElements&) = delete;
  ByteArrayElements& operator=(const ByteArrayElements&) = delete;

  const char* data() const { return reinterpret_cast<const char*>(bytes_); }
  size_t size() const { return size_; }

 private:
  JNIEnv* env_;
  jbyteArray array_;
  jbyte* bytes_ = nullptr;
  size_t size_ = 0;
};

/// A new Java byte array of `length` bytes; null with an OutOfMemoryError pending.
jbyteArray convertChar2byteArray(JNIEnv* env, int length, const char* bytes);

/// `out` becomes a new Java byte array with all that was written to the stream; null with an
/// OutOfMemoryError pending. std::bad_alloc for a stream that could not take all of it.
void ostringstreamToByteArray(JNIEnv* env, std::ostringstream& stream, jbyteArray& out);

/// A new Java string of any bytes (toModifiedUtf8); null with an OutOfMemoryError pending.
jstring newString(JNIEnv* env, const char* bytes);
inline jstring newString(JNIEnv* env, const std::string& bytes) {
  return newString(env, bytes.c_str());
}

/// An element of a String[], a new local reference; null for an element that is null.
jstring stringAt(JNIEnv* env, jobjectArray strings, jsize index);

/// A new Java int array; null with an OutOfMemoryError pending.
jintArray newIntArray(JNIEnv* env, std::span<const int> numbers);

/// The memory of a direct buffer that may be written: null and 0 for null, for a buffer that is not
/// direct, and for a read-only one, whose memory may be mapped so that a write ends the process.
struct DirectBuffer {
  char* address = nullptr;
  unsigned long capacity = 0;  // in bytes
};
DirectBuffer directBuffer(JNIEnv* env, jobject buffer);

/// Finds out, at load, by which class the VM's read-only direct buffers are known. In a VM that has
/// no such class they are not told apart.
void rememberReadOnlyBuffers(JNIEnv* env);

}  // namespace zolt
