// zolt.test.Faults
#include <sys/xattr.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "faults.h"
#include "jni/native.h"
#include "text.h"
#include "zolt_test_Faults.h"

using namespace zolt;
using test::text;

namespace {

// The fault library keeps only pointers.
std::string mountTable;
std::string xattrNames;

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

JNIEXPORT void JNICALL Java_zolt_test_Faults_xattrNames(JNIEnv* env, jclass, jbyteArray names) {
  if (getString(env, names, xattrNames) == 0) {
    zolt_fault_xattr_names(xattrNames.data(), static_cast<int>(xattrNames.size()));
  } else {
    zolt_fault_xattr_names(nullptr, 0);
  }
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_xattrLengths(JNIEnv*, jclass, jlong value,
                                                          jlong list) {
  zolt_fault_xattr_lengths(value, list);
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_storeXattr(JNIEnv* env, jclass, jstring javaPath,
                                                        jbyteArray javaName,
                                                        jbyteArray javaValue) try {
  std::string name;
  std::string value;
  getString(env, javaName, name);
  getString(env, javaValue, value);
  if (setxattr(text(env, javaPath).c_str(), name.c_str(), value.data(), value.size(), 0) != 0) {
    throw std::system_error(errno, std::generic_category(), name);
  }
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_removeXattr(JNIEnv* env, jclass, jstring javaPath,
                                                         jbyteArray javaName) try {
  std::string name;
  getString(env, javaName, name);
  if (removexattr(text(env, javaPath).c_str(), name.c_str()) != 0) {
    throw std::system_error(errno, std::generic_category(), name);
  }
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_realtime(JNIEnv*, jclass, jlong seconds,
                                                      jint nanoseconds) {
  const timespec time{seconds, nanoseconds};
  zolt_fault_realtime(&time);
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_user(JNIEnv* env, jclass, jstring name, jint uid,
                                                  jint gid, jlong bytes) {
  zolt_fault_user(text(env, name).c_str(), static_cast<unsigned>(uid), static_cast<unsigned>(gid),
                  static_cast<unsigned long>(bytes));
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_group(JNIEnv* env, jclass, jstring name, jint gid,
                                                   jlong bytes) {
  zolt_fault_group(text(env, name).c_str(), static_cast<unsigned>(gid),
                   static_cast<unsigned long>(bytes));
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_slowLookups(JNIEnv*, jclass, jint milliseconds) {
  zolt_fault_slow_lookups(milliseconds);
}

JNIEXPORT void JNICALL Java_zolt_test_Faults_attribute(JNIEnv*, jclass, jint offset, jint size,
                                                       jlong value) {
  zolt_fault_attribute(static_cast<unsigned>(offset), static_cast<unsigned>(size),
                       static_cast<unsigned long long>(value));
}
