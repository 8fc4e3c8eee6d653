// ZOLTNative: setExtendedAttribute, getXAttr, getXAttrs, dumpXAttrs, removeXAttr. None of them
// follows a symbolic link at the end of the path.
#include <cerrno>
#include <optional>

#include "base/logger2.h"
#include "jni/errors.h"
#include "jni/hash_map.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "xattr/xattr.h"

using namespace zolt;

namespace {

jsize lengthOf(JNIEnv* env, jarray array) {
  return array != nullptr ? env->GetArrayLength(array) : 0;
}

}  // namespace

JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setExtendedAttribute(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName, jbyteArray javaValue,
    jshort javaFlags) try {
  const StringChars path(env, javaPath);
  if (path.error()) return JNI_FALSE;
  const StringChars name(env, javaName);
  if (name.error()) return JNI_FALSE;
  const int flags = javaFlags;
  ZOLT_TRACE(
      joined(" ", path.get(), name.get(), "length", lengthOf(env, javaValue), "flags", flags));

  Errno error;
  {  // Java has its bytes back before the outcome is reported.
    std::optional<ByteArrayElements> bytes;
    std::string_view value;
    if (javaValue != nullptr) {
      bytes.emplace(env, javaValue);
      if (bytes->data() == nullptr) {
        handle_error(env, ENOMEM, "");
        return JNI_FALSE;
      }
      value = {bytes->data(), bytes->size()};
    }
    ZOLT_DEBUG(joined(" ", path.get(), name.get(), value, value.size(), flags));
    error = Errno::ofNegative(
        zolt_setxattr(path.get(), false, name.get(), value.data(), value.size(), flags));
  }
  if (error) handle_xattr_error(env, error.value(), "setxattr", name.get());
  return error ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jbyteArray JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getXAttr(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName) try {
  const StringChars path(env, javaPath);
  if (path.error()) return nullptr;
  const StringChars name(env, javaName);
  if (name.error()) return nullptr;
  ZOLT_TRACE(joined(" ", path.get(), name.get()));

  XattrValue value;
  const Errno error = readVisibleXattr(path.get(), false, name.get(), value);
  if (!error) return convertChar2byteArray(env, value.length, value.bytes.get());
  if (error != ENODATA) handle_xattr_error(env, error.value(), "getxattr", name.get());
  return nullptr;
} catch (...) {
  return raised<jbyteArray>();
}

JNIEXPORT jobject JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getXAttrs(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jobjectArray javaNames) try {
  const StringChars path(env, javaPath);
  if (path.error()) return nullptr;
  const jsize count = lengthOf(env, javaNames);
  ZOLT_TRACE(joined(" ", path.get(), "names", count));
  if (javaNames == nullptr) {
    handle_error(env, EINVAL, path.get());
    return nullptr;
  }

  HashMap map(env);
  if (map.get() == nullptr) {
    ZOLT_ERROR("ObjectArray create failed");
    return nullptr;
  }
  for (jsize i = 0; i < count; ++i) {
    const LocalRef<jstring> javaName(env, stringAt(env, javaNames, i));
    const StringChars name(env, javaName.get());
    if (name.error()) return nullptr;
    XattrValue value;
    if (readVisibleXattr(path.get(), false, name.get(), value)) continue;
    if (!map.put(javaName.get(), value.length, value.bytes.get())) return nullptr;
  }
  return map.release();
} catch (...) {
  return raised<jobject>();
}

JNIEXPORT jobject JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_dumpXAttrs(
    JNIEnv* env, jclass /*cls*/, jstring javaPath) try {
  const StringChars path(env, javaPath);
  if (path.error()) return nullptr;
  ZOLT_TRACE(path.get());

  XattrNames names;
  if (const Errno error = listXattrs(path.get(), false, names)) {
    handle_xattr_error(env, error.value(), "listxattr", "");
    return nullptr;
  }
  HashMap map(env);
  if (map.get() == nullptr) {
    ZOLT_ERROR("ObjectArray create failed");
    return nullptr;
  }
  const bool isWhole = takeVisibleXattrs(path.get(), false, names,
                                         [&map](const char* name, const XattrValue& value) {
                                           return map.put(name, value.length, value.bytes.get());
                                         });
  return isWhole ? map.release() : nullptr;
} catch (...) {
  return raised<jobject>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeXAttr(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName) try {
  const StringChars path(env, javaPath);
  if (path.error()) return JNI_FALSE;
  const StringChars name(env, javaName);
  if (name.error()) return JNI_FALSE;
  ZOLT_TRACE(joined(" ", path.get(), name.get()));
  // The caller learns that this was not for it to do; the attribute is removed all the same.
  if (isLeaseName(name.get())) {
    handle_error(env, EINVAL, {"It's not allowed to remove ", name.get()});
  }

  const auto error = Errno::ofNegative(zolt_removexattr(path.get(), false, name.get()));
  if (error) handle_xattr_error(env, error.value(), "removexattr", name.get());
  return error ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}
