// ZOLTNative: setExtendedAttribute, getXAttr, getXAttrs, dumpXAttrs, removeXAttr. None of them
// follows a symbolic link at the end of the path.
#include <cerrno>
#include <cstring>
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

// Puts an attribute into the map under `key`, unless it cannot be read: then it is left out. False
// only with a Java exception pending.
template <class Key>
bool putXattr(HashMap& map, Key key, const char* path, const char* name) {
  std::unique_ptr<char[]> value;
  const int length = readXattr(path, false, name, value);
  return length < 0 || map.put(key, length, value.get());
}

}  // namespace

JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setExtendedAttribute(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName, jbyteArray javaValue,
    jshort javaFlags) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return JNI_FALSE;
  const StringChars name(env, javaName);
  if (name.error() != 0) return JNI_FALSE;
  const int flags = javaFlags;
  ZOLT_TRACE(
      joined(" ", path.get(), name.get(), "length", lengthOf(env, javaValue), "flags", flags));

  int result = 0;
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
    result = zolt_setxattr(path.get(), false, name.get(), value.data(), value.size(), flags);
  }
  if (result < 0) handle_xattr_error(env, -result, "setxattr", name.get());
  return result < 0 ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}

JNIEXPORT jbyteArray JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getXAttr(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return nullptr;
  const StringChars name(env, javaName);
  if (name.error() != 0) return nullptr;
  ZOLT_TRACE(joined(" ", path.get(), name.get()));
  if (isLeaseName(name.get())) return nullptr;

  std::unique_ptr<char[]> value;
  const int length = readXattr(path.get(), false, name.get(), value);
  if (length >= 0) return convertChar2byteArray(env, length, value.get());
  if (length != -ENODATA) handle_xattr_error(env, -length, "getxattr", name.get());
  return nullptr;
} catch (...) {
  return raised<jbyteArray>();
}

JNIEXPORT jobject JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getXAttrs(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jobjectArray javaNames) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return nullptr;
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
    if (name.error() != 0) return nullptr;
    if (isLeaseName(name.get())) continue;
    if (!putXattr(map, javaName.get(), path.get(), name.get())) return nullptr;
  }
  return map.release();
} catch (...) {
  return raised<jobject>();
}

JNIEXPORT jobject JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_dumpXAttrs(
    JNIEnv* env, jclass /*cls*/, jstring javaPath) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return nullptr;
  ZOLT_TRACE(path.get());

  char* list = nullptr;
  const int length = zolt_listxattrs(path.get(), false, &list);
  const std::unique_ptr<char[]> owner(list);
  if (length < 0) {
    handle_xattr_error(env, -length, "listxattr", "");
    return nullptr;
  }
  HashMap map(env);
  if (map.get() == nullptr) {
    ZOLT_ERROR("ObjectArray create failed");
    return nullptr;
  }
  for (const char* name = list; name < list + length; name += strlen(name) + 1) {
    if (*name == '\0' || isLeaseName(name)) {
      ZOLT_WARN("Ignore EA: " << name);
    } else if (!putXattr(map, name, path.get(), name)) {
      return nullptr;
    }
  }
  return map.release();
} catch (...) {
  return raised<jobject>();
}

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeXAttr(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jstring javaName) try {
  const StringChars path(env, javaPath);
  if (path.error() != 0) return JNI_FALSE;
  const StringChars name(env, javaName);
  if (name.error() != 0) return JNI_FALSE;
  ZOLT_TRACE(joined(" ", path.get(), name.get()));
  // The caller learns that this was not for it to do; the attribute is removed all the same.
  if (isLeaseName(name.get())) {
    handle_error(env, EINVAL, {"It's not allowed to remove ", name.get()});
  }

  const int result = zolt_removexattr(path.get(), false, name.get());
  if (result < 0) handle_xattr_error(env, -result, "removexattr", name.get());
  return result < 0 ? JNI_FALSE : JNI_TRUE;
} catch (...) {
  return raised<jboolean>();
}
