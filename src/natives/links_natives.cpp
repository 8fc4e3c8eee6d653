// ZOLTNative: getLinkTargetNative.
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/links.h"

using namespace zolt;

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getLinkTargetNative(JNIEnv* env,
                                                                           jclass /*cls*/,
                                                                           jstring javaPath,
                                                                           jint length) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return nullptr;
  TargetBuffer target;
  const int count = readTarget(path.get(), length, target);
  if (count < 0) {
    handle_error(env, -count, "");
    return nullptr;
  }
  return convertChar2byteArray(env, count, target.data());
} catch (...) {
  return raised<jbyteArray>();
}
