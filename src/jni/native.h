// The native boundary. Every exported native has this shape:
//
//     JNIEXPORT jint JNICALL Java_..._count(JNIEnv* env, jclass, jstring javaPath) try {
//       std::string path;
//       if (getString(env, javaPath, path) != 0) return 0;
//       return countEntries(path);
//     } catch (...) {
//       return zolt::raised<jint>();
//     }
//
// The function-try-block costs nothing while no exception flies, and unlike a lambda around the
// body it leaves __func__ the exported name that log lines must show.
#pragma once

#include <jni.h>

#include "org_apache_hadoop_hdfs_server_namenode_ZOLTNative.h"

namespace zolt {

/// Turns the C++ exception in flight into the pending Java exception; allowed only in a handler.
///   IOException            handle_error(code, text)
///   std::overflow_error    java.nio.BufferOverflowException (which carries no text)
///   std::logic_error       java.io.IOException with the text
///   std::bad_alloc         handle_error(12, "")
///   any other              java.lang.RuntimeException with the text
/// All but the library's own IOException are also logged at error.
[[gnu::cold]] void raiseInJava() noexcept;

/// The handler of every native: raises the Java exception and answers the native's neutral value.
template <class Result>
[[gnu::cold]] Result raised(Result neutral = {}) noexcept {
  raiseInJava();
  return neutral;
}

}  // namespace zolt
