// The cache of Java classes, ids and the logger object: resolved once at load, read-only
// afterwards.
#pragma once

#include <jni.h>

namespace zolt {

inline constexpr jint JNI_VERSION = JNI_VERSION_1_6;  // 0x10006

namespace JniUtil {

extern JavaVM* javaVM;

extern jclass RuntimeException;
extern jclass IOException;
extern jclass NoSuchFileException;
extern jclass BufferOverflowException;
extern jclass AccessDeniedException;

extern jclass ZOLTNative;
extern jfieldID ZOLTNative_LOG;
extern jobject ZOLTNative_LOG_jobj;

extern jclass Log;
extern jmethodID Log_isTraceEnabled;
extern jmethodID Log_isDebugEnabled;
extern jmethodID Log_isWarnEnabled;
extern jmethodID Log_isInfoEnabled;
extern jmethodID Log_isErrorEnabled;
extern jmethodID Log_trace;
extern jmethodID Log_debug;
extern jmethodID Log_info;
extern jmethodID Log_warn;
extern jmethodID Log_error;

extern jclass HASHMAP_CLS;
extern jmethodID MTHID_HASHMAP_C_0;
extern jmethodID MTHID_HASHMAP_PUT_0;
extern jclass CLSID_STRING;

/// Resolves every entry in its prescribed order. 0, or -1 at the first failure with a Java error
/// pending; the entries after the failing one stay null. Called once, from JNI_OnLoad.
int init(JNIEnv* env);

/// Releases the global references of IOException, NoSuchFileException, AccessDeniedException,
/// ZOLTNative, Log and the logger object, and only those; logging is silent afterwards. For an
/// orderly unload by hand: nothing in the library calls it, and there is no JNI_OnUnload.
void uninit(JNIEnv* env);

/// The lookups behind init: 0, or -1 with NoClassDefFoundError, NoSuchMethodError or
/// NoSuchFieldError pending.
int findJavaClass(JNIEnv* env, const char* name, jclass* out);
int getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature, jmethodID* out,
                bool instance);
int getFieldId(JNIEnv* env, jclass cls, const char* name, const char* signature, jfieldID* out,
               bool instance);

/// The environment of the current thread; null when it is not attached to the VM.
JNIEnv* currentEnv();

}  // namespace JniUtil
}  // namespace zolt
