// zolt.test.Failing
#include <array>
#include <bit>
#include <cstdarg>
#include <stdexcept>
#include <string>
#include <string_view>

#include "faults.h"
#include "hooked_env.h"
#include "jni/native.h"
#include "taken.h"
#include "text.h"
#include "zolt_test_Failing.h"

using namespace zolt;
using test::counted;
using test::HookedEnv;
using test::Taken;
using test::taken;

namespace {

const JNINativeInterface_* real() {
  return HookedEnv::real();
}

thread_local int callsLeft = 0;

// True on the call that shall fail, with the VM's own error pending.
bool fails(JNIEnv* env) {
  if (--callsLeft != 0) return false;
  jclass cls = real()->FindClass(env, "java/lang/OutOfMemoryError");
  real()->ThrowNew(env, cls, "injected");
  real()->DeleteLocalRef(env, cls);
  return true;
}

// The VM looks a native up when it is first called, with this environment: no call of the library.
bool isSymbol(const char* text) {
  return std::string_view(text).starts_with("Java_");
}

void failNth(HookedEnv& hook, const std::string& function, int nth) {
  callsLeft = nth;
  if (function == "CallObjectMethod") {
    hook.table.CallObjectMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list list) {
      return fails(env) ? nullptr : counted(real()->CallObjectMethodV(env, object, method, list));
    };
  } else if (function == "GetByteArrayElements") {
    hook.table.GetByteArrayElements = [](JNIEnv* env, jbyteArray array, jboolean* isCopy) {
      return fails(env) ? nullptr : real()->GetByteArrayElements(env, array, isCopy);
    };
  } else if (function == "GetMethodID") {
    hook.table.GetMethodID = [](JNIEnv* env, jclass cls, const char* name, const char* signature) {
      return fails(env) ? nullptr : real()->GetMethodID(env, cls, name, signature);
    };
  } else if (function == "GetStringUTFChars") {
    hook.table.GetStringUTFChars = [](JNIEnv* env, jstring string, jboolean* isCopy) {
      const char* text = real()->GetStringUTFChars(env, string, isCopy);
      if (text == nullptr || isSymbol(text) || !fails(env)) return text;
      real()->ReleaseStringUTFChars(env, string, text);
      return static_cast<const char*>(nullptr);
    };
  } else if (function == "NewByteArray") {
    hook.table.NewByteArray = [](JNIEnv* env, jsize length) {
      return fails(env) ? nullptr : counted(real()->NewByteArray(env, length));
    };
  } else if (function == "NewObject") {
    hook.table.NewObjectV = [](JNIEnv* env, jclass cls, jmethodID method, va_list list) {
      return fails(env) ? nullptr : counted(real()->NewObjectV(env, cls, method, list));
    };
  } else if (function == "NewStringUTF") {
    hook.table.NewStringUTF = [](JNIEnv* env, const char* text) {
      return !test::isLogLine(text) && fails(env) ? nullptr
                                                  : counted(real()->NewStringUTF(env, text));
    };
  } else if (function == "a log line's NewStringUTF") {
    hook.table.NewStringUTF = [](JNIEnv* env, const char* text) {
      return test::isLogLine(text) && fails(env) ? nullptr
                                                 : counted(real()->NewStringUTF(env, text));
    };
  } else if (function == "ThrowNew") {
    hook.table.ThrowNew = [](JNIEnv* env, jclass cls, const char* text) {
      return fails(env) ? -1 : real()->ThrowNew(env, cls, text);
    };
  } else {
    throw std::invalid_argument("no failure for " + function);
  }
}

thread_local std::string lendings;

void noteLending(const std::string& what) {
  if (!lendings.empty()) lendings += ", ";
  lendings += what + " at " + std::to_string(zolt_fault_calls("lsetxattr"));
}

void noteLendings(HookedEnv& hook) {
  lendings.clear();
  hook.table.GetByteArrayElements = [](JNIEnv* env, jbyteArray array, jboolean* isCopy) {
    noteLending("lent");
    return real()->GetByteArrayElements(env, array, isCopy);
  };
  hook.table.ReleaseByteArrayElements = [](JNIEnv* env, jbyteArray array, jbyte* bytes, jint mode) {
    noteLending("released " + std::to_string(mode));
    real()->ReleaseByteArrayElements(env, array, bytes, mode);
  };
  hook.table.ThrowNew = [](JNIEnv* env, jclass cls, const char* message) {
    noteLending("thrown");
    return real()->ThrowNew(env, cls, message);
  };
}

void run(JNIEnv* env, jobject body, jmethodID method) {
  env->CallVoidMethod(body, method);
  env->ExceptionCheck();  // what was thrown stays pending; this only tells that it was looked at
}

jmethodID runMethod(JNIEnv* env) {
  return env->GetMethodID(env->FindClass("java/lang/Runnable"), "run", "()V");
}

}  // namespace

JNIEXPORT void JNICALL Java_zolt_test_Failing_run(JNIEnv* env, jclass, jstring javaFunction,
                                                  jint nth, jobject body) try {
  const std::string function = test::text(env, javaFunction);
  jmethodID method = runMethod(env);
  taken = {};
  HookedEnv hook(env);
  test::countReferences(hook);
  failNth(hook, function, nth);
  run(env, body, method);
} catch (...) {
  raiseInJava();
}

JNIEXPORT jintArray JNICALL Java_zolt_test_Failing_count(JNIEnv* env, jclass, jobject body) {
  jmethodID method = runMethod(env);
  taken = {};
  {
    HookedEnv hook(env);
    test::countReferences(hook);
    test::countLoans(hook);
    run(env, body, method);
  }
  if (env->ExceptionCheck() != JNI_FALSE) return nullptr;
  const auto counts = std::bit_cast<std::array<jint, sizeof(Taken) / sizeof(jint)>>(taken);
  jintArray result = env->NewIntArray(counts.size());
  env->SetIntArrayRegion(result, 0, counts.size(), counts.data());
  return result;
}

JNIEXPORT jint JNICALL Java_zolt_test_Failing_heldReferences(JNIEnv*, jclass) {
  return taken.referencesLeft;
}

JNIEXPORT jstring JNICALL Java_zolt_test_Failing_lendings(JNIEnv* env, jclass, jobject body) {
  jmethodID method = runMethod(env);
  {
    HookedEnv hook(env);
    noteLendings(hook);
    run(env, body, method);
  }
  return env->ExceptionCheck() ? nullptr : env->NewStringUTF(lendings.c_str());
}
