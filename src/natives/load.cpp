// JNI_OnLoad: what happens once, when System.load brings the library in.
#include <jni.h>

#include "acl/acl_util.h"
#include "base/logger2.h"
#include "jni/jni_util.h"
#include "jni/marshal.h"

namespace zolt {

namespace {

// The native threshold for what the Java logger lets through. Warn is asked before info: a logger
// that passes info passes warn too, so at INFO the answer is 3 and the library's info lines need a
// logger at DEBUG or TRACE. Without a logger, or with one that throws, nothing is logged.
int levelOfJavaLogger(JNIEnv* env) {
  if (JniUtil::ZOLTNative_LOG_jobj == nullptr) return LOG_OFF;
  const struct {
    jmethodID isEnabled;
    int level;
  } questions[] = {
      {JniUtil::Log_isTraceEnabled, LOG_TRACE}, {JniUtil::Log_isDebugEnabled, LOG_DEBUG},
      {JniUtil::Log_isWarnEnabled, LOG_WARN},   {JniUtil::Log_isInfoEnabled, LOG_INFO},
      {JniUtil::Log_isErrorEnabled, LOG_ERROR},
  };
  for (const auto& question : questions) {
    const jboolean yes = env->CallBooleanMethod(JniUtil::ZOLTNative_LOG_jobj, question.isEnabled);
    if (env->ExceptionCheck()) return LOG_OFF;
    if (yes != JNI_FALSE) return question.level;
  }
  return LOG_OFF;
}

// What else fails than Java is memory, and perhaps before the cache had a class to throw.
void raiseOutOfMemory(JNIEnv* env) noexcept {
  env->ExceptionClear();
  if (jclass error = env->FindClass("java/lang/OutOfMemoryError")) {
    env->ThrowNew(error, "while loading libzolthadoop");
  }
}

}  // namespace
}  // namespace zolt

/// Always answers JNI 1.6. A failed initialisation leaves its Java error pending instead, and that
/// is what System.load throws.
JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) try {
  using namespace zolt;
  JNIEnv* env = nullptr;
  vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION);
  JniUtil::init(env);
  logger2::currentLevel = levelOfJavaLogger(env);
  ZOLT_DEBUG("libzolthadoop initializing");
  ACLUtil::init();
  rememberReadOnlyBuffers(env);
  return JNI_VERSION;
} catch (...) {
  JNIEnv* env = nullptr;
  vm->GetEnv(reinterpret_cast<void**>(&env), zolt::JNI_VERSION);
  zolt::raiseOutOfMemory(env);
  return zolt::JNI_VERSION;
}
