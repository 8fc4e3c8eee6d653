// zolt.test.Frame
#include <cerrno>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>

#include "hooked_env.h"
#include "jni/errors.h"
#include "jni/io_exception.h"
#include "jni/jni_util.h"
#include "jni/logger2.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "zolt_test_Frame.h"

using namespace zolt;
using test::HookedEnv;

namespace {

std::string text(JNIEnv* env, jstring string) {
  std::string out;
  getString(env, string, out);
  return out;
}

std::string bytes(JNIEnv* env, jbyteArray array) {
  std::string out;
  getString(env, array, out);
  return out;
}

struct Unknown {};

[[noreturn]] void throwKind(const std::string& kind, const std::string& what) {
  if (kind == "IOException") throw IOException(what, ENOENT);
  if (kind == "out_of_range") throw std::out_of_range(what);
  if (kind == "length_error") throw std::length_error(what);
  if (kind == "overflow_error") throw std::overflow_error(what);
  if (kind == "bad_alloc") throw std::bad_alloc();
  if (kind == "runtime_error") throw std::runtime_error(what);
  throw Unknown();
}

void answer(JNIEnv* env, jobjectArray out, const std::string& value) {
  jbyteArray array = convertChar2byteArray(env, static_cast<int>(value.size()), value.data());
  env->SetObjectArrayElement(out, 0, array);
}

// The binding cache's entries, in the order of their resolution.
const void* entries[] = {
    &JniUtil::RuntimeException,
    &JniUtil::IOException,
    &JniUtil::NoSuchFileException,
    &JniUtil::BufferOverflowException,
    &JniUtil::AccessDeniedException,
    &JniUtil::ZOLTNative,
    &JniUtil::ZOLTNative_LOG,
    &JniUtil::Log,
    &JniUtil::Log_isTraceEnabled,
    &JniUtil::Log_isDebugEnabled,
    &JniUtil::Log_isWarnEnabled,
    &JniUtil::Log_isInfoEnabled,
    &JniUtil::Log_isErrorEnabled,
    &JniUtil::Log_trace,
    &JniUtil::Log_debug,
    &JniUtil::Log_info,
    &JniUtil::Log_warn,
    &JniUtil::Log_error,
    &JniUtil::HASHMAP_CLS,
    &JniUtil::MTHID_HASHMAP_C_0,
    &JniUtil::MTHID_HASHMAP_PUT_0,
    &JniUtil::CLSID_STRING,
    &JniUtil::ZOLTNative_LOG_jobj,
};

bool isSet(const void* entry) {
  return *static_cast<void* const*>(entry) != nullptr;
}

void forgetEverything() {
  for (const void* entry : entries)
    *static_cast<void**>(const_cast<void*>(entry)) = nullptr;
}

// Counts the lookups of JniUtil::init and lets one of them fail as the VM does.
struct FailingLookup {
  static inline int left = 0;
  static bool now() { return left-- == 0; }

  static void install(HookedEnv& hook, int n) {
    left = n;
    hook.table.FindClass = [](JNIEnv* env, const char* name) {
      const bool fails = std::string(name).starts_with("java/lang/NoSuch") ||
                                 std::string(name) == "java/lang/NoClassDefFoundError"
                             ? false
                             : now();
      return HookedEnv::current->real()->FindClass(env, fails ? "no/such/Class" : name);
    };
    hook.table.GetMethodID = [](JNIEnv* env, jclass cls, const char* name, const char* signature) {
      return HookedEnv::current->real()->GetMethodID(env, cls, now() ? "noSuchMethod" : name,
                                                     signature);
    };
    hook.table.GetStaticFieldID = [](JNIEnv* env, jclass cls, const char* name,
                                     const char* signature) {
      return HookedEnv::current->real()->GetStaticFieldID(env, cls, now() ? "noSuchField" : name,
                                                          signature);
    };
  }
};

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

FRAME(jbyteArray, streamToByteArray, jbyteArray array, jint putPosition) {
  std::ostringstream stream;
  stream << bytes(env, array);
  stream.seekp(putPosition);
  jbyteArray out = nullptr;
  ostringstreamToByteArray(env, stream, out);
  return out;
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

FRAME0(jbyteArray, logThenMake) {
  ZOLT_ERROR("before");
  return convertChar2byteArray(env, 2, "ok");
}

FRAME0(jint, threshold) {
  static_cast<void>(env);
  return logger2::currentLevel;
}

FRAME(jint, initFailing, jint n) {
  forgetEverything();
  HookedEnv hook(env);
  FailingLookup::install(hook, n);
  return JniUtil::init(env);
}

FRAME0(jint, entriesSet) {
  static_cast<void>(env);
  int count = 0;
  for (const void* entry : entries)
    count += isSet(entry) ? 1 : 0;
  return count;
}

FRAME0(jint, init) {
  return JniUtil::init(env);
}

FRAME0(void, uninit) {
  JniUtil::uninit(env);
}

FRAME0(jbooleanArray, set) {
  constexpr jsize count = sizeof entries / sizeof entries[0];
  jbooleanArray result = env->NewBooleanArray(count);
  for (jsize i = 0; i < count; ++i) {
    const jboolean value = isSet(entries[i]) ? JNI_TRUE : JNI_FALSE;
    env->SetBooleanArrayRegion(result, i, 1, &value);
  }
  return result;
}

FRAME0(jintArray, load) {
  const jint results[] = {JNI_OnLoad(JniUtil::javaVM, nullptr), logger2::currentLevel};
  jthrowable pending = env->ExceptionOccurred();
  env->ExceptionClear();
  jintArray answer = env->NewIntArray(2);
  env->SetIntArrayRegion(answer, 0, 2, results);
  if (pending != nullptr) env->Throw(pending);
  return answer;
}

FRAME(jint, findClass, jstring name) {
  jclass found = nullptr;
  const int result = JniUtil::findJavaClass(env, text(env, name).c_str(), &found);
  if (found != nullptr) env->DeleteGlobalRef(found);
  return result;
}

FRAME(jint, methodId, jclass cls, jstring name, jstring signature, jboolean instance) {
  jmethodID id = nullptr;
  const int result = JniUtil::getMethodId(env, cls, text(env, name).c_str(),
                                          text(env, signature).c_str(), &id, instance != JNI_FALSE);
  return result == 0 && id == nullptr ? 99 : result;
}

FRAME(jint, fieldId, jclass cls, jstring name, jstring signature, jboolean instance) {
  jfieldID id = nullptr;
  const int result = JniUtil::getFieldId(env, cls, text(env, name).c_str(),
                                         text(env, signature).c_str(), &id, instance != JNI_FALSE);
  return result == 0 && id == nullptr ? 99 : result;
}

FRAME0(jint, initWithUnreadableLog) {
  forgetEverything();
  HookedEnv hook(env);
  hook.table.GetStaticObjectField = [](JNIEnv* hooked, jclass, jfieldID) -> jobject {
    HookedEnv::current->real()->ThrowNew(hooked, JniUtil::RuntimeException, "unreadable");
    return nullptr;
  };
  return JniUtil::init(env);
}

FRAME(jbyteArray, toByteArrayFailing, jstring function, jbyteArray array) {
  const std::string value = bytes(env, array);
  const std::string failing = text(env, function);
  HookedEnv hook(env);
  hook.fail(failing);
  return convertChar2byteArray(env, static_cast<int>(value.size()), value.data());
}

FRAME(jint, getStringFailing, jstring function, jstring string) {
  const std::string failing = text(env, function);
  HookedEnv hook(env);
  hook.fail(failing);
  std::string out;
  return getString(env, string, out);
}

FRAME(jint, getBytesFailing, jstring function, jbyteArray array) {
  const std::string failing = text(env, function);
  HookedEnv hook(env);
  hook.fail(failing);
  std::string out;
  return getString(env, array, out);
}

FRAME(void, logFailing, jstring function, jstring string) {
  const std::string line = text(env, string);
  const std::string failing = text(env, function);
  HookedEnv hook(env);
  hook.fail(failing);
  logger2::log(line, LOG_ERROR);
}

FRAME(jint, raiseFailing, jstring function, jstring kind, jstring what) {
  const std::string kindText = text(env, kind);
  const std::string whatText = text(env, what);
  HookedEnv hook(env);
  hook.fail(text(env, function));
  try {
    throwKind(kindText, whatText);
  } catch (...) {
    return raised<jint>(42);
  }
}
