// ZOLTNative: setPermission, setTimes.
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/setters.h"

using namespace zolt;

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setPermission(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jshort permission) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return JNI_FALSE;
  const int error = setPermission(path, permission);
  if (error != 0) handle_error(env, error, path);
  return error == 0 ? JNI_TRUE : JNI_FALSE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setTimes(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jlong mtime, jlong atime) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return JNI_FALSE;
  const int error = setTimes(path, mtime, atime);
  if (error != 0) handle_error(env, error, path);
  return error == 0 ? JNI_TRUE : JNI_FALSE;
} catch (...) {
  return raised<jboolean>();
}
