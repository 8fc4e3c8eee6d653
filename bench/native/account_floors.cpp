// Floors of the names of users and groups, and of the identity switch.
#include <grp.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

#define ADVICE(what, id) \
  "\", create the " what " on all kolvane nodes with the same " id " and try it again!"

constexpr const char* USER_ADVICE = ADVICE("user", "uid");
constexpr const char* GROUP_ADVICE = ADVICE("group", "gid");

/// An entry of a database, and the memory that its strings lie in.
template <class Entry>
struct Found {
  std::vector<char> buffer;
  Entry entry{};
  Entry* found = nullptr;

  template <class Lookup, class Key>
  Found(int sizeKey, const Lookup& lookup, Key key)
      : buffer(static_cast<size_t>(sysconf(sizeKey))) {
    lookup(key, &entry, buffer.data(), buffer.size(), &found);
  }
};

Found<passwd> user(const char* name) {
  return {_SC_GETPW_R_SIZE_MAX, getpwnam_r, name};
}

}  // namespace

}  // namespace floors

using namespace floors;

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_uid(JNIEnv* env, jclass, jstring javaUser) {
  const Chars name(env, javaUser);
  const Found<passwd> user = floors::user(name.get());
  if (user.found != nullptr) return static_cast<jint>(user.entry.pw_uid);
  raise(env, EINVAL, {"Unknown user \"", name.get(), USER_ADVICE});
  return -1;
}

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_gid(JNIEnv* env, jclass, jstring javaGroup) {
  const Chars name(env, javaGroup);
  const Found<group> group(_SC_GETGR_R_SIZE_MAX, getgrnam_r, name.get());
  if (group.found != nullptr) return static_cast<jint>(group.entry.gr_gid);
  raise(env, EINVAL, {"Unknown group \"", name.get(), GROUP_ADVICE});
  return -1;
}

JNIEXPORT jstring JNICALL Java_zolt_bench_Floor_user(JNIEnv* env, jclass, jint uid) {
  const Found<passwd> user(_SC_GETPW_R_SIZE_MAX, getpwuid_r, static_cast<uid_t>(uid));
  if (user.found != nullptr) return env->NewStringUTF(user.entry.pw_name);
  raise(env, EINVAL, {"Unknown uid \"", std::to_string(uid).c_str(), USER_ADVICE});
  return nullptr;
}

JNIEXPORT jstring JNICALL Java_zolt_bench_Floor_group(JNIEnv* env, jclass, jint gid) {
  const Found<group> group(_SC_GETGR_R_SIZE_MAX, getgrgid_r, static_cast<gid_t>(gid));
  if (group.found != nullptr) return env->NewStringUTF(group.entry.gr_name);
  raise(env, EINVAL, {"Unknown gid \"", std::to_string(gid).c_str(), GROUP_ADVICE});
  return nullptr;
}

// For a user whose primary group is not the service's own; "nobody" stands in for an unknown one.
// The two ids before go into one number.
JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_identity(JNIEnv* env, jclass, jstring javaUser) {
  const Chars name(env, javaUser);
  Found<passwd> user = floors::user(name.get());
  if (user.found == nullptr) user = floors::user("nobody");
  gid_t groups[128];
  int count = 128;
  getgrouplist(name.get(), user.entry.pw_gid, groups, &count);
  syscall(SYS_setgroups, count, groups);
  const auto uid = static_cast<uint32_t>(setfsuid(user.entry.pw_uid));
  const auto gid = static_cast<uint32_t>(setfsgid(user.entry.pw_gid));
  return static_cast<jlong>(uint64_t{uid} << 32 | gid);
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_restore(JNIEnv*, jclass, jlong ids) {
  setfsuid(static_cast<uid_t>(static_cast<uint64_t>(ids) >> 32));
  setfsgid(static_cast<gid_t>(ids));
}

// A handle that is no switch's: the text is all there is to it.
JNIEXPORT void JNICALL Java_zolt_bench_Floor_unknownHandle(JNIEnv* env, jclass, jlong handle) {
  raiseText(env, {"Unknown handle ", std::to_string(handle).c_str()});
}
