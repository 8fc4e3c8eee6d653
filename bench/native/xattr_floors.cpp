// Floors of extended attributes and of the lease's read.
#include <sys/xattr.h>

#include <cstring>
#include <ctime>

#include "floor.h"
#include "java_classes.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

constexpr size_t LARGEST_VALUE = 4096;
constexpr size_t LARGEST_LIST = 65536;

}  // namespace

long xattr(const char* path, const char* name, char* value) {
  const ssize_t length = lgetxattr(path, name, nullptr, 0);
  if (length <= 0) return length == 0 ? 0 : -errno;
  return lgetxattr(path, name, value, static_cast<size_t>(length));
}

long setXattr(const char* path, const char* name, const char* value, size_t length) {
  return lsetxattr(path, name, value, length, 0) == 0 ? 1 : -errno;
}

long lease(const char* path, char* holder, size_t size) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  int64_t last = 0;
  getxattr(path, "user.lease.update", &last, sizeof last);
  return getxattr(path, "user.lease.holder", holder, size);
}

}  // namespace floors

using namespace floors;

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_xattr(JNIEnv* env, jclass, jstring javaPath,
                                                         jstring javaName) {
  const Chars path(env, javaPath);
  const Chars name(env, javaName);
  char value[LARGEST_VALUE];
  const long length = xattr(path.get(), name.get(), value);
  return length >= 0 ? bytes(env, value, static_cast<jsize>(length)) : nullptr;
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_setXattr(JNIEnv* env, jclass, jstring javaPath,
                                                          jstring javaName, jbyteArray javaValue) {
  const Chars path(env, javaPath);
  const Chars name(env, javaName);
  jbyte* value = env->GetByteArrayElements(javaValue, nullptr);
  const auto length = static_cast<size_t>(env->GetArrayLength(javaValue));
  const long set = setXattr(path.get(), name.get(), reinterpret_cast<const char*>(value), length);
  env->ReleaseByteArrayElements(javaValue, value, JNI_ABORT);
  return set > 0;
}

JNIEXPORT jobject JNICALL Java_zolt_bench_Floor_xattrs(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  char names[LARGEST_LIST];
  const ssize_t probed = llistxattr(path.get(), nullptr, 0);
  const ssize_t length = llistxattr(path.get(), names, static_cast<size_t>(probed));
  jobject map = env->NewObject(hashMap, newHashMap);
  for (const char* name = names; name < names + length; name += strlen(name) + 1) {
    char value[LARGEST_VALUE];
    const long size = xattr(path.get(), name, value);
    jstring key = env->NewStringUTF(name);
    jbyteArray array = bytes(env, value, static_cast<jsize>(size));
    env->CallObjectMethod(map, put, key, array);
    env->DeleteLocalRef(array);
    env->DeleteLocalRef(key);
  }
  return map;
}

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_lease(JNIEnv* env, jclass, jstring javaPath,
                                                         jint holderSize) {
  const Chars path(env, javaPath);
  char holder[LARGEST_VALUE];
  const long length = lease(path.get(), holder, static_cast<size_t>(holderSize));
  return bytes(env, holder, static_cast<jsize>(length));
}
