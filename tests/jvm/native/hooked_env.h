// A JNI function table with some functions replaced, for the length of a scope.
#pragma once

#include <jni.h>

#include <string>

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

  const JNINativeInterface_* real() const { return real_; }

  /// The function of that name answers null, with an OutOfMemoryError pending, as in a VM that has
  /// no memory left.
  void fail(const std::string& function);

  static inline thread_local HookedEnv* current = nullptr;

  JNINativeInterface_ table;

 private:
  JNIEnv* env_;
  const JNINativeInterface_* real_;
};

}  // namespace zolt::test
