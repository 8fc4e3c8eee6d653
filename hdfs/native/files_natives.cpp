// Files by the bytes of their names, by descriptor and by handle.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "native.h"

using zolt::hdfs::answer;
using zolt::hdfs::bytesOf;
using zolt::hdfs::raised;

namespace {

constexpr int OPEN_ALWAYS = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

// struct file_handle ends in an array without a length of its own.
struct Handle {
  alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> memory{};

  file_handle* get() { return reinterpret_cast<file_handle*>(memory.data()); }
};

// For a file system that knows no flags, as FUSE and NFS: what is at the new name stays. A file has
// both names for a moment. A directory, and what may not have a second name, is only looked for:
// between the look and the rename, a directory can take the place of an empty one, and a file of
// somebody else's that of a file.
int renameWithoutReplacing(const char* from, const char* to) {
  if (link(from, to) == 0) {
    if (unlink(from) == 0) return 0;
    const int error = errno;
    unlink(to);
    errno = error;
    return -1;
  }
  if (errno != EPERM && errno != EMLINK && errno != EOPNOTSUPP) return -1;
  struct stat st;
  if (lstat(to, &st) == 0) errno = EEXIST;
  return errno == ENOENT ? rename(from, to) : -1;
}

}  // namespace

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_open(JNIEnv* env, jclass,
                                                                 jint directory, jbyteArray path,
                                                                 jint flags, jint mode) try {
  return answer(openat(directory, bytesOf(env, path).c_str(), flags | OPEN_ALWAYS, mode));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_close(JNIEnv*, jclass,
                                                                  jint descriptor) {
  if (descriptor >= 0) close(descriptor);
}

// The field by which the class library itself keeps a descriptor; it has no public way to set it.
JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_adopt(JNIEnv* env, jclass,
                                                                  jobject object,
                                                                  jint descriptor) try {
  if (object == nullptr) throw std::invalid_argument("null");
  jclass cls = env->GetObjectClass(object);
  jfieldID field = env->GetFieldID(cls, "fd", "I");
  env->DeleteLocalRef(cls);
  if (field != nullptr) env->SetIntField(object, field, descriptor);
} catch (...) {
  zolt::hdfs::raiseInJava(env);
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_entries(JNIEnv* env, jclass,
                                                                    jint directory,
                                                                    jobject buffer) try {
  void* memory = buffer == nullptr ? nullptr : env->GetDirectBufferAddress(buffer);
  if (memory == nullptr) throw std::invalid_argument("the buffer is not direct");
  return answer(
      getdents64(directory, memory, static_cast<size_t>(env->GetDirectBufferCapacity(buffer))));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_lock(JNIEnv*, jclass, jint descriptor) {
  int result = 0;
  do {
    result = flock(descriptor, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return answer(result);
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_tryLock(JNIEnv*, jclass,
                                                                    jint descriptor) {
  return answer(flock(descriptor, LOCK_EX | LOCK_NB));
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_read(JNIEnv* env, jclass,
                                                                 jint descriptor, jobject buffer,
                                                                 jint at, jint length, jlong from,
                                                                 jint flags) try {
  void* memory = buffer == nullptr ? nullptr : env->GetDirectBufferAddress(buffer);
  if (memory == nullptr) throw std::invalid_argument("the buffer is not direct");
  if (at < 0 || length < 0 || length > env->GetDirectBufferCapacity(buffer) - at) {
    throw std::invalid_argument("not a part of the buffer");
  }
  const iovec part = {static_cast<char*>(memory) + at, static_cast<size_t>(length)};
  ssize_t result = 0;
  do {
    result = preadv2(descriptor, &part, 1, from, flags);
  } while (result < 0 && errno == EINTR);
  return answer(result);
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_rename(JNIEnv* env, jclass,
                                                                   jbyteArray from, jbyteArray to,
                                                                   jint flags) try {
  const std::string before = bytesOf(env, from);
  const std::string after = bytesOf(env, to);
  const int result =
      renameat2(AT_FDCWD, before.c_str(), AT_FDCWD, after.c_str(), static_cast<unsigned>(flags));
  if (result == 0 || errno != EINVAL || flags != RENAME_NOREPLACE) return answer(result);
  return answer(renameWithoutReplacing(before.c_str(), after.c_str()));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_makeLink(JNIEnv* env, jclass,
                                                                     jbyteArray target,
                                                                     jbyteArray path) try {
  return answer(symlink(bytesOf(env, target).c_str(), bytesOf(env, path).c_str()));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_readLink(JNIEnv* env, jclass,
                                                                     jbyteArray path,
                                                                     jbyteArray target) try {
  std::vector<char> memory(static_cast<size_t>(env->GetArrayLength(target)));
  const ssize_t length = readlink(bytesOf(env, path).c_str(), memory.data(), memory.size());
  if (length < 0) return answer(-1);
  env->SetByteArrayRegion(target, 0, static_cast<jsize>(length),
                          reinterpret_cast<const jbyte*>(memory.data()));
  return static_cast<jint>(length);
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_makeDirectory(JNIEnv* env, jclass,
                                                                          jbyteArray path,
                                                                          jint mode) try {
  return answer(mkdir(bytesOf(env, path).c_str(), static_cast<mode_t>(mode)));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_unlink(JNIEnv* env, jclass,
                                                                   jint directory, jbyteArray name,
                                                                   jboolean isDirectory) try {
  return answer(
      unlinkat(directory, bytesOf(env, name).c_str(), isDirectory != JNI_FALSE ? AT_REMOVEDIR : 0));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_syncFileSystem(JNIEnv*, jclass,
                                                                           jint descriptor) {
  return answer(syncfs(descriptor));
}

// With AT_EACCESS the kernel asks for the identity that file accesses have, not for the real one.
JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_mayAccess(JNIEnv* env, jclass,
                                                                      jbyteArray path,
                                                                      jint access) try {
  return answer(syscall(SYS_faccessat2, AT_FDCWD, bytesOf(env, path).c_str(), access, AT_EACCESS));
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_handle(JNIEnv* env, jclass,
                                                                   jint descriptor,
                                                                   jbyteArray bytes) try {
  Handle handle;
  handle.get()->handle_bytes = MAX_HANDLE_SZ;
  int mount = 0;
  if (name_to_handle_at(descriptor, "", handle.get(), &mount, AT_EMPTY_PATH) != 0) {
    return answer(-1);
  }
  const auto type = handle.get()->handle_type;
  const auto length = static_cast<jsize>(handle.get()->handle_bytes);
  env->SetByteArrayRegion(bytes, 0, sizeof(type), reinterpret_cast<const jbyte*>(&type));
  if (env->ExceptionCheck()) return 0;
  env->SetByteArrayRegion(bytes, sizeof(type), length,
                          reinterpret_cast<const jbyte*>(handle.get()->f_handle));
  return static_cast<jint>(sizeof(type)) + length;
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_openByHandle(JNIEnv* env, jclass,
                                                                         jint mount,
                                                                         jbyteArray bytes,
                                                                         jint flags) try {
  Handle handle;
  auto& type = handle.get()->handle_type;
  const jsize length = env->GetArrayLength(bytes) - static_cast<jsize>(sizeof(type));
  if (length <= 0 || length > MAX_HANDLE_SZ) throw std::invalid_argument("not a file handle");
  env->GetByteArrayRegion(bytes, 0, sizeof(type), reinterpret_cast<jbyte*>(&type));
  env->GetByteArrayRegion(bytes, sizeof(type), length,
                          reinterpret_cast<jbyte*>(handle.get()->f_handle));
  handle.get()->handle_bytes = static_cast<unsigned>(length);
  return answer(open_by_handle_at(mount, handle.get(), flags | OPEN_ALWAYS));
} catch (...) {
  return raised(env, jint{0});
}
