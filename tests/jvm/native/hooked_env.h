// A JNI function table with some functions replaced, for the length of a scope.
#pragma once

#include <jni.h>

namespace zolt::test {

/// While it lives, this thread's JNI calls go through `table`, which starts as a copy of the VM's.
/// The VM tells its thread by the address of the environment, so the table is exchanged in place.
class HookedEnv {
 public:
  explicit HookedEnv(JNIEnv* env) : table(*env->functions), env_(env), real_(env->functions) {
    env_->functions = &table;
    current = this;
  }
  ~HookedEnv() {
    env_->functions = real_;
    current = nullptr;
  }
  HookedEnv(const HookedEnv&) = delete;
  HookedEnv& operator=(const HookedEnv&) = delete;

  /// The VM's own functions, for those that stand in for them.
  static const JNINativeInterface_* real() { return current->real_; }

  JNINativeInterface_ table;

 private:
  static inline thread_local HookedEnv* current = nullptr;

  JNIEnv* env_;
  const JNINativeInterface_* real_;
};

}  // namespace zolt::test
