// The boundary of this library's natives, and what they share. It is that of the library of the
// natives (jni/native.h): a function-try-block around each, and no C++ exception reaches Java. A
// failed system call is no exception here: the answer is -errno, since its number decides what the
// caller of a request is told.
#pragma once

#include <jni.h>

#include <cerrno>
#include <string>
#include <vector>

#include "zolt_hdfs_namespace_NativeFiles.h"

namespace zolt::hdfs {

/// The answer of a system call: what it answered, or -errno.
template <class Result>
jint answer(Result result) {
  return result >= 0 ? static_cast<jint>(result) : -(errno != 0 ? errno : EIO);
}

/// The bytes of a path or name; std::invalid_argument for null and for an embedded zero byte,
/// behind which the kernel would not look.
std::string bytesOf(JNIEnv* env, jbyteArray array);

/// Turns the C++ exception in flight into the pending Java exception: IllegalArgumentException
/// for a null argument too, OutOfMemoryError, RuntimeException.
[[gnu::cold]] void raiseInJava(JNIEnv* env) noexcept;

template <class Result>
[[gnu::cold]] Result raised(JNIEnv* env, Result neutral) noexcept {
  raiseInJava(env);
  return neutral;
}

}  // namespace zolt::hdfs
