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
  if (path.error()) return nullptr;
  LinkTarget target;
  if (const Errno error = readTarget(path.get(), length, target)) {
    handle_error(env, error.value(), "");
    return nullptr;
  }
  return convertChar2byteArray(env, target.length, target.bytes.data());
} catch (...) {
  return raised<jbyteArray>();
}
