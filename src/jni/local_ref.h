// A local reference given back at the end of a scope: for loops, where they would pile up until the
// native returns (JNI specification, "Global and Local References").
#pragma once

#include <jni.h>

#include <utility>

namespace zolt {

template <class T>
class LocalRef {
 public:
  /// `reference` may be null.
  LocalRef(JNIEnv* env, T reference) : env_(env), reference_(reference) {}
  ~LocalRef() {
    if (reference_ != nullptr) env_->DeleteLocalRef(reference_);
  }
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;

  T get() const { return reference_; }

  /// Hands the reference over: for what a native returns.
  T release() { return std::exchange(reference_, nullptr); }

 private:
  JNIEnv* env_;
  T reference_;
};

}  // namespace zolt
