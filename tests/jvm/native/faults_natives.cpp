// zolt.test.Faults
#include <stdexcept>
#include <string>

#include "faults.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "zolt_test_Faults.h"

using namespace zolt;

namespace {

std::string text(JNIEnv* env, jstring string) {
  std::string out;
  getString(env, string, out);
  return out;
}

std::string mountTable;  // the fault library keeps only a pointer

}  // namespace

JNIEXPORT void JNICALL Java_zolt_test_Faults_arm(JNIEnv* env, jclass, jstring function, jint first,
                                                 jint last, jint error) try {
  if (zolt_fault_arm(text(env, function).c_str(), first, last, error) != 0) {
    throw std::runtime_error("the fault library does not know " + text(env, function));
  }
} catch (...) {
  raiseInJava();
}

JNIEXPORT jint JNICALL Java_zolt_test_Faults_calls(JNIEnv* env, jclass, jstring function) {
  return zolt_fault_calls(text(env, function).c_str());
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_clear(JNIEnv*, jclass) {
  zolt_fault_clear();
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_mountTable(JNIEnv* env, jclass, jstring file) {
  mountTable = file != nullptr ? text(env, file) : "";
  zolt_fault_mount_table(file != nullptr ? mountTable.c_str() : nullptr);
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_directorySize(JNIEnv*, jclass, jlong size) {
  zolt_fault_directory_size(size);
}
