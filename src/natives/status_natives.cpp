// ZOLTNative: getFileStatusFormatNative, getFileStatusNative, getFileStatusFastNative,
// isCMTimeChangedNative, getINum, getFailedPathNative.
#include <cerrno>

#include "base/logger2.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/failed_path.h"
#include "status/file_status.h"
#include "status/stat.h"
#include "status/status_record.h"

using namespace zolt;

namespace {

std::string tableText() {
  Fmt text(", ");
  for (const int number : statusOffsetMemberSize)
    text << number;
  return text.str();
}

// What both status natives end with: 1 with a record written, 0 without.
jint answer(JNIEnv* env, const StringChars& path, Errno error, bool written) {
  if (error) handle_error(env, error.value(), path.get());
  return written ? 1 : 0;
}

}  // namespace

JNIEXPORT jintArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFileStatusFormatNative(
    JNIEnv* env, jclass /*cls*/) try {
  ZOLT_DEBUG(tableText());
  return newIntArray(env, statusOffsetMemberSize);
} catch (...) {
  return raised<jintArray>();
}

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFileStatusNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jboolean withLease,
    jobject javaBuffer, jlong ctimeSec, jlong ctimeNsec, jlong mtimeSec, jlong mtimeNsec) try {
  const StringChars path(env, javaPath);
  if (path.error()) return 0;
  const DirectBuffer buffer = directBuffer(env, javaBuffer);
  if (buffer.address == nullptr) return answer(env, path, Errno(EINVAL), false);
  bool written = false;
  const Errno error = getFileStatus(path.get(), followLink != JNI_FALSE, withLease != JNI_FALSE,
                                    {ctimeSec, ctimeNsec}, {mtimeSec, mtimeNsec},
                                    {buffer.address, buffer.capacity}, written);
  return answer(env, path, error, written);
} catch (...) {
  return raised<jint>();
}

JNIEXPORT jint JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFileStatusFastNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jobject javaBuffer,
    jlong ctimeSec, jlong ctimeNsec) try {
  const StringChars path(env, javaPath);
  if (path.error()) return 0;
  const DirectBuffer buffer = directBuffer(env, javaBuffer);
  if (buffer.address == nullptr) return answer(env, path, Errno(EINVAL), false);
  bool written = false;
  const Errno error = getFileStatusFast(path.get(), followLink != JNI_FALSE, {ctimeSec, ctimeNsec},
                                        {buffer.address, buffer.capacity}, written);
  return answer(env, path, error, written);
} catch (...) {
  return raised<jint>();
}

JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_isCMTimeChangedNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink, jlong ctimeSec,
    jlong ctimeNsec, jlong mtimeSec, jlong mtimeNsec) try {
  const StringChars path(env, javaPath);
  if (path.error()) return JNI_FALSE;
  bool changed = false;
  const Errno error = isCMTimeChanged(path.get(), followLink != JNI_FALSE, {ctimeSec, ctimeNsec},
                                      {mtimeSec, mtimeNsec}, changed);
  if (error) handle_error(env, error.value(), path.get());
  return changed ? JNI_TRUE : JNI_FALSE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jlong JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getINum(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error()) return 0;
  struct stat st;
  if (const int error = getStat(path.get(), followLink != JNI_FALSE, st)) {
    handle_error(env, error, {"stat failed for ", path.get()});
    return 0;
  }
  return static_cast<jlong>(st.st_ino);
} catch (...) {
  return raised<jlong>();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getFailedPathNative(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean followLink) try {
  const StringChars path(env, javaPath);
  if (path.error()) return;
  getFailedPath(path.get(), followLink != JNI_FALSE);
} catch (...) {
  raiseInJava();
}
