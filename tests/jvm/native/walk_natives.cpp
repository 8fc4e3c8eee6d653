// zolt.test.Walk
#include "walk.h"

#include <dirent.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <string>
#include <vector>

#include "hooked_env.h"
#include "jni/native.h"
#include "taken.h"
#include "text.h"
#include "zolt_test_walk_Walk.h"

using namespace zolt;
using test::counted;
using test::HookedEnv;
using test::taken;

namespace {

const JNINativeInterface_* real() {
  return HookedEnv::real();
}

// True for the call that shall fail, with the VM's own error pending.
bool fails(JNIEnv* env, const char* function) {
  if (!zolt_walk_step(function)) return false;
  jclass cls = real()->FindClass(env, "java/lang/OutOfMemoryError");
  real()->ThrowNew(env, cls, "injected");
  real()->DeleteLocalRef(env, cls);
  return true;
}

// What can fail for want of memory. Every one of them answers null then, ThrowNew a negative
// number.
void walkObjects(HookedEnv& hook) {
  hook.table.CallObjectMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list list) {
    if (fails(env, "CallObjectMethod")) return jobject{};
    return counted(real()->CallObjectMethodV(env, object, method, list));
  };
  hook.table.GetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index) {
    if (fails(env, "GetObjectArrayElement")) return jobject{};
    return counted(real()->GetObjectArrayElement(env, array, index));
  };
  hook.table.NewByteArray = [](JNIEnv* env, jsize length) {
    if (fails(env, "NewByteArray")) return jbyteArray{};
    return counted(real()->NewByteArray(env, length));
  };
  hook.table.NewIntArray = [](JNIEnv* env, jsize length) {
    if (fails(env, "NewIntArray")) return jintArray{};
    return counted(real()->NewIntArray(env, length));
  };
  hook.table.NewObjectV = [](JNIEnv* env, jclass cls, jmethodID method, va_list list) {
    if (fails(env, "NewObject")) return jobject{};
    return counted(real()->NewObjectV(env, cls, method, list));
  };
  hook.table.NewStringUTF = [](JNIEnv* env, const char* text) {
    if (!test::isLogLine(text) && fails(env, "NewStringUTF")) return jstring{};
    return counted(real()->NewStringUTF(env, text));
  };
  hook.table.ThrowNew = [](JNIEnv* env, jclass cls, const char* text) {
    return fails(env, "ThrowNew") ? -1 : real()->ThrowNew(env, cls, text);
  };
}

void walkLoans(HookedEnv& hook) {
  hook.table.GetStringUTFChars = [](JNIEnv* env, jstring string, jboolean* isCopy) {
    if (fails(env, "GetStringUTFChars")) return static_cast<const char*>(nullptr);
    ++taken.strings;
    ++taken.stringsLeft;
    return real()->GetStringUTFChars(env, string, isCopy);
  };
  hook.table.GetByteArrayElements = [](JNIEnv* env, jbyteArray array, jboolean* isCopy) {
    if (fails(env, "GetByteArrayElements")) return static_cast<jbyte*>(nullptr);
    ++taken.arrays;
    ++taken.arraysLeft;
    return real()->GetByteArrayElements(env, array, isCopy);
  };
  // Without an error: that is how a virtual machine says that it has no address to give.
  hook.table.GetDirectBufferAddress = [](JNIEnv* env, jobject buffer) {
    if (zolt_walk_step("GetDirectBufferAddress")) return static_cast<void*>(nullptr);
    return real()->GetDirectBufferAddress(env, buffer);
  };
  hook.table.GetDirectBufferCapacity = [](JNIEnv* env, jobject buffer) {
    if (zolt_walk_step("GetDirectBufferCapacity")) return jlong{-1};
    return real()->GetDirectBufferCapacity(env, buffer);
  };
}

jintArray ints(JNIEnv* env, const std::vector<jint>& values) {
  const auto count = static_cast<jsize>(values.size());
  jintArray array = env->NewIntArray(count);
  env->SetIntArrayRegion(array, 0, count, values.data());
  return array;
}

jobjectArray strings(JNIEnv* env, const std::vector<std::string>& texts) {
  const auto count = static_cast<jsize>(texts.size());
  jobjectArray array = env->NewObjectArray(count, env->FindClass("java/lang/String"), nullptr);
  for (jsize i = 0; i < count; ++i) {
    jstring text = env->NewStringUTF(texts[static_cast<size_t>(i)].c_str());
    env->SetObjectArrayElement(array, i, text);
    env->DeleteLocalRef(text);
  }
  return array;
}

}  // namespace

JNIEXPORT jthrowable JNICALL Java_zolt_test_walk_Walk_run(JNIEnv* env, jclass, jobject body,
                                                          jint failing, jint error, jint altered,
                                                          jint failingMemory, jint failingToo) {
  jmethodID method = env->GetMethodID(env->GetObjectClass(body), "run", "()V");
  taken = {};
  {
    HookedEnv hook(env);
    test::countReferences(hook);
    test::countLoans(hook);
    walkObjects(hook);
    walkLoans(hook);
    zolt_walk_begin(failing, error, altered, failingMemory, failingToo);
    env->CallVoidMethod(body, method);
    zolt_walk_end();
  }
  jthrowable thrown = env->ExceptionOccurred();
  env->ExceptionClear();
  return thrown;
}

JNIEXPORT jobjectArray JNICALL Java_zolt_test_walk_Walk_steps(JNIEnv* env, jclass) {
  std::vector<std::string> names;
  for (int step = 0; step < zolt_walk_steps(); ++step)
    names.emplace_back(zolt_walk_step_name(step));
  return strings(env, names);
}

JNIEXPORT jint JNICALL Java_zolt_test_walk_Walk_allocations(JNIEnv*, jclass) {
  return zolt_walk_allocations();
}

JNIEXPORT jintArray JNICALL Java_zolt_test_walk_Walk_left(JNIEnv* env, jclass) {
  std::vector<jint> left;
  for (int what = 0; what < static_cast<int>(faults::Holding::count); ++what)
    left.push_back(zolt_walk_left(what));
  left.insert(left.end(),
              {taken.stringsLeft, taken.arraysLeft, taken.arraysWrittenBack, taken.referencesLeft});
  return ints(env, left);
}

// An id of -1 is refused, and the present one answered (setfsuid(2)).
JNIEXPORT jintArray JNICALL Java_zolt_test_walk_Walk_identity(JNIEnv* env, jclass) {
  std::vector<gid_t> groups(static_cast<size_t>(getgroups(0, nullptr)));
  getgroups(static_cast<int>(groups.size()), groups.data());
  std::vector<jint> identity{setfsuid(static_cast<uid_t>(-1)), setfsgid(static_cast<gid_t>(-1))};
  std::ranges::copy(groups, std::back_inserter(identity));
  return ints(env, identity);
}

JNIEXPORT jobjectArray JNICALL Java_zolt_test_walk_Walk_entries(JNIEnv* env, jclass,
                                                                jstring directory) {
  std::vector<std::string> names;
  DIR* stream = opendir(test::text(env, directory).c_str());
  while (const dirent* entry = readdir(stream))
    names.emplace_back(entry->d_name);
  closedir(stream);
  return strings(env, names);
}

JNIEXPORT void JNICALL Java_zolt_test_walk_Walk_becomeDaemon(JNIEnv*, jclass) {
  setfsuid(geteuid());
  setfsgid(getegid());
}
