// ZOLTNative: getDirentCountNative, getDirentsNative.
#include "dirents/listing.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"

using namespace zolt;

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getDirentCountNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return 0;
  int count = 0;
  if (const Failure failure = getDirentCount(path, count)) handle_error(env, *failure);
  return count;
} catch (...) {
  return raised<jint>();
}

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getDirentsNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jobject javaBuffer, jboolean dirOnly,
    jboolean close) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return 0;
  if (close != JNI_FALSE) {
    closeDirents(path);
    return 0;
  }
  const DirectBuffer memory = directBuffer(env, javaBuffer);
  Buffer<char> out;
  out.setBuffer(memory.address, memory.capacity);
  bool more = false;
  if (const Failure failure = getDirents(path, out, dirOnly != JNI_FALSE, more)) {
    handle_error(env, *failure);
  }
  return more ? 1 : 0;
} catch (...) {
  return raised<jint>();
}
