#include "jni/native.h"

#include <cerrno>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "base/io_exception.h"
#include "base/logger2.h"
#include "jni/errors.h"
#include "jni/jni_util.h"

namespace zolt {

namespace {

void throwNew(JNIEnv* env, jclass cls, const char* text) {
  env->ExceptionClear();
  env->ThrowNew(cls, text);
}

// BufferOverflowException has no constructor that takes a text, so ThrowNew cannot make one.
void throwBufferOverflow(JNIEnv* env) {
  env->ExceptionClear();
  jmethodID constructor = env->GetMethodID(JniUtil::BufferOverflowException, "<init>", "()V");
  if (constructor == nullptr) return;
  jobject overflow = env->NewObject(JniUtil::BufferOverflowException, constructor);
  if (overflow == nullptr) return;
  env->Throw(static_cast<jthrowable>(overflow));
  env->DeleteLocalRef(overflow);
}

void translate(JNIEnv* env) {
  try {
    throw;
  } catch (const IOException& error) {
    if (error.what() == nullptr) throw;  // what cannot even be said ends in the last resort below
    handle_error(env, error);
  } catch (const std::overflow_error& error) {
    ZOLT_ERROR(error.what());
    throwBufferOverflow(env);
  } catch (const std::logic_error& error) {
    ZOLT_ERROR(error.what());
    throw_io_exception(env, error.what());
  } catch (const std::bad_alloc&) {
    ZOLT_ERROR("out of memory");
    handle_error(env, ENOMEM, "");
  } catch (const std::exception& error) {
    ZOLT_ERROR(error.what());
    throwNew(env, JniUtil::RuntimeException, error.what());
  } catch (...) {
    ZOLT_ERROR("unknown exception");
    throwNew(env, JniUtil::RuntimeException, "unknown exception");
  }
}

}  // namespace

void raiseInJava() noexcept {
  JNIEnv* env = JniUtil::currentEnv();
  try {
    translate(env);
  } catch (...) {
    // Only memory can have failed here; this last resort takes none of ours.
    throwNew(env, JniUtil::RuntimeException, "Cannot allocate memory: ");
  }
}

}  // namespace zolt
