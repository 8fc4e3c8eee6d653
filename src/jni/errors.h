// From errno to a pending Java exception: the one table, and the two ways to report.
#pragma once

#include <jni.h>

#include <cerrno>
#include <initializer_list>
#include <string_view>

#include "base/io_exception.h"

namespace zolt {

enum class JavaException { RuntimeException, IOException, NoSuchFile, AccessDenied };

/// The Java class that stands for an errno value.
constexpr JavaException javaExceptionFor(int errnum) {
  switch (errnum) {
    case EPERM:
    case EACCES:
      return JavaException::AccessDenied;
    case ENOENT:
      return JavaException::NoSuchFile;
    case ENOMEM:
      return JavaException::RuntimeException;
    default:
      return JavaException::IOException;
  }
}

/// A message in pieces, which are joined as they are.
using MessagePieces = std::initializer_list<std::string_view>;

/// Leaves a Java exception pending, in place of any earlier one: class by errnum, text the system's
/// for errnum + ": " + message (which may be empty). Also logged at debug. The caller then returns
/// its neutral value.
void handle_error(JNIEnv* env, int errnum, MessagePieces message);
inline void handle_error(JNIEnv* env, int errnum, std::string_view message) {
  handle_error(env, errnum, {message});
}

/// handle_error with what the library's own exception says.
inline void handle_error(JNIEnv* env, const IOException& error) {
  handle_error(env, error.code(), error.what());
}

/// handle_error with the message of a failed extended-attribute operation; `name` is the
/// attribute's, or empty where there is none to name.
void handle_xattr_error(JNIEnv* env, int errnum, std::string_view operation, std::string_view name);

/// Leaves java.io.IOException with exactly this text pending, in place of any earlier one.
void throw_io_exception(JNIEnv* env, const char* text);

}  // namespace zolt
