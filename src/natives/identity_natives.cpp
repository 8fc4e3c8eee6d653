// ZOLTNative: getUid, getGid, getUser, getGroup, setFsUid(String), setFsUid(long).
#include "base/io_exception.h"
#include "identity/handles.h"
#include "identity/names.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"

using namespace zolt;

// Java has no unsigned int: an id crosses as the int of the same 32 bits, so that NO_ID is -1.

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getUid(
    JNIEnv* env, jclass /*cls*/, jstring javaUser) try {
  std::string user;
  if (getString(env, javaUser, user) != 0) return -1;
  uint32_t uid = NO_ID;
  uint32_t gid = NO_ID;
  if (const Failure failure = username_to_uidgid(user, uid, gid)) {
    handle_error(env, *failure);
    return -1;
  }
  return static_cast<jint>(uid);
} catch (...) {
  return raised<jint>(-1);
}

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getGid(
    JNIEnv* env, jclass /*cls*/, jstring javaGroup) try {
  std::string group;
  if (getString(env, javaGroup, group) != 0) return -1;
  uint32_t gid = NO_ID;
  if (const Failure failure = grpname_to_gid(group, gid)) {
    handle_error(env, *failure);
    return -1;
  }
  return static_cast<jint>(gid);
} catch (...) {
  return raised<jint>(-1);
}

JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getUser(
    JNIEnv* env, jclass /*cls*/, jint uid) try {
  std::string name;
  if (const Failure failure = uid_to_usrname(static_cast<uint32_t>(uid), name)) {
    handle_error(env, *failure);
    return nullptr;
  }
  return newString(env, name);
} catch (...) {
  return raised<jstring>();
}

JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getGroup(
    JNIEnv* env, jclass /*cls*/, jint gid) try {
  std::string name;
  if (const Failure failure = gid_to_grpname(static_cast<uint32_t>(gid), name)) {
    handle_error(env, *failure);
    return nullptr;
  }
  return newString(env, name);
} catch (...) {
  return raised<jstring>();
}

// Both ends of a switch report the library's own text alone, and always as java.io.IOException.

JNIEXPORT jlong JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFsUid__Ljava_lang_String_2(
    JNIEnv* env, jclass /*cls*/, jstring javaUser) try {
  std::string user;
  if (getString(env, javaUser, user) != 0) return 0;
  const jlong handle = beginSwitch(user);
  if (env->ExceptionCheck() == JNI_FALSE) return handle;
  // With an exception of the logger's pending, Java never sees the handle: the switch ends here.
  endSwitch(handle).orThrow();
  return 0;
} catch (const IOException& error) {
  throw_io_exception(env, error.what());
  return 0;
} catch (...) {
  return raised<jlong>();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFsUid__J(
    JNIEnv* env, jclass /*cls*/, jlong handle) try {
  if (handle == 0) return;
  if (const Failure failure = endSwitch(handle)) throw_io_exception(env, failure->what());
} catch (const IOException& error) {
  throw_io_exception(env, error.what());
} catch (...) {
  raiseInJava();
}
