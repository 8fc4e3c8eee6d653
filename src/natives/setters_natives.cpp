// ZOLTNative: setPermission, setTimes.
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/setters.h"

using namespace zolt;

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setPermission(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jshort permission) try {
  const StringChars path(env, javaPath);
  if (path.error()) return JNI_FALSE;
  const Errno error = setPermission(path.get(), permission);
  if (error) handle_error(env, error.value(), path.get());
  return error ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setTimes(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jlong mtime, jlong atime) try {
  const StringChars path(env, javaPath);
  if (path.error()) return JNI_FALSE;
  const Errno error = setTimes(path.get(), mtime, atime);
  if (error) handle_error(env, error.value(), path.get());
  return error ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}
