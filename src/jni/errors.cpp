#include "jni/errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

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

// The system's text, ": " and the message. Missing files are everyday life and most texts are
// short: those take no memory.
class ErrorText {
 public:
  ErrorText(int errnum, std::string_view message) {
    const ErrnoText systems(errnum);
    const std::string_view before(systems.c_str());
    if (before.size() + 2 + message.size() < small_.size()) {
      char* end = std::ranges::copy(before, small_.data()).out;
      *end++ = ':';
      *end++ = ' ';
      *std::ranges::copy(message, end).out = '\0';
    } else {
      large_ = concat(before, ": ", message);
      text_ = large_.c_str();
    }
  }
  ErrorText(const ErrorText&) = delete;
  ErrorText& operator=(const ErrorText&) = delete;

  const char* c_str() const { return text_; }

 private:
  std::array<char, 512> small_;
  std::string large_;
  const char* text_ = small_.data();
};

}  // namespace

void handle_error(JNIEnv* env, int errnum, std::string_view message) {
  const ErrorText text(errnum, message);
  env->ExceptionClear();
  env->ThrowNew(classFor(javaExceptionFor(errnum)), text.c_str());
  ZOLT_DEBUG(text.c_str());
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
