// ZOLTNative: getAclStatus, setAcl, modifyAclEntries, removeAclEntries, removeDefaultAcl,
// removeAcl.
#include <cerrno>
#include <sstream>
#include <utility>

#include "acl/file_acl.h"
#include "jni/errors.h"
#include "jni/marshal.h"
#include "jni/native.h"
#include "status/failed_path.h"

using namespace zolt;

namespace {

bool getPath(JNIEnv* env, jstring javaPath, std::string& path) {
  if (getString(env, javaPath, path) == 0) return true;
  handle_error(env, EINVAL, "failed to get path");
  return false;
}

// A path that cannot be had ends the call without a word.
void change(JNIEnv* env, jstring javaPath, jbyteArray javaSpec, AclChange how) {
  std::string path;
  if (getString(env, javaPath, path) != 0) return;
  std::string spec;
  if (const int error = getString(env, javaSpec, spec); error != 0) {
    if (error == EINVAL) handle_error(env, EINVAL, path);
    return;
  }
  std::istringstream in(std::move(spec));
  if (const Failure failure = changeAcl(path, in, how)) handle_error(env, *failure);
}

}  // namespace

JNIEXPORT jbyteArray JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getAclStatus(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean isDirectory) try {
  std::string path;
  if (!getPath(env, javaPath, path)) return nullptr;
  std::string status;
  if (const Failure failure = aclStatus(path, isDirectory != JNI_FALSE, status)) {
    handle_error(env, *failure);
    getFailedPath(path.c_str(), false);
    return nullptr;
  }
  return convertChar2byteArray(env, static_cast<int>(status.size()), status.data());
} catch (...) {
  return raised<jbyteArray>();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_setAcl(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jbyteArray aclSpec) try {
  change(env, javaPath, aclSpec, AclChange::SET);
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_modifyAclEntries(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jbyteArray aclSpec) try {
  change(env, javaPath, aclSpec, AclChange::MODIFY);
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeAclEntries(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jbyteArray aclSpec) try {
  change(env, javaPath, aclSpec, AclChange::REMOVE);
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeDefaultAcl(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean isDirectory) try {
  std::string path;
  if (!getPath(env, javaPath, path)) return;
  if (const Failure failure = removeDefaultAcl(path, isDirectory != JNI_FALSE)) {
    handle_error(env, *failure);
  }
} catch (...) {
  raiseInJava();
}

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_removeAcl(
    JNIEnv* env, jclass /*cls*/, jstring javaPath, jboolean isDirectory) try {
  std::string path;
  if (!getPath(env, javaPath, path)) return;
  if (const Failure failure = removeAcl(path, isDirectory != JNI_FALSE)) {
    handle_error(env, *failure);
  }
} catch (...) {
  raiseInJava();
}
