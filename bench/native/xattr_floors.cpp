// Floors of extended attributes.
#include <sys/xattr.h>

#include <cerrno>
#include <cstring>

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

}  // namespace floors

using namespace floors;

namespace {

/// An attribute into a map, when it can be read.
void putXattr(JNIEnv* env, jobject map, const char* path, const char* name, jstring key) {
  char value[LARGEST_VALUE];
  const long length = xattr(path, name, value);
  if (length < 0) return;
  jbyteArray array = bytes(env, value, static_cast<jsize>(length));
  env->DeleteLocalRef(env->CallObjectMethod(map, put, key, array));
  env->DeleteLocalRef(array);
}

}  // namespace

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_xattr(JNIEnv* env, jclass, jstring javaPath,
                                                         jstring javaName) {
  const Chars path(env, javaPath);
  const Chars name(env, javaName);
  char value[LARGEST_VALUE];
  const long length = xattr(path.get(), name.get(), value);
  if (length >= 0) return bytes(env, value, static_cast<jsize>(length));
  if (length != -ENODATA) raiseXattr(env, static_cast<int>(-length), "getxattr", name.get());
  return nullptr;
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_setXattr(JNIEnv* env, jclass, jstring javaPath,
                                                          jstring javaName, jbyteArray javaValue) {
  const Chars path(env, javaPath);
  const Chars name(env, javaName);
  long set = 0;
  {
    const Bytes value(env, javaValue);
    set = setXattr(path.get(), name.get(), value.data(), value.size());
  }
  if (set < 0) raiseXattr(env, static_cast<int>(-set), "setxattr", name.get());
  return set > 0;
}

JNIEXPORT jobject JNICALL Java_zolt_bench_Floor_xattrs(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  char names[LARGEST_LIST];
  const ssize_t probed = llistxattr(path.get(), nullptr, 0);
  if (probed < 0) {  // a length that nobody has room for
    raise(env, ENOMEM, {"listxattr failed"});
    return nullptr;
  }
  const ssize_t length = llistxattr(path.get(), names, static_cast<size_t>(probed));
  jobject map = env->NewObject(hashMap, newHashMap);
  for (const char* name = names; name < names + length; name += strlen(name) + 1) {
    jstring key = env->NewStringUTF(name);
    putXattr(env, map, path.get(), name, key);
    env->DeleteLocalRef(key);
  }
  return map;
}

JNIEXPORT jobject JNICALL Java_zolt_bench_Floor_namedXattrs(JNIEnv* env, jclass, jstring javaPath,
                                                            jobjectArray javaNames) {
  const Chars path(env, javaPath);
  const jsize count = env->GetArrayLength(javaNames);
  jobject map = env->NewObject(hashMap, newHashMap);
  for (jsize i = 0; i < count; ++i) {
    auto* key = static_cast<jstring>(env->GetObjectArrayElement(javaNames, i));
    putXattr(env, map, path.get(), Chars(env, key).get(), key);
    env->DeleteLocalRef(key);
  }
  return map;
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_removeXattr(JNIEnv* env, jclass, jstring javaPath,
                                                             jstring javaName) {
  const Chars path(env, javaPath);
  const Chars name(env, javaName);
  if (lremovexattr(path.get(), name.get()) == 0) return JNI_TRUE;
  raiseXattr(env, errno, "removexattr", name.get());
  return JNI_FALSE;
}
