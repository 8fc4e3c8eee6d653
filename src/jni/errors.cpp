#include "jni/errors.h"

#include <cerrno>

#include "jni/errno_text.h"
#include "jni/jni_util.h"
#include "jni/logger2.h"

namespace zolt {

namespace {

jclass classFor(JavaException exception) {
  switch (exception) {
    case JavaException::RuntimeException:
      return JniUtil::RuntimeException;
    case JavaException::NoSuchFile:
      return JniUtil::NoSuchFileException;
    case JavaException::AccessDenied:
      return JniUtil::AccessDeniedException;
    case JavaException::IOException:
      break;
  }
  return JniUtil::IOException;
}

}  // namespace

void handle_error(JNIEnv* env, int errnum, std::string_view message) {
  const std::string text = concat(ErrnoText(errnum).c_str(), ": ", message);
  env->ExceptionClear();
  env->ThrowNew(classFor(javaExceptionFor(errnum)), text.c_str());
  ZOLT_DEBUG(text);
}

void handle_xattr_error(JNIEnv* env, int errnum, std::string_view operation,
                        std::string_view name) {
  if (name.empty()) {
    handle_error(env, errnum, concat(operation, " failed"));
  } else if (errnum == EEXIST) {
    handle_error(env, errnum, concat(name, " already exists"));
  } else if (errnum == ENODATA) {
    handle_error(env, errnum, concat(name, " does not exist"));
  } else {
    handle_error(env, errnum, concat(operation, " failed for ", name));
  }
}

void throw_io_exception(JNIEnv* env, const char* text) {
  env->ExceptionClear();
  env->ThrowNew(JniUtil::IOException, text);
}

}  // namespace zolt
