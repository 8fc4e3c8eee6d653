#include "native.h"

#include <new>
#include <stdexcept>

namespace zolt::hdfs {

namespace {

void throwNew(JNIEnv* env, const char* className, const char* text) {
  env->ExceptionClear();
  jclass cls = env->FindClass(className);
  if (cls == nullptr) return;
  env->ThrowNew(cls, text);
  env->DeleteLocalRef(cls);
}

}  // namespace

std::string bytesOf(JNIEnv* env, jbyteArray array) {
  if (array == nullptr) throw std::invalid_argument("null");
  std::string bytes(static_cast<size_t>(env->GetArrayLength(array)), '\0');
  env->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                          reinterpret_cast<jbyte*>(bytes.data()));
  if (bytes.find('\0') != std::string::npos) throw std::invalid_argument("a zero byte in a name");
  return bytes;
}

void raiseInJava(JNIEnv* env) noexcept {
  try {
    throw;
  } catch (const std::invalid_argument& error) {
    throwNew(env, "java/lang/IllegalArgumentException", error.what());
  } catch (const std::bad_alloc&) {
    throwNew(env, "java/lang/OutOfMemoryError", "in a native method");
  } catch (const std::exception& error) {
    throwNew(env, "java/lang/RuntimeException", error.what());
  } catch (...) {
    throwNew(env, "java/lang/RuntimeException", "unknown exception");
  }
}

}  // namespace zolt::hdfs
