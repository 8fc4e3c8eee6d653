// Floors of the configuration, of the record's layout, and of what does nothing unless it is
// traced.
#include <mntent.h>

#include <cerrno>
#include <cstring>

#include "floor.h"
#include "zolt_bench_Floor.h"

using namespace floors;

namespace {

bool alwaysSuper;
jlong blockSize;
jint replication;

}  // namespace

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_fsConfig(JNIEnv*, jclass, jboolean always) {
  alwaysSuper = always != JNI_FALSE;
  return 1;
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_defaults(JNIEnv*, jclass, jlong size, jint copies) {
  if (size > 0) blockSize = size;
  if (copies > 0) replication = copies;
}

JNIEXPORT jstring JNICALL Java_zolt_bench_Floor_fsName(JNIEnv* env, jclass, jstring javaMountPoint,
                                                       jstring javaType) {
  const Chars mountPoint(env, javaMountPoint);
  const Chars type(env, javaType);
  FILE* table = setmntent("/etc/mtab", "r");
  char line[8192];
  mntent storage{};
  const mntent* entry = nullptr;
  do {
    entry = getmntent_r(table, &storage, line, sizeof line);
  } while (entry != nullptr && (strcmp(entry->mnt_type, type.get()) != 0 ||
                                strcmp(entry->mnt_dir, mountPoint.get()) != 0));
  endmntent(table);
  if (entry != nullptr) return env->NewStringUTF(entry->mnt_fsname);
  raise(env, ENOENT, {type.get()});
  return nullptr;
}

JNIEXPORT jintArray JNICALL Java_zolt_bench_Floor_format(JNIEnv* env, jclass) {
  static constexpr jint TABLE[] = {0,  8,  8,  8,  16, 4,  20, 4,  24, 4,  28, 4,  32,
                                   16, 48, 16, 64, 16, 80, 2,  82, 2,  84, 2,  88, 0};
  constexpr auto length = static_cast<jsize>(sizeof TABLE / sizeof TABLE[0]);
  jintArray array = env->NewIntArray(length);
  env->SetIntArrayRegion(array, 0, length, TABLE);
  return array;
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_failedPath(JNIEnv* env, jclass, jstring javaPath) {
  if (javaPath != nullptr) const Chars path(env, javaPath);
}
