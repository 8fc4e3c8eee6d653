// zolt.test.Frame
#include <cerrno>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/io_exception.h"
#include "base/logger2.h"
#include "base/settings.h"
#include "jni/errors.h"
#include "jni/jni_util.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "jni/pending.h"
#include "text.h"
#include "zolt_test_Frame.h"

using namespace zolt;
using test::bytes;
using test::text;

namespace {

struct Unknown {};

// Making a text of it fails.
struct Mute : IOException {
  Mute() : IOException("", ENOENT) {}
  const char* what() const noexcept override { return nullptr; }
};

[[noreturn]] void throwKind(const std::string& kind, const std::string& what) {
  if (kind == "IOException") throw IOException(what, ENOENT);
  if (kind == "out_of_range") throw std::out_of_range(what);
  if (kind == "length_error") throw std::length_error(what);
  if (kind == "overflow_error") throw std::overflow_error(what);
  if (kind == "bad_alloc") throw std::bad_alloc();
  if (kind == "Mute") throw Mute();
  if (kind == "runtime_error") throw std::runtime_error(what);
  throw Unknown();
}

void answer(JNIEnv* env, jobjectArray out, const std::string& value) {
  const PendingException aside(env);
  jbyteArray array = convertChar2byteArray(env, static_cast<int>(value.size()), value.data());
  env->SetObjectArrayElement(out, 0, array);
  env->DeleteLocalRef(array);
}

}  // namespace

#define FRAME(type, name, ...) \
  JNIEXPORT type JNICALL Java_zolt_test_Frame_##name(JNIEnv* env, jclass, __VA_ARGS__)
#define FRAME0(type, name) JNIEXPORT type JNICALL Java_zolt_test_Frame_##name(JNIEnv* env, jclass)

FRAME(void, handleError, jint errnum, jbyteArray message) {
  handle_error(env, errnum, bytes(env, message));
}

FRAME(void, handleXattrError, jint errnum, jstring operation, jstring name) {
  handle_xattr_error(env, errnum, text(env, operation), text(env, name));
}

FRAME(jint, raise, jstring kind, jstring what) try {
  throwKind(text(env, kind), text(env, what));
} catch (...) {
  return raised<jint>(42);
}

FRAME(jint, raiseOver, jstring kind, jstring what) try {
  const std::string kindText = text(env, kind);
  const std::string whatText = text(env, what);
  env->ThrowNew(JniUtil::IOException, "the earlier one");
  throwKind(kindText, whatText);
} catch (...) {
  return raised<jint>(42);
}

FRAME(jint, getString__Ljava_lang_String_2_3_3B, jstring string, jobjectArray out) {
  std::string value = "untouched";
  const int result = getString(env, string, value);
  answer(env, out, value);
  return result;
}

FRAME(jint, getString___3B_3_3B, jbyteArray array, jobjectArray out) {
  std::string value = "untouched";
  const int result = getString(env, array, value);
  answer(env, out, value);
  return result;
}

FRAME(jbyteArray, toByteArray, jbyteArray array) {
  const std::string value = bytes(env, array);
  return convertChar2byteArray(env, static_cast<int>(value.size()), value.data());
}

FRAME(jbyteArray, streamToByteArray, jbyteArray array, jint putPosition) try {
  std::ostringstream stream;
  stream << bytes(env, array);
  stream.seekp(putPosition);
  jbyteArray out = nullptr;
  ostringstreamToByteArray(env, stream, out);
  return out;
} catch (...) {
  return raised<jbyteArray>();
}

FRAME(void, log, jstring string, jint level) {
  logger2::log(text(env, string), static_cast<LOG_LEVEL>(level));
}

FRAME(jint, logKeepsErrno, jint error) {
  static_cast<void>(env);
  errno = error;
  ZOLT_ERROR("between");
  return errno;
}

FRAME(void, logWhilePending, jstring what) {
  const std::string whatText = text(env, what);
  env->ThrowNew(JniUtil::RuntimeException, whatText.c_str());
  ZOLT_ERROR("while pending");
}

FRAME(void, logUnattached, jstring string) {
  const std::string line = text(env, string);
  std::thread([&line] { logger2::log(line, LOG_ERROR); }).join();
}

FRAME0(jbyteArray, logThenMake) {
  loggerHasRaised = false;  // as in a library that has not met it yet
  ZOLT_ERROR("before");
  return convertChar2byteArray(env, 2, "ok");
}

FRAME0(jint, threshold) {
  static_cast<void>(env);
  return logger2::currentLevel;
}

FRAME(jboolean, setFSConfig, jboolean always) {
  Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setFSConfig(env, nullptr, always);
  return alwaysSuper ? JNI_TRUE : JNI_FALSE;
}

FRAME(jlongArray, setDefaultBlockSizeReplication, jlong blockSize, jint replication) {
  Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setDefaultBlockSizeReplication(
      env, nullptr, blockSize, replication);
  const jlong settings[] = {static_cast<jlong>(defaultBlockSize), defaultReplication};
  jlongArray result = env->NewLongArray(2);
  env->SetLongArrayRegion(result, 0, 2, settings);
  return result;
}
