// The texts that the tests' own natives are given.
#pragma once

#include <string>

#include "jni/marshal.h"

namespace zolt::test {

inline std::string text(JNIEnv* env, jstring string) {
  std::string out;
  getString(env, string, out);
  return out;
}

inline std::string bytes(JNIEnv* env, jbyteArray array) {
  std::string out;
  getString(env, array, out);
  return out;
}

}  // namespace zolt::test
