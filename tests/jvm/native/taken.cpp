#include "taken.h"

namespace zolt::test {

void countReferences(HookedEnv& hook) {
  hook.table.CallObjectMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list list) {
    return counted(HookedEnv::real()->CallObjectMethodV(env, object, method, list));
  };
  hook.table.ExceptionOccurred = [](JNIEnv* env) {
    return counted(HookedEnv::real()->ExceptionOccurred(env));
  };
  hook.table.GetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index) {
    return counted(HookedEnv::real()->GetObjectArrayElement(env, array, index));
  };
  hook.table.NewByteArray = [](JNIEnv* env, jsize length) {
    return counted(HookedEnv::real()->NewByteArray(env, length));
  };
  hook.table.NewObjectV = [](JNIEnv* env, jclass cls, jmethodID method, va_list list) {
    return counted(HookedEnv::real()->NewObjectV(env, cls, method, list));
  };
  hook.table.NewStringUTF = [](JNIEnv* env, const char* text) {
    return counted(HookedEnv::real()->NewStringUTF(env, text));
  };
  hook.table.DeleteLocalRef = [](JNIEnv* env, jobject reference) {
    if (reference != nullptr) --taken.referencesLeft;
    HookedEnv::real()->DeleteLocalRef(env, reference);
  };
}

void countLoans(HookedEnv& hook) {
  hook.table.GetStringUTFChars = [](JNIEnv* env, jstring string, jboolean* isCopy) {
    ++taken.strings;
    ++taken.stringsLeft;
    return HookedEnv::real()->GetStringUTFChars(env, string, isCopy);
  };
  hook.table.ReleaseStringUTFChars = [](JNIEnv* env, jstring string, const char* characters) {
    --taken.stringsLeft;
    HookedEnv::real()->ReleaseStringUTFChars(env, string, characters);
  };
  hook.table.GetByteArrayElements = [](JNIEnv* env, jbyteArray array, jboolean* isCopy) {
    ++taken.arrays;
    ++taken.arraysLeft;
    return HookedEnv::real()->GetByteArrayElements(env, array, isCopy);
  };
  hook.table.ReleaseByteArrayElements = [](JNIEnv* env, jbyteArray array, jbyte* elements,
                                           jint mode) {
    if (mode != JNI_COMMIT) --taken.arraysLeft;
    if (mode != JNI_ABORT) ++taken.arraysWrittenBack;
    HookedEnv::real()->ReleaseByteArrayElements(env, array, elements, mode);
  };
}

}  // namespace zolt::test
