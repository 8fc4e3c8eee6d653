#include "hooked_env.h"

#include <stdexcept>

namespace zolt::test {

namespace {

void outOfMemory(JNIEnv* env) {
  const JNINativeInterface_* real = HookedEnv::current->real();
  jclass cls = real->FindClass(env, "java/lang/OutOfMemoryError");
  real->ThrowNew(env, cls, "injected");
  real->DeleteLocalRef(env, cls);
}

}  // namespace

void HookedEnv::fail(const std::string& function) {
  if (function == "NewByteArray") {
    table.NewByteArray = [](JNIEnv* env, jsize) -> jbyteArray {
      outOfMemory(env);
      return nullptr;
    };
  } else if (function == "NewStringUTF") {
    table.NewStringUTF = [](JNIEnv* env, const char*) -> jstring {
      outOfMemory(env);
      return nullptr;
    };
  } else if (function == "GetStringUTFChars") {
    table.GetStringUTFChars = [](JNIEnv* env, jstring, jboolean*) -> const char* {
      outOfMemory(env);
      return nullptr;
    };
  } else if (function == "GetByteArrayElements") {
    table.GetByteArrayElements = [](JNIEnv* env, jbyteArray, jboolean*) -> jbyte* {
      outOfMemory(env);
      return nullptr;
    };
  } else if (function == "NewObject") {
    table.NewObjectV = [](JNIEnv* env, jclass, jmethodID, va_list) -> jobject {
      outOfMemory(env);
      return nullptr;
    };
  } else if (function == "ThrowNew") {
    table.ThrowNew = [](JNIEnv* env, jclass, const char*) -> jint {
      outOfMemory(env);
      return -1;
    };
  } else {
    throw std::invalid_argument("no failure for " + function);
  }
}

}  // namespace zolt::test
