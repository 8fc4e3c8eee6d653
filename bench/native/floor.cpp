// What the floors share, and their bare forms.
#include "floor.h"

#include <malloc.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "java_classes.h"
#include "zolt_bench_Floor.h"

namespace floors {

jclass noSuchFile;
jclass ioException;
jclass runtimeException;
jclass hashMap;
jmethodID newHashMap;
jmethodID put;

namespace {

struct Prepared {
  std::string path;
  std::string name;
  Memory memory;
  char scratch[16384];
};

void append(char* end, Pieces pieces) {
  for (const char* piece : pieces)
    end = stpcpy(end, piece);
}

jclass find(JNIEnv* env, const char* name) {
  return static_cast<jclass>(env->NewGlobalRef(env->FindClass(name)));
}

}  // namespace

void raise(JNIEnv* env, int error, Pieces pieces) {
  char text[PATH_MAX + 512];
  char* end = stpcpy(static_cast<char*>(text), strerrordesc_np(error));
  append(stpcpy(end, ": "), pieces);
  env->ThrowNew(error == ENOENT   ? noSuchFile
                : error == ENOMEM ? runtimeException
                                  : ioException,
                text);
}

void raiseText(JNIEnv* env, Pieces pieces) {
  char text[PATH_MAX + 512];
  append(static_cast<char*>(text), pieces);
  env->ThrowNew(ioException, text);
}

void raiseXattr(JNIEnv* env, int error, const char* operation, const char* name) {
  if (error == EEXIST) return raise(env, error, {name, " already exists"});
  if (error == ENODATA) return raise(env, error, {name, " does not exist"});
  raise(env, error, {operation, " failed for ", name});
}

jbyteArray bytes(JNIEnv* env, const char* from, jsize length) {
  jbyteArray array = env->NewByteArray(length);
  env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(from));
  return array;
}

}  // namespace floors

using namespace floors;

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void*) {
  void* env = nullptr;
  vm->GetEnv(&env, JNI_VERSION_1_6);
  auto* jni = static_cast<JNIEnv*>(env);
  noSuchFile = find(jni, "java/nio/file/NoSuchFileException");
  ioException = find(jni, "java/io/IOException");
  runtimeException = find(jni, "java/lang/RuntimeException");
  hashMap = find(jni, "java/util/HashMap");
  newHashMap = jni->GetMethodID(hashMap, "<init>", "()V");
  put =
      jni->GetMethodID(hashMap, "put", "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;");
  return JNI_VERSION_1_6;
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_heap(JNIEnv*, jclass) {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<jlong>(info.uordblks + info.hblkhd);
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_mark(JNIEnv* env, jclass, jstring text) {
  access(Chars(env, text).get(), F_OK);
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_prepare(JNIEnv* env, jclass, jstring path,
                                                      jstring name, jobject buffer) {
  auto* prepared = new Prepared;
  prepared->path = Chars(env, path).get();
  if (name != nullptr) prepared->name = Chars(env, name).get();
  if (buffer != nullptr) prepared->memory = Memory(env, buffer);
  return reinterpret_cast<jlong>(prepared);
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_bare(JNIEnv*, jclass, jint what, jlong prepared) {
  auto& with = *reinterpret_cast<Prepared*>(prepared);
  const char* path = with.path.c_str();
  const Memory& memory = with.memory;
  switch (what) {
    case zolt_bench_Floor_FAST:
      return fast(path, 0, [&] { return memory; });
    case zolt_bench_Floor_FULL: {
      zolt_iattr64 attr;
      uint32_t blockSize = 0;
      uint16_t leaseLength = 0;
      const long found = full(path, true, attr, blockSize, leaseLength);
      storeFull(attr, blockSize, leaseLength, memory.address);
      return found;
    }
    case zolt_bench_Floor_INUM:
      return inode(path);
    case zolt_bench_Floor_XATTR:
      return xattr(path, with.name.c_str(), static_cast<char*>(with.scratch));
    case zolt_bench_Floor_SET_XATTR:
      return setXattr(path, with.name.c_str(), memory.address, memory.capacity);
    case zolt_bench_Floor_LIST:
      while (list(path, memory) == 1)
        continue;
      return 0;
    case zolt_bench_Floor_COUNT:
      return count(path);
    case zolt_bench_Floor_ACL:
      return acl(path, false, static_cast<char*>(with.scratch));
    case zolt_bench_Floor_PERMISSION:
      return permission(path, 0644);
    case zolt_bench_Floor_TIMES:
      return times(path, 1500, 1500);
    case zolt_bench_Floor_LINK:
      return link(path, static_cast<char*>(with.scratch), 64);
    case zolt_bench_Floor_LEASE:
      return lease(path, static_cast<char*>(with.scratch), 64);
    default:
      return -1;
  }
}
