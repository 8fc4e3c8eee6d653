// zolt.test.Kernel: raw calls.
#include <acl/libacl.h>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "acl/acl_util.h"
#include "jni/native.h"
#include "stage.h"
#include "text.h"
#include "zolt_test_Kernel.h"

using namespace zolt;
using test::text;

namespace {

int outcome(long result) {
  return result < 0 ? errno : 0;
}

jobject bytesOrErrno(JNIEnv* env, ssize_t result, const char* bytes) {
  if (result >= 0) return convertChar2byteArray(env, static_cast<int>(result), bytes);
  const int error = errno;
  jclass integer = env->FindClass("java/lang/Integer");
  jmethodID valueOf = env->GetStaticMethodID(integer, "valueOf", "(I)Ljava/lang/Integer;");
  jobject boxed = env->CallStaticObjectMethod(integer, valueOf, error);
  env->ExceptionCheck();
  return boxed;
}

jstring named(JNIEnv* env, const char* name) {
  return name != nullptr ? newString(env, name) : nullptr;
}

struct FreeAcl {
  void operator()(void* object) const { ACLUtil::acl_free(object); }
};
using Acl = std::unique_ptr<std::remove_pointer_t<acl_t>, FreeAcl>;
struct CloseDir {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

template <class Each>
void eachEntry(acl_t list, const Each& each) {
  acl_entry_t entry = nullptr;
  for (int which = ACL_FIRST_ENTRY; ACLUtil::acl_get_entry(list, which, &entry) == 1;
       which = ACL_NEXT_ENTRY) {
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    ACLUtil::acl_get_tag_type(entry, &tag);
    int32_t id = -1;
    if (tag == ACL_USER || tag == ACL_GROUP) {
      const std::unique_ptr<void, FreeAcl> qualifier(ACLUtil::acl_get_qualifier(entry));
      memcpy(&id, qualifier.get(), sizeof id);
    }
    each(entry, tag, id);
  }
}

void put(std::string& out, const void* value, size_t size) {
  out.append(static_cast<const char*>(value), size);
}

std::string streamOf(acl_t list, int32_t type) {
  std::string out;
  eachEntry(list, [&](acl_entry_t entry, int32_t tag, int32_t id) {
    acl_permset_t set = nullptr;
    ACLUtil::acl_get_permset(entry, &set);
    int32_t bits = 0;
    for (const unsigned bit : {4U, 2U, 1U})
      if (ACLUtil::acl_get_perm(set, bit) == 1) bits |= static_cast<int32_t>(bit);
    put(out, &type, 4);
    put(out, &tag, 4);
    if (tag == ACL_USER || tag == ACL_GROUP) put(out, &id, 4);
    put(out, &bits, 4);
  });
  return out;
}

timer_t stormTimer;
volatile sig_atomic_t interruptions = 0;

void interrupted(int /*signal*/) {
  interruptions = interruptions + 1;
}

}  // namespace

extern "C" {

JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_strerror(JNIEnv* env, jclass, jint error) {
  std::array<char, 512> buffer{};
  return newString(env, strerror_r(error, buffer.data(), buffer.size()));
}

JNIEXPORT jlongArray JNICALL Java_zolt_test_Kernel_stat(JNIEnv* env, jclass, jstring path,
                                                        jboolean follow) {
  struct stat st;
  const std::string name = text(env, path);
  const int failed = fstatat(AT_FDCWD, name.c_str(), &st, follow ? 0 : AT_SYMLINK_NOFOLLOW);
  std::vector<jlong> all{-errno};
  if (failed == 0) {
    all = {static_cast<jlong>(st.st_ino),
           st.st_size,
           st.st_uid,
           st.st_gid,
           st.st_mode,
           st.st_atim.tv_sec,
           st.st_atim.tv_nsec,
           st.st_mtim.tv_sec,
           st.st_mtim.tv_nsec,
           st.st_ctim.tv_sec,
           st.st_ctim.tv_nsec,
           st.st_blksize};
  }
  jlongArray out = env->NewLongArray(static_cast<jsize>(all.size()));
  env->SetLongArrayRegion(out, 0, static_cast<jsize>(all.size()), all.data());
  return out;
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_open(JNIEnv* env, jclass, jstring path,
                                                  jboolean follow) {
  const int fd = openat(AT_FDCWD, text(env, path).c_str(),
                        O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW));
  if (fd < 0) return -errno;
  close(fd);
  return 0;
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_chmod(JNIEnv* env, jclass, jstring path, jint mode) {
  return outcome(fchmodat(AT_FDCWD, text(env, path).c_str(), static_cast<mode_t>(mode), 0));
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_setTimes(JNIEnv* env, jclass, jstring path,
                                                      jlong mtime, jlong atime) {
  const auto time = [](jlong ms) {
    return ms == -1 ? timespec{0, UTIME_OMIT} : timespec{ms / 1000, ms % 1000 * 1000000};
  };
  const timespec times[] = {time(atime), time(mtime)};
  return outcome(syscall(SYS_utimensat, -1, text(env, path).c_str(), times, 0));
}

JNIEXPORT jobject JNICALL Java_zolt_test_Kernel_readlink(JNIEnv* env, jclass, jstring path,
                                                         jint room) {
  std::vector<char> out(static_cast<size_t>(room));
  return bytesOrErrno(env, readlinkat(AT_FDCWD, text(env, path).c_str(), out.data(), out.size()),
                      out.data());
}

JNIEXPORT jobject JNICALL Java_zolt_test_Kernel_getxattr(JNIEnv* env, jclass, jstring path,
                                                         jboolean follow, jstring name, jint room) {
  std::vector<char> out(static_cast<size_t>(room) + 1);
  const long length = syscall(follow ? SYS_getxattr : SYS_lgetxattr, text(env, path).c_str(),
                              text(env, name).c_str(), out.data(), static_cast<size_t>(room));
  return bytesOrErrno(env, length, out.data());
}

JNIEXPORT jobject JNICALL Java_zolt_test_Kernel_listxattr(JNIEnv* env, jclass, jstring path) {
  std::vector<char> out(1U << 16);
  const long length = syscall(SYS_llistxattr, text(env, path).c_str(), out.data(), out.size());
  return bytesOrErrno(env, length, out.data());
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_setxattr(JNIEnv* env, jclass, jstring path,
                                                      jboolean follow, jstring name,
                                                      jbyteArray value, jint flags) {
  const std::string bytes = test::bytes(env, value);
  return outcome(syscall(follow ? SYS_setxattr : SYS_lsetxattr, text(env, path).c_str(),
                         text(env, name).c_str(), bytes.data(), bytes.size(), flags));
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_removexattr(JNIEnv* env, jclass, jstring path,
                                                         jboolean follow, jstring name) {
  return outcome(syscall(follow ? SYS_removexattr : SYS_lremovexattr, text(env, path).c_str(),
                         text(env, name).c_str()));
}

JNIEXPORT jobject JNICALL Java_zolt_test_Kernel_entries(JNIEnv* env, jclass, jstring path) {
  const std::unique_ptr<DIR, CloseDir> dir(::opendir(text(env, path).c_str()));
  if (dir == nullptr) return bytesOrErrno(env, -1, nullptr);
  std::string out;
  while (const dirent* entry = ::readdir(dir.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const uint16_t type = entry->d_type;
    const auto length = static_cast<uint32_t>(name.size());
    put(out, &entry->d_ino, 8);
    put(out, &type, 2);
    put(out, &length, 4);
    out += name;
  }
  return bytesOrErrno(env, static_cast<ssize_t>(out.size()), out.data());
}

JNIEXPORT jobject JNICALL Java_zolt_test_Kernel_acl(JNIEnv* env, jclass, jstring path, jint type) {
  const Acl list(ACLUtil::acl_get_file(text(env, path).c_str(), static_cast<acl_type_t>(type)));
  if (list == nullptr) return bytesOrErrno(env, -1, nullptr);
  const std::string stream = streamOf(list.get(), type);
  return bytesOrErrno(env, static_cast<ssize_t>(stream.size()), stream.data());
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_storeAcl(JNIEnv* env, jclass, jstring path, jint type,
                                                      jstring entries) {
  const Acl list(entries != nullptr ? ACLUtil::acl_from_text(text(env, entries).c_str())
                                    : ACLUtil::acl_init(0));
  return outcome(
      ACLUtil::acl_set_file(text(env, path).c_str(), static_cast<acl_type_t>(type), list.get()));
}

JNIEXPORT jint JNICALL Java_zolt_test_Kernel_reduceAcl(JNIEnv* env, jclass, jstring path, jint tags,
                                                       jint id) {
  const std::string file = text(env, path);
  const Acl list(ACLUtil::acl_get_file(file.c_str(), ACL_TYPE_ACCESS));
  if (list == nullptr) return errno;
  std::vector<acl_entry_t> doomed;
  eachEntry(list.get(), [&](acl_entry_t entry, int32_t tag, int32_t entryId) {
    if ((tag & tags) != 0 && (id == -1 || id == entryId)) doomed.push_back(entry);
  });
  for (acl_entry_t entry : doomed)
    ACLUtil::acl_delete_entry(list.get(), entry);
  return outcome(ACLUtil::acl_set_file(file.c_str(), ACL_TYPE_ACCESS, list.get()));
}

JNIEXPORT jlong JNICALL Java_zolt_test_Kernel_uid(JNIEnv* env, jclass, jstring name) {
  const passwd* found = getpwnam(text(env, name).c_str());
  return found != nullptr ? jlong{found->pw_uid} : -1;
}
JNIEXPORT jlong JNICALL Java_zolt_test_Kernel_gid(JNIEnv* env, jclass, jstring name) {
  const group* found = getgrnam(text(env, name).c_str());
  return found != nullptr ? jlong{found->gr_gid} : -1;
}
JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_user(JNIEnv* env, jclass, jint uid) {
  const passwd* found = getpwuid(static_cast<uid_t>(uid));
  return named(env, found != nullptr ? found->pw_name : nullptr);
}
JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_group(JNIEnv* env, jclass, jint gid) {
  const group* found = getgrgid(static_cast<gid_t>(gid));
  return named(env, found != nullptr ? found->gr_name : nullptr);
}

JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_thread(JNIEnv* env, jclass) {
  return newString(env, test::threadIdentity());
}

JNIEXPORT void JNICALL Java_zolt_test_Kernel_groups(JNIEnv* env, jclass, jintArray ids) {
  std::vector<gid_t> groups(static_cast<size_t>(env->GetArrayLength(ids)));
  env->GetIntArrayRegion(ids, 0, env->GetArrayLength(ids), reinterpret_cast<jint*>(groups.data()));
  syscall(SYS_setgroups, groups.size(), groups.data());
}

JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_descriptors(JNIEnv* env, jclass) {
  return newString(env, test::descriptors());
}

JNIEXPORT void JNICALL Java_zolt_test_Kernel_build(JNIEnv* env, jclass, jstring dir,
                                                   jstring only) try {
  test::buildStage(text(env, dir), text(env, only));
} catch (...) {
  raiseInJava();
}

JNIEXPORT jstring JNICALL Java_zolt_test_Kernel_tree(JNIEnv* env, jclass, jstring dir,
                                                     jint with) try {
  return newString(env, test::treeOf(text(env, dir), with));
} catch (...) {
  return raised<jstring>();
}

JNIEXPORT void JNICALL Java_zolt_test_Kernel_storm(JNIEnv*, jclass, jint microseconds) {
  struct sigaction action {};
  action.sa_handler = interrupted;  // and no SA_RESTART
  sigaction(SIGPROF, &action, nullptr);
  interruptions = 0;
  sigevent event{};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = SIGPROF;
  event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
  timer_create(CLOCK_MONOTONIC, &event, &stormTimer);
  const itimerspec every{{0, microseconds * 1000L}, {0, microseconds * 1000L}};
  timer_settime(stormTimer, 0, &every, nullptr);
}

JNIEXPORT jlong JNICALL Java_zolt_test_Kernel_calm(JNIEnv*, jclass) {
  timer_delete(stormTimer);
  return interruptions;
}

}  // extern "C"
