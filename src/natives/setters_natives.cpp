// ZOLTNative: setPermission, setTimes.
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/setters.h"

using namespace zolt;

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setPermission(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jshort permission) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return JNI_FALSE;
  const int error = setPermission(path.get(), permission);
  if (error != 0) handle_error(env, error, path.get());
  return error == 0 ? JNI_TRUE : JNI_FALSE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setTimes(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jlong mtime, jlong atime) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return JNI_FALSE;
  const int error = setTimes(path.get(), mtime, atime);
  if (error != 0) handle_error(env, error, path.get());
  return error == 0 ? JNI_TRUE : JNI_FALSE;
} catch (...) {
  return raised<jboolean>();
}
