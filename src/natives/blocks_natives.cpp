// ZOLTNative: getBlockLocationsNative, setReplication, setBGF.
#include <stdexcept>

#include "blocks/block_locations.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "placement/placement.h"

using namespace zolt;

namespace {

std::optional<LentMemory> lent(JNIEnv* env, jobject buffer) {
  if (buffer == nullptr) return std::nullopt;
  const DirectBuffer memory = directBuffer(env, buffer);
  return LentMemory{memory.address, memory.capacity};
}

}  // namespace

JNIEXPORT void JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getBlockLocationsNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jint storageType, jboolean followLink,
    jlong offset, jlong length, jobject status, jobject locations) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return;
  const Errno error =
      getBlockLocations(path, static_cast<StorageType>(storageType), followLink != JNI_FALSE,
                        offset, length, lent(env, status), lent(env, locations));
  if (error) handle_error(env, error.value(), path);
} catch (const std::logic_error& error) {
  // A buffer of a wrong size is Java's to hear of, and nobody else's: no line at error.
  throw_io_exception(env, error.what());
} catch (...) {
  raiseInJava();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setReplication(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jshort replication, jboolean restripe) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return JNI_FALSE;
  const Failure failure = changeReplication(path, replication, restripe != JNI_FALSE);
  if (failure) handle_error(env, *failure);
  return failure ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setBGF(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jint bgf) try {
  std::string path;
  if (getString(env, javaPath, path) != 0) return JNI_FALSE;
  const Failure failure = changeBGF(path, bgf);
  if (failure) handle_error(env, *failure);
  return failure ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}
