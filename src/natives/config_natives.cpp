// ZOLTNative: setDefaultBlockSizeReplication, setFSConfig, getFsName.
#include <cerrno>

#include "base/logger2.h"
#include "base/settings.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/mounts.h"

using namespace zolt;

JNIEXPORT void JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setDefaultBlockSizeReplication(
    JNIEnv* /*env*/, jclass /*cls*/, jlong blockSize, jint replication) try {
  setDefaultBlockSizeReplication(blockSize, replication);
} catch (...) {
  raiseInJava();
}

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFSConfig(
    JNIEnv* /*env*/, jclass /*cls*/, jboolean always) try {
  ZOLT_INFO(" alwaysSuper " << (always != JNI_FALSE));
  alwaysSuper.store(always != JNI_FALSE, std::memory_order_relaxed);
  return 1;
} catch (...) {
  return raised<jint>();
}

JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFsName(
    JNIEnv* env, jclass /*cls*/, jstring javaMountPoint, jstring javaFsType) try {
  std::string mountPoint;
  std::string fsType;
  if (getString(env, javaMountPoint, mountPoint) != 0) return nullptr;
  if (getString(env, javaFsType, fsType) != 0) return nullptr;
  ZOLT_TRACE(mountPoint << ", " << fsType);

  jstring name = nullptr;
  if (const auto device = mountDevice(mountPoint, fsType)) name = newString(env, *device);
  if (name == nullptr) handle_error(env, ENOENT, fsType);
  return name;
} catch (...) {
  return raised<jstring>();
}
