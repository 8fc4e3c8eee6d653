// A java.util.HashMap from String to byte[], filled by native code.
#pragma once

#include <jni.h>

#include "jni/local_ref.h"

namespace zolt {

/// The map keeps one local reference, however much is put into it.
class HashMap {
 public:
  /// A new, empty map; get() is null when the VM could not make it, with its exception pending.
  explicit HashMap(JNIEnv* env);

  jobject get() const { return map_.get(); }
  jobject release() { return map_.release(); }

  /// Puts a new array of the `length` bytes at `value` under `key`, in place of an earlier one.
  /// False when the VM could not, with its exception pending.
  bool put(jstring key, int length, const char* value);

  /// The same under a new string of the key's bytes.
  bool put(const char* key, int length, const char* value);

 private:
  JNIEnv* env_;
  LocalRef<jobject> map_;
};

}  // namespace zolt
