// ZOLTNative: setFileLeaseNative, getFileLeaseNative, renewFileLeaseNative, removeFileLeaseNative.
#include <cerrno>
#include <optional>
#include <utility>

#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "xattr/lease.h"

using namespace zolt;

namespace {

// False when the clock cannot be read, which is then reported.
bool leaseClockNow(JNIEnv* env, int64_t& now) {
  const Errno error = readLeaseClock(now);
  if (error) handle_error(env, error.value(), "clock_gettime");
  return !error;
}

void report(JNIEnv* env, const XattrError& failed) {
  if (failed) handle_xattr_error(env, failed.error.value(), failed.operation, failed.name);
}

}  // namespace

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jbyteArray javaHolder) try {
  const StringChars path(env, javaPath);
  if (path.error()) return;
  if (javaHolder == nullptr) {
    handle_error(env, EINVAL, "");
    return;
  }
  std::optional<ByteArrayElements> holder(std::in_place, env, javaHolder);
  if (holder->data() == nullptr) {
    handle_error(env, ENOMEM, "");
    return;
  }
  int64_t now = 0;
  if (!leaseClockNow(env, now)) return;
  report(env, setLease(path.get(), followLink != JNI_FALSE, {holder->data(), holder->size()}, now,
                       [&holder] { holder.reset(); }));
} catch (...) {
  raiseInJava();
}

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jint holderSize,
    jlong limit) try {
  const StringChars path(env, javaPath);
  if (path.error()) return nullptr;
  int64_t now = 0;
  if (!leaseClockNow(env, now)) return nullptr;
  XattrValue holder;
  report(env, getLease(path.get(), followLink != JNI_FALSE, holderSize, limit, now, holder));
  if (holder.bytes == nullptr) return nullptr;
  return convertChar2byteArray(env, holder.length, holder.bytes.get());
} catch (...) {
  return raised<jbyteArray>();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_renewFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error()) return;
  int64_t now = 0;
  if (!leaseClockNow(env, now)) return;
  report(env, renewLease(path.get(), followLink != JNI_FALSE, now));
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeFileLeaseNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error()) return;
  report(env, removeLease(path.get(), followLink != JNI_FALSE));
} catch (...) {
  raiseInJava();
}
