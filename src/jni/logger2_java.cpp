// The bridge from logger2 to the slf4j logger in ZOLTNative.LOG.

#include "base/logger2.h"
#include "jni/jni_util.h"
#include "jni/pending.h"

namespace zolt::logger2 {

namespace {

jmethodID methodFor(LOG_LEVEL level) {
  switch (level) {
    case LOG_TRACE:
      return JniUtil::Log_trace;
    case LOG_DEBUG:
      return JniUtil::Log_debug;
    case LOG_INFO:
      return JniUtil::Log_info;
    case LOG_WARN:
      return JniUtil::Log_warn;
    case LOG_ERROR:
      return JniUtil::Log_error;
  }
  return nullptr;
}

}  // namespace

void log(const std::string& text, LOG_LEVEL level) {
  if (JniUtil::ZOLTNative_LOG_jobj == nullptr) return;
  JNIEnv* env = JniUtil::currentEnv();
  if (env == nullptr) return;  // a thread that the VM does not know has no logger

  const ErrnoKeeper keeper;
  const PendingException aside(env);
  jstring line = env->NewStringUTF(text.c_str());
  if (line == nullptr) {
    loggerHasRaised.store(true, std::memory_order_relaxed);
    return;
  }
  if (jmethodID method = methodFor(level)) {
    env->CallVoidMethod(JniUtil::ZOLTNative_LOG_jobj, method, line);
    // Asking is also what tells -Xcheck:jni that this call's outcome was looked at.
    if (env->ExceptionCheck()) loggerHasRaised.store(true, std::memory_order_relaxed);
  }
  env->DeleteLocalRef(line);
}

}  // namespace zolt::logger2
