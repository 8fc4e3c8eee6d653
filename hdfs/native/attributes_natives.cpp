// Extended attributes by the bytes of a path. The natives of the library take paths as text only,
// and follow no link, so that they cannot be given a descriptor's name below /proc.
#include <sys/xattr.h>

#include "native.h"

using zolt::hdfs::answer;
using zolt::hdfs::bytesOf;
using zolt::hdfs::raised;

namespace {

// Lets `read` fill as many bytes as the array has, and copies them there.
template <class Read>
jint readInto(JNIEnv* env, jbyteArray array, const Read& read) {
  std::vector<jbyte> memory(static_cast<size_t>(env->GetArrayLength(array)));
  const auto length = read(reinterpret_cast<char*>(memory.data()), memory.size());
  if (length > 0 && !memory.empty()) {
    env->SetByteArrayRegion(array, 0, static_cast<jsize>(length), memory.data());
  }
  return answer(length);
}

}  // namespace

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_getAttribute(JNIEnv* env, jclass,
                                                                         jbyteArray path,
                                                                         jbyteArray name,
                                                                         jbyteArray value) try {
  const std::string file = bytesOf(env, path);
  const std::string attribute = bytesOf(env, name);
  return readInto(env, value, [&](char* memory, size_t size) {
    return getxattr(file.c_str(), attribute.c_str(), memory, size);
  });
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_setAttribute(
    JNIEnv* env, jclass, jbyteArray path, jbyteArray name, jbyteArray value, jint flags) try {
  std::vector<jbyte> bytes(static_cast<size_t>(env->GetArrayLength(value)));
  env->GetByteArrayRegion(value, 0, static_cast<jsize>(bytes.size()), bytes.data());
  return answer(setxattr(bytesOf(env, path).c_str(), bytesOf(env, name).c_str(), bytes.data(),
                         bytes.size(), flags));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_removeAttribute(JNIEnv* env, jclass,
                                                                            jbyteArray path,
                                                                            jbyteArray name) try {
  return answer(removexattr(bytesOf(env, path).c_str(), bytesOf(env, name).c_str()));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_listAttributes(JNIEnv* env, jclass,
                                                                           jbyteArray path,
                                                                           jbyteArray names) try {
  const std::string file = bytesOf(env, path);
  return readInto(env, names,
                  [&](char* memory, size_t size) { return listxattr(file.c_str(), memory, size); });
} catch (...) {
  return raised(env, jint{0});
}
