// The cache of Java classes, ids and the logger object: resolved once at load, read-only
// afterwards.
#pragma once

#include <jni.h>

namespace zolt {

inline constexpr jint JNI_VERSION = JNI_VERSION_1_6;  // 0x10006

namespace JniUtil {

inline JavaVM* javaVM = nullptr;

inline jclass RuntimeException = nullptr;
inline jclass IOException = nullptr;
inline jclass NoSuchFileException = nullptr;
inline jclass BufferOverflowException = nullptr;
inline jclass AccessDeniedException = nullptr;

inline jclass ZOLTNative = nullptr;
inline jfieldID ZOLTNative_LOG = nullptr;
inline jobject ZOLTNative_LOG_jobj = nullptr;

inline jclass Log = nullptr;
inline jmethodID Log_isTraceEnabled = nullptr;
inline jmethodID Log_isDebugEnabled = nullptr;
inline jmethodID Log_isWarnEnabled = nullptr;
inline jmethodID Log_isInfoEnabled = nullptr;
inline jmethodID Log_isErrorEnabled = nullptr;
inline jmethodID Log_trace = nullptr;
inline jmethodID Log_debug = nullptr;
inline jmethodID Log_info = nullptr;
inline jmethodID Log_warn = nullptr;
inline jmethodID Log_error = nullptr;

inline jclass HASHMAP_CLS = nullptr;
inline jmethodID MTHID_HASHMAP_C_0 = nullptr;
inline jmethodID MTHID_HASHMAP_PUT_0 = nullptr;
inline jclass CLSID_STRING = nullptr;

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
