// zolt.test.Binding
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "acl/acl_util.h"
#include "base/logger2.h"
#include "hooked_env.h"
#include "jni/jni_util.h"
#include "jni/native.h"
#include "jni/pending.h"
#include "text.h"
#include "zolt_test_Binding.h"

using namespace zolt;
using test::HookedEnv;
using test::text;

namespace {

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

void* valueOf(const void* entry) {
  return *static_cast<void* const*>(entry);
}

void forgetEverything() {
  for (const void* entry : entries)
    *static_cast<void**>(const_cast<void*>(entry)) = nullptr;
}

const JNINativeInterface_* real() {
  return HookedEnv::real();
}

thread_local int callsBefore = 0;

bool failsNow() {
  return callsBefore-- == 0;
}

// The errors that are thrown for a failed lookup are not among the lookups that fail.
bool isErrorClass(const std::string& name) {
  return name.starts_with("java/lang/NoSuch") || name == "java/lang/NoClassDefFoundError" ||
         name == "java/lang/OutOfMemoryError";
}

void failLookups(HookedEnv& hook) {
  hook.table.FindClass = [](JNIEnv* env, const char* name) {
    const bool fails = !isErrorClass(name) && failsNow();
    return real()->FindClass(env, fails ? "no/such/Class" : name);
  };
  hook.table.GetMethodID = [](JNIEnv* env, jclass cls, const char* name, const char* signature) {
    return real()->GetMethodID(env, cls, failsNow() ? "noSuchMethod" : name, signature);
  };
  hook.table.GetStaticFieldID = [](JNIEnv* env, jclass cls, const char* name,
                                   const char* signature) {
    return real()->GetStaticFieldID(env, cls, failsNow() ? "noSuchField" : name, signature);
  };
}

void failReadingLog(HookedEnv& hook) {
  hook.table.GetStaticObjectField = [](JNIEnv* env, jclass, jfieldID) -> jobject {
    real()->ThrowNew(env, JniUtil::RuntimeException, "unreadable");
    return nullptr;
  };
}

void install(HookedEnv& hook, const std::string& failing, int nth) {
  callsBefore = nth;
  if (failing == "lookup") {
    failLookups(hook);
  } else if (failing == "NewGlobalRef") {
    hook.table.NewGlobalRef = [](JNIEnv* env, jobject object) {
      return failsNow() ? nullptr : real()->NewGlobalRef(env, object);
    };
  } else if (failing == "memory") {
    hook.table.FindClass = [](JNIEnv* env, const char* name) {
      if (!isErrorClass(name) && failsNow()) throw std::bad_alloc();
      return real()->FindClass(env, name);
    };
  } else if (failing == "LOG") {
    failReadingLog(hook);
  } else if (failing == "LOG, where its error class exists") {
    failReadingLog(hook);
    hook.table.FindClass = [](JNIEnv* env, const char* name) {
      const bool mapped = std::string(name) == "java/lang/NoFieldFoundError";
      return real()->FindClass(env, mapped ? "java/lang/NoSuchFieldError" : name);
    };
  } else if (failing != "nothing") {
    throw std::invalid_argument("no failure of " + failing);
  }
}

// To Java, whatever is pending there.
void answer(JNIEnv* env, jintArray out, std::initializer_list<jint> values) {
  const PendingException aside(env);
  env->SetIntArrayRegion(out, 0, static_cast<jsize>(values.size()), values.begin());
}

thread_local std::vector<jint> released;

// What a lookup of a member came to: its result, or 98 where it failed and left an id, 99 where it
// found none.
template <class Id>
jint outcome(JNIEnv* env, int result, Id id, Id before) {
  if (result == 0) return id == nullptr || id == before ? 99 : 0;
  if (id == nullptr && result == -1) return result;
  env->ExceptionClear();
  return 98;
}

}  // namespace

#define BINDING(type, name, ...) \
  JNIEXPORT type JNICALL Java_zolt_test_Binding_##name(JNIEnv* env, jclass, __VA_ARGS__)

BINDING(void, init, jstring failing, jint nth, jintArray out) try {
  const std::string what = text(env, failing);
  forgetEverything();
  int result = 0;
  {
    HookedEnv hook(env);
    install(hook, what, nth);
    result = JniUtil::init(env);
  }
  answer(env, out, {result});
} catch (...) {
  raiseInJava();
}

BINDING(void, load, jstring failing, jint nth, jintArray out) try {
  const std::string what = text(env, failing);
  JavaVM* vm = nullptr;
  env->GetJavaVM(&vm);
  forgetEverything();
  ACLUtil::uninit();
  int version = 0;
  {
    HookedEnv hook(env);
    install(hook, what, nth);
    version = JNI_OnLoad(vm, nullptr);
  }
  answer(env, out, {version, logger2::currentLevel, ACLUtil::bound() ? 1 : 0});
} catch (...) {
  raiseInJava();
}

JNIEXPORT jintArray JNICALL Java_zolt_test_Binding_uninit(JNIEnv* env, jclass) {
  released.clear();
  {
    HookedEnv hook(env);
    hook.table.DeleteGlobalRef = [](JNIEnv* hooked, jobject reference) {
      for (size_t i = 0; i < std::size(entries); ++i) {
        if (valueOf(entries[i]) == reference) released.push_back(static_cast<jint>(i));
      }
      real()->DeleteGlobalRef(hooked, reference);
    };
    JniUtil::uninit(env);
  }
  const auto count = static_cast<jsize>(released.size());
  jintArray order = env->NewIntArray(count);
  env->SetIntArrayRegion(order, 0, count, released.data());
  return order;
}

JNIEXPORT jbooleanArray JNICALL Java_zolt_test_Binding_set(JNIEnv* env, jclass) {
  constexpr jsize count = std::size(entries);
  jbooleanArray result = env->NewBooleanArray(count);
  for (jsize i = 0; i < count; ++i) {
    const jboolean value = valueOf(entries[i]) != nullptr ? JNI_TRUE : JNI_FALSE;
    env->SetBooleanArrayRegion(result, i, 1, &value);
  }
  return result;
}

BINDING(jint, findClass, jstring name) {
  jclass found = nullptr;
  const int result = JniUtil::findJavaClass(env, text(env, name).c_str(), &found);
  if (found != nullptr) env->DeleteGlobalRef(found);
  if (result != 0 && result != -1) env->ExceptionClear();
  return result;
}

BINDING(jint, methodId, jclass cls, jstring name, jstring signature, jboolean instance) {
  auto* const before = reinterpret_cast<jmethodID>(&released);  // no id of the VM's
  jmethodID id = before;
  const int result = JniUtil::getMethodId(env, cls, text(env, name).c_str(),
                                          text(env, signature).c_str(), &id, instance != JNI_FALSE);
  return outcome(env, result, id, before);
}

BINDING(jint, fieldId, jclass cls, jstring name, jstring signature, jboolean instance) {
  auto* const before = reinterpret_cast<jfieldID>(&released);
  jfieldID id = before;
  const int result = JniUtil::getFieldId(env, cls, text(env, name).c_str(),
                                         text(env, signature).c_str(), &id, instance != JNI_FALSE);
  return outcome(env, result, id, before);
}
