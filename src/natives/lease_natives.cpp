// ZOLTNative: setFileLeaseNative, getFileLeaseNative, renewFileLeaseNative, removeFileLeaseNative.
#include <cerrno>

#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "xattr/lease.h"

using namespace zolt;

namespace {

// False when the clock cannot be read, which is then reported.
bool leaseClockNow(JNIEnv* env, int64_t& now) {
  const int error = readLeaseClock(now);
  if (error != 0) handle_error(env, error, "clock_gettime");
  return error == 0;
}

void report(JNIEnv* env, const LeaseFailure& failure) {
  if (failure.error != 0) handle_xattr_error(env, failure.error, failure.operation, failure.name);
}

}  // namespace

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jbyteArray javaHolder) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return;
  if (javaHolder == nullptr) {
    handle_error(env, EINVAL, "");
    return;
  }
  const bool follow = followLink != JNI_FALSE;
  int64_t now = 0;
  LeaseFailure failure;
  {  // Java has its bytes back as soon as the file has them.
    const ByteArrayElements holder(env, javaHolder);
    if (holder.data() == nullptr) {
      handle_error(env, ENOMEM, "");
      return;
    }
    if (!leaseClockNow(env, now)) return;
    failure = setLeaseHolder(path.get(), follow, {holder.data(), holder.size()}, now);
  }
  if (failure.error == 0) failure = setLeaseUpdate(path.get(), follow, now);
  report(env, failure);
} catch (...) {
  raiseInJava();
}

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jint holderSize,
    jlong limit) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return nullptr;
  int64_t now = 0;
  if (!leaseClockNow(env, now)) return nullptr;
  const LeaseRead lease = getLease(path.get(), followLink != JNI_FALSE, holderSize, limit, now);
  report(env, lease.failure);
  if (lease.holder == nullptr) return nullptr;
  return convertChar2byteArray(env, lease.length, lease.holder.get());
} catch (...) {
  return raised<jbyteArray>();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_renewFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return;
  int64_t now = 0;
  if (!leaseClockNow(env, now)) return;
  report(env, renewLease(path.get(), followLink != JNI_FALSE, now));
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return;
  report(env, removeLease(path.get(), followLink != JNI_FALSE));
} catch (...) {
  raiseInJava();
}
