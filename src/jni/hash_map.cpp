#include "jni/hash_map.h"

#include "jni/jni_util.h"
#include "jni/marshal.h"
#include "jni/pending.h"

namespace zolt {

namespace {

jobject newHashMap(JNIEnv* env) {
  const AfterLog afterLog(env);
  return env->NewObject(JniUtil::HASHMAP_CLS, JniUtil::MTHID_HASHMAP_C_0);
}

}  // namespace

HashMap::HashMap(JNIEnv* env) : env_(env), map_(env, newHashMap(env)) {}

bool HashMap::put(jstring key, int length, const char* value) {
  const LocalRef<jbyteArray> bytes(env_, convertChar2byteArray(env_, length, value));
  if (bytes.get() == nullptr) return false;
  const AfterLog afterLog(env_);
  const LocalRef<jobject> replaced(
      env_, env_->CallObjectMethod(map_.get(), JniUtil::MTHID_HASHMAP_PUT_0, key, bytes.get()));
  return !env_->ExceptionCheck();
}

bool HashMap::put(const char* key, int length, const char* value) {
  const LocalRef<jstring> javaKey(env_, newString(env_, key));
  return javaKey.get() != nullptr && put(javaKey.get(), length, value);
}

}  // namespace zolt
