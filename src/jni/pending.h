// Java exceptions that are pending while native code still has something to say to the VM.
#pragma once

#include <jni.h>

#include <atomic>

namespace zolt {

/// Sets a pending exception aside for the length of a scope and puts it back at its end, in place
/// of anything that became pending in between. Most JNI functions must not be called while one is
/// pending (JNI specification, "Exceptions and Error Codes").
class PendingException {
 public:
  explicit PendingException(JNIEnv* env) : PendingException(env, true) {}
  ~PendingException() {
    if (set_ == nullptr) return;
    env_->ExceptionClear();
    env_->Throw(set_);
    env_->DeleteLocalRef(set_);
  }
  PendingException(const PendingException&) = delete;
  PendingException& operator=(const PendingException&) = delete;

 protected:
  PendingException(JNIEnv* env, bool look)
      : env_(env), set_(look ? env->ExceptionOccurred() : nullptr) {
    if (set_ != nullptr) env_->ExceptionClear();
  }

  /// What became pending since stays, and what was set aside is forgotten.
  void yieldToNewer() {
    if (set_ == nullptr || !env_->ExceptionCheck()) return;
    env_->DeleteLocalRef(set_);
    set_ = nullptr;
  }

 private:
  JNIEnv* env_;
  jthrowable set_;
};

/// True once a log line has left an exception behind: the logger's, or the VM's for want of memory.
inline constinit std::atomic<bool> loggerHasRaised{false};

/// The scope for JNI calls that a native makes after its log sites: what a log call raised is set
/// aside, and gives way to what these calls raise themselves. Loggers do not throw in practice, so
/// while none ever has, this costs the test of a flag and no call into the VM.
class AfterLog : public PendingException {
 public:
  explicit AfterLog(JNIEnv* env)
      : PendingException(env, loggerHasRaised.load(std::memory_order_relaxed)) {}
  ~AfterLog() { yieldToNewer(); }
};

}  // namespace zolt
