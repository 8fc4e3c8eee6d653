#include "fake_vm.h"

#include <cstdarg>
#include <utility>

#include "fuzz.h"
#include "jni/jni_util.h"
#include "utf8_rules.h"

namespace zolt::fuzz {

namespace {

FakeVm* vm = nullptr;

// Most functions must not be called with an exception pending (JNI specification, "Exceptions and
// Error Codes").
FakeVm& quietVm() {
  REQUIRE(vm != nullptr && !vm->pending());
  return *vm;
}

jsize lengthOf(const std::string& bytes) {
  return static_cast<jsize>(bytes.size());
}

const char* getStringUtfChars(JNIEnv*, jstring string, jboolean* copied) {
  if (copied != nullptr) *copied = JNI_FALSE;
  return quietVm().at(string).bytes.c_str();
}

void releaseStringUtfChars(JNIEnv*, jstring string, const char* chars) {
  REQUIRE(vm->at(string).bytes.c_str() == chars);
}

jstring newStringUtf(JNIEnv*, const char* bytes) {
  REQUIRE(isModifiedUtf8(bytes));
  return quietVm().string(bytes);
}

jbyteArray newByteArray(JNIEnv*, jsize length) {
  REQUIRE(length >= 0);
  return static_cast<jbyteArray>(
      quietVm().make({std::string(static_cast<size_t>(length), '\0'), {}, {}}));
}

void setByteArrayRegion(JNIEnv*, jbyteArray array, jsize start, jsize length, const jbyte* bytes) {
  std::string& content = quietVm().at(array).bytes;
  REQUIRE(start >= 0 && length >= 0 && start <= lengthOf(content) - length);
  if (length != 0)
    content.replace(static_cast<size_t>(start), static_cast<size_t>(length),
                    reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
}

jsize getArrayLength(JNIEnv*, jarray array) {
  const FakeVm::Object& object = quietVm().at(array);
  return static_cast<jsize>(object.elements.size());
}

jobject getObjectArrayElement(JNIEnv*, jobjectArray array, jsize index) {
  const auto& elements = quietVm().at(array).elements;
  REQUIRE(index >= 0 && static_cast<size_t>(index) < elements.size());
  return vm->string(elements[static_cast<size_t>(index)]);
}

jobject newObject(JNIEnv*, jclass, jmethodID, va_list) {
  return quietVm().make({});
}

// HashMap.put, the only method.
jobject callObjectMethod(JNIEnv*, jobject map, jmethodID, va_list arguments) {
  const std::string& key = quietVm().at(va_arg(arguments, jobject)).bytes;
  const std::string& value = vm->at(va_arg(arguments, jobject)).bytes;
  const auto [place, isNew] = vm->at(map).pairs.insert_or_assign(key, value);
  return isNew ? nullptr : vm->make({});
}

jint throwNew(JNIEnv*, jclass, const char* text) {
  quietVm().raise(text);
  return 0;
}

jthrowable exceptionOccurred(JNIEnv*) {
  REQUIRE(!vm->pending());  // nothing here sets an exception aside
  return nullptr;
}

jboolean exceptionCheck(JNIEnv*) {
  return vm->pending() ? JNI_TRUE : JNI_FALSE;
}

void exceptionClear(JNIEnv*) {
  vm->clear();
}

void deleteLocalRef(JNIEnv*, jobject reference) {
  vm->drop(reference);
}

jint getEnv(JavaVM*, void** env, jint) {
  *env = vm->env();
  return JNI_OK;
}

}  // namespace

FakeVm::FakeVm() {
  vm = this;
  functions_.GetStringUTFChars = getStringUtfChars;
  functions_.ReleaseStringUTFChars = releaseStringUtfChars;
  functions_.NewStringUTF = newStringUtf;
  functions_.NewByteArray = newByteArray;
  functions_.SetByteArrayRegion = setByteArrayRegion;
  functions_.GetArrayLength = getArrayLength;
  functions_.GetObjectArrayElement = getObjectArrayElement;
  functions_.NewObjectV = newObject;
  functions_.CallObjectMethodV = callObjectMethod;
  functions_.ThrowNew = throwNew;
  functions_.ExceptionOccurred = exceptionOccurred;
  functions_.ExceptionCheck = exceptionCheck;
  functions_.ExceptionClear = exceptionClear;
  functions_.DeleteLocalRef = deleteLocalRef;
  invocation_.GetEnv = getEnv;
  env_.functions = &functions_;
  vm_.functions = &invocation_;
  JniUtil::javaVM = &vm_;
}

FakeVm::~FakeVm() {
  JniUtil::javaVM = nullptr;
  vm = nullptr;
  REQUIRE(alive_.empty());
}

jobject FakeVm::make(Object object) {
  auto* made = new Object(std::move(object));
  alive_.insert(made);
  return reinterpret_cast<jobject>(made);
}

FakeVm::Object& FakeVm::at(jobject reference) const {
  auto* object = reinterpret_cast<Object*>(reference);
  REQUIRE(alive_.count(object) == 1);
  return *object;
}

void FakeVm::drop(jobject reference) {
  if (reference == nullptr) return;
  alive_.erase(&at(reference));
  delete reinterpret_cast<Object*>(reference);
}

jstring FakeVm::string(const std::string& bytes) {
  return static_cast<jstring>(make({bytes, {}, {}}));
}

jobjectArray FakeVm::strings(const std::vector<std::string>& elements) {
  return static_cast<jobjectArray>(make({"", elements, {}}));
}

std::string FakeVm::bytesOf(jobject object) const {
  return at(object).bytes;
}

std::map<std::string, std::string> FakeVm::mapOf(jobject object) const {
  return at(object).pairs;
}

void FakeVm::raise(const std::string& text) {
  pending_ = true;
  exception_ = text;
}

std::string FakeVm::takeException() {
  return std::exchange(pending_, false) ? exception_ : "";
}

}  // namespace zolt::fuzz
