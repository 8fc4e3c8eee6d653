#include "jni/jni_util.h"

#include <initializer_list>
#include <string>
#include <variant>

namespace zolt::JniUtil {

namespace {

// One lookup of the cache: a class, or a member of a class resolved by an earlier row.
struct Binding {
  jclass* owner;
  const char* name;
  const char* signature;
  std::variant<jclass*, jmethodID*, jfieldID*> target;
};

constexpr const char* QUESTION = "()Z";
constexpr const char* SPEAK = "(Ljava/lang/String;)V";

// The order is part of the contract: what follows a failing row stays unset.
const Binding bindings[] = {
    {nullptr, "java/lang/RuntimeException", nullptr, &RuntimeException},
    {nullptr, "java/io/IOException", nullptr, &IOException},
    {nullptr, "java/nio/file/NoSuchFileException", nullptr, &NoSuchFileException},
    {nullptr, "java/nio/BufferOverflowException", nullptr, &BufferOverflowException},
    {nullptr, "java/nio/file/AccessDeniedException", nullptr, &AccessDeniedException},
    {nullptr, "org/apache/hadoop/hdfs/server/namenode/ZOLTNative", nullptr, &ZOLTNative},
    {&ZOLTNative, "LOG", "Lorg/slf4j/Logger;", &ZOLTNative_LOG},
    {nullptr, "org/slf4j/Logger", nullptr, &Log},
    {&Log, "isTraceEnabled", QUESTION, &Log_isTraceEnabled},
    {&Log, "isDebugEnabled", QUESTION, &Log_isDebugEnabled},
    {&Log, "isWarnEnabled", QUESTION, &Log_isWarnEnabled},
    {&Log, "isInfoEnabled", QUESTION, &Log_isInfoEnabled},
    {&Log, "isErrorEnabled", QUESTION, &Log_isErrorEnabled},
    {&Log, "trace", SPEAK, &Log_trace},
    {&Log, "debug", SPEAK, &Log_debug},
    {&Log, "info", SPEAK, &Log_info},
    {&Log, "warn", SPEAK, &Log_warn},
    {&Log, "error", SPEAK, &Log_error},
    // In descriptor form, for compatibility: HotSpot accepts it and only -Xcheck:jni remarks on it.
    {nullptr, "Ljava/util/HashMap;", nullptr, &HASHMAP_CLS},
    {&HASHMAP_CLS, "<init>", "()V", &MTHID_HASHMAP_C_0},
    {&HASHMAP_CLS, "put", "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;",
     &MTHID_HASHMAP_PUT_0},
    {nullptr, "Ljava/lang/String;", nullptr, &CLSID_STRING},
};

int resolve(JNIEnv* env, const Binding& row) {
  if (const auto* cls = std::get_if<jclass*>(&row.target)) {
    return findJavaClass(env, row.name, *cls);
  }
  if (const auto* method = std::get_if<jmethodID*>(&row.target)) {
    return getMethodId(env, *row.owner, row.name, row.signature, *method, true);
  }
  return getFieldId(env, *row.owner, row.name, row.signature, std::get<jfieldID*>(row.target),
                    false);
}

// Replaces the pending exception by one of the named class. Where that class is not found either,
// the error that FindClass left stays pending and the answer is -1.
int throwInstead(JNIEnv* env, const char* className, const std::string& message) {
  env->ExceptionClear();
  jclass cls = env->FindClass(className);
  return cls != nullptr ? env->ThrowNew(cls, message.c_str()) : -1;
}

// A global reference of what is not null. The VM has none left to give: its error, and -1.
int keep(JNIEnv* env, jobject local, jobject* out) {
  *out = env->NewGlobalRef(local);
  if (*out != nullptr || local == nullptr) return 0;
  throwInstead(env, "java/lang/OutOfMemoryError", "no global reference left");
  return -1;
}

void release(JNIEnv* env, jobject& reference) {
  if (reference == nullptr) return;
  env->DeleteGlobalRef(reference);
  reference = nullptr;
}

}  // namespace

int findJavaClass(JNIEnv* env, const char* name, jclass* out) {
  jclass found = env->FindClass(name);
  if (env->ExceptionCheck()) {
    throwInstead(env, "java/lang/NoClassDefFoundError", std::string("Cannot find class ") + name);
    return -1;
  }
  jobject global = nullptr;
  const int result = keep(env, found, &global);
  *out = static_cast<jclass>(global);
  return result;
}

int getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature, jmethodID* out,
                bool instance) {
  *out = instance ? env->GetMethodID(cls, name, signature)
                  : env->GetStaticMethodID(cls, name, signature);
  if (env->ExceptionCheck()) {
    throwInstead(env, "java/lang/NoSuchMethodError",
                 std::string("Cannot find methold ") + name + signature);
    return -1;
  }
  return 0;
}

int getFieldId(JNIEnv* env, jclass cls, const char* name, const char* signature, jfieldID* out,
               bool instance) {
  *out = instance ? env->GetFieldID(cls, name, signature)
                  : env->GetStaticFieldID(cls, name, signature);
  if (env->ExceptionCheck()) {
    throwInstead(env, "java/lang/NoSuchFieldError", std::string("Cannot find field ") + name);
    return -1;
  }
  return 0;
}

int init(JNIEnv* env) {
  env->GetJavaVM(&javaVM);
  for (const Binding& row : bindings) {
    if (resolve(env, row) != 0) return -1;
  }
  jobject logger = env->GetStaticObjectField(ZOLTNative, ZOLTNative_LOG);
  if (env->ExceptionCheck()) {
    return throwInstead(env, "java/lang/NoFieldFoundError", "Cannot get object: ZOLTNative.LOG");
  }
  return keep(env, logger, &ZOLTNative_LOG_jobj);
}

void uninit(JNIEnv* env) {
  for (jclass* cls :
       {&IOException, &NoSuchFileException, &AccessDeniedException, &ZOLTNative, &Log}) {
    jobject reference = *cls;
    release(env, reference);
    *cls = nullptr;
  }
  release(env, ZOLTNative_LOG_jobj);
}

JNIEnv* currentEnv() {
  void* env = nullptr;
  if (javaVM != nullptr) javaVM->GetEnv(&env, JNI_VERSION);
  return static_cast<JNIEnv*>(env);
}

}  // namespace zolt::JniUtil
