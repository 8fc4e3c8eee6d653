#include "jni/errors.h"

#include <array>
#include <cerrno>
#include <string>

#include "base/errno_text.h"
#include "base/logger2.h"
#include "jni/jni_util.h"

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
  ErrorText(int errnum, MessagePieces message) {
    const ErrnoText systems(errnum);
    const std::string_view before(systems.c_str());
    size_t size = before.size() + SEPARATOR.size();
    for (const std::string_view piece : message)
      size += piece.size();
    if (size >= small_.size()) {
      large_.resize(size);
      text_ = large_.data();
    }
    end_ = text_;
    append(before);
    append(SEPARATOR);
    for (const std::string_view piece : message)
      append(piece);
    *end_ = '\0';
  }
  ErrorText(const ErrorText&) = delete;
  ErrorText& operator=(const ErrorText&) = delete;

  const char* c_str() const { return text_; }

 private:
  static constexpr std::string_view SEPARATOR = ": ";

  void append(std::string_view piece) { end_ += piece.copy(end_, piece.size()); }

  std::array<char, 512> small_;
  std::string large_;
  char* text_ = small_.data();
  char* end_;
};

}  // namespace

void handle_error(JNIEnv* env, int errnum, MessagePieces message) {
  const ErrorText text(errnum, message);
  env->ExceptionClear();
  env->ThrowNew(classFor(javaExceptionFor(errnum)), text.c_str());
  ZOLT_DEBUG(text.c_str());
}

void handle_xattr_error(JNIEnv* env, int errnum, std::string_view operation,
                        std::string_view name) {
  if (name.empty()) {
    handle_error(env, errnum, {operation, " failed"});
  } else if (errnum == EEXIST) {
    handle_error(env, errnum, {name, " already exists"});
  } else if (errnum == ENODATA) {
    handle_error(env, errnum, {name, " does not exist"});
  } else {
    handle_error(env, errnum, {operation, " failed for ", name});
  }
}

void throw_io_exception(JNIEnv* env, const char* text) {
  env->ExceptionClear();
  env->ThrowNew(JniUtil::IOException, text);
}

}  // namespace zolt
