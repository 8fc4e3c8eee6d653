#include "jni/marshal.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>

#include "base/modified_utf8.h"
#include "jni/errors.h"
#include "jni/pending.h"

namespace zolt {

namespace {

jclass readOnlyBuffer = nullptr;

}  // namespace

StringChars::StringChars(JNIEnv* env, jstring string) : env_(env), string_(string) {
  if (string == nullptr) {
    error_ = Errno(EINVAL);
    return;
  }
  const AfterLog afterLog(env);
  chars_ = env->GetStringUTFChars(string, nullptr);
  if (chars_ != nullptr) return;
  error_ = Errno(ENOMEM);
  handle_error(env, ENOMEM, "");
}

int getString(JNIEnv* env, jstring javaString, std::string& out) {
  const StringChars chars(env, javaString);
  if (!chars.error()) out = chars.get();
  return chars.error().value();
}

ByteArrayElements::ByteArrayElements(JNIEnv* env, jbyteArray array) : env_(env), array_(array) {
  const AfterLog afterLog(env);
  bytes_ = env->GetByteArrayElements(array, nullptr);
  if (bytes_ != nullptr) size_ = static_cast<size_t>(env->GetArrayLength(array));
}

int getString(JNIEnv* env, jbyteArray javaBytes, std::string& out) {
  if (javaBytes == nullptr) return EINVAL;
  const ByteArrayElements bytes(env, javaBytes);
  if (bytes.data() == nullptr) {
    handle_error(env, ENOMEM, "");
    return ENOMEM;
  }
  out.assign(bytes.data(), bytes.size());
  return 0;
}

jbyteArray convertChar2byteArray(JNIEnv* env, int length, const char* bytes) {
  const AfterLog afterLog(env);
  jbyteArray array = env->NewByteArray(length);
  if (array != nullptr) {
    env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(bytes));
  }
  return array;
}

void ostringstreamToByteArray(JNIEnv* env, std::ostringstream& stream, jbyteArray& out) {
  stream.seekp(0, std::ios::end);
  const std::streamoff length = stream.tellp();
  // A stream keeps it to itself that it found no memory, and from then on writes nothing.
  if (length < 0) throw std::bad_alloc();
  out = convertChar2byteArray(env, static_cast<int>(length), stream.view().data());
}

jstring newString(JNIEnv* env, const char* bytes) {
  const AfterLog afterLog(env);
  const auto isAscii = [](char c) { return (c & 0x80) == 0; };
  if (std::ranges::all_of(std::string_view(bytes), isAscii)) return env->NewStringUTF(bytes);
  return env->NewStringUTF(toModifiedUtf8(bytes).c_str());
}

jstring stringAt(JNIEnv* env, jobjectArray strings, jsize index) {
  const AfterLog afterLog(env);
  return static_cast<jstring>(env->GetObjectArrayElement(strings, index));
}

jintArray newIntArray(JNIEnv* env, std::span<const int> numbers) {
  const AfterLog afterLog(env);
  const auto length = static_cast<jsize>(numbers.size());
  jintArray array = env->NewIntArray(length);
  if (array != nullptr) env->SetIntArrayRegion(array, 0, length, numbers.data());
  return array;
}

DirectBuffer directBuffer(JNIEnv* env, jobject buffer) {
  if (buffer == nullptr) return {};
  const AfterLog afterLog(env);
  void* address = env->GetDirectBufferAddress(buffer);
  const jlong capacity = env->GetDirectBufferCapacity(buffer);
  if (address == nullptr || capacity < 0) return {};
  if (readOnlyBuffer != nullptr && env->IsInstanceOf(buffer, readOnlyBuffer)) return {};
  return {static_cast<char*>(address), static_cast<unsigned long>(capacity)};
}

// Asking the buffer itself would cost a call into Java on the hottest paths. OpenJDK has one class
// for all of them, mapped ones included.
void rememberReadOnlyBuffers(JNIEnv* env) {
  const PendingException aside(env);
  jclass found = env->FindClass("java/nio/DirectByteBufferR");
  if (found == nullptr) {
    env->ExceptionClear();
    return;
  }
  readOnlyBuffer = static_cast<jclass>(env->NewGlobalRef(found));
  env->DeleteLocalRef(found);
  if (readOnlyBuffer != nullptr) return;
  // Without it a mapped file could be written to, which ends the process: better no library.
  if (jclass error = env->FindClass("java/lang/OutOfMemoryError")) {
    env->ThrowNew(error, "no global reference left");
  }
}

}  // namespace zolt
