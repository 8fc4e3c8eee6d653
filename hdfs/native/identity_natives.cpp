// The identity of a thread, and what the user database knows.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "identity.h"
#include "native.h"

using zolt::hdfs::raised;

namespace {

// The bytes that the VM lends for a string.
class Chars {
 public:
  Chars(JNIEnv* env, jstring string) : env_(env), string_(string) {
    if (string == nullptr) throw std::invalid_argument("null");
    chars_ = env->GetStringUTFChars(string, nullptr);
    if (chars_ == nullptr) throw std::bad_alloc();
  }
  ~Chars() { env_->ReleaseStringUTFChars(string_, chars_); }
  Chars(const Chars&) = delete;
  Chars& operator=(const Chars&) = delete;

  const char* get() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring string_;
  const char* chars_ = nullptr;
};

constexpr size_t FIRST_ROOM = 4096;
constexpr size_t MOST_ROOM = size_t{1} << 24;
constexpr int FIRST_GROUPS = 64;

// The entry of a user; false for a user whom the database does not have. Some databases answer that
// with an error of their own (getpwnam(3)).
bool find(const char* name, passwd& entry, std::vector<char>& memory) {
  for (;;) {
    passwd* found = nullptr;
    const int error = getpwnam_r(name, &entry, memory.data(), memory.size(), &found);
    if (found != nullptr) return true;
    if (error == ERANGE && memory.size() < MOST_ROOM) {
      memory.resize(2 * memory.size());
    } else if (error == 0 || error == ENOENT || error == ESRCH) {
      return false;
    } else if (error != EINTR) {
      throw std::runtime_error(std::string("the user database cannot be asked: ") +
                               strerror(error));
    }
  }
}

std::vector<jint> idsOf(const passwd& entry) {
  int count = FIRST_GROUPS;
  std::vector<gid_t> groups(static_cast<size_t>(count));
  while (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
    if (count <= static_cast<int>(groups.size())) throw std::runtime_error("getgrouplist failed");
    groups.resize(static_cast<size_t>(count));
  }
  std::vector<jint> ids{static_cast<jint>(entry.pw_uid), static_cast<jint>(entry.pw_gid)};
  for (int i = 0; i < count; ++i)
    ids.push_back(static_cast<jint>(groups[static_cast<size_t>(i)]));
  return ids;
}

}  // namespace

JNIEXPORT jintArray JNICALL Java_zolt_hdfs_namespace_NativeFiles_credentials(JNIEnv* env, jclass,
                                                                             jstring user) try {
  const Chars name(env, user);
  std::vector<char> memory(FIRST_ROOM);
  passwd entry{};
  if (!find(name.get(), entry, memory)) return nullptr;
  const std::vector<jint> ids = idsOf(entry);
  jintArray array = env->NewIntArray(static_cast<jsize>(ids.size()));
  if (array == nullptr) return nullptr;
  env->SetIntArrayRegion(array, 0, static_cast<jsize>(ids.size()), ids.data());
  return array;
} catch (...) {
  return raised(env, static_cast<jintArray>(nullptr));
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_confine(JNIEnv*, jclass) {
  return zolt::hdfs::confine();
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_confineToData(JNIEnv*, jclass) {
  return zolt::hdfs::confineToData();
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_actAs(JNIEnv* env, jclass, jint uid,
                                                                  jint gid, jintArray groups,
                                                                  jboolean superuser) try {
  std::vector<uint32_t> ids(static_cast<size_t>(env->GetArrayLength(groups)));
  env->GetIntArrayRegion(groups, 0, static_cast<jsize>(ids.size()),
                         reinterpret_cast<jint*>(ids.data()));
  return zolt::hdfs::actAs(static_cast<uint32_t>(uid), static_cast<uint32_t>(gid), ids,
                           superuser != JNI_FALSE);
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT jlongArray JNICALL Java_zolt_hdfs_namespace_NativeFiles_assume(JNIEnv* env, jclass,
                                                                         jint uid, jint gid,
                                                                         jintArray groups) try {
  std::vector<uint32_t> ids(static_cast<size_t>(env->GetArrayLength(groups)));
  env->GetIntArrayRegion(groups, 0, static_cast<jsize>(ids.size()),
                         reinterpret_cast<jint*>(ids.data()));
  zolt::hdfs::Before before;
  jlong error = zolt::hdfs::keep(before);
  std::vector<jlong> words{error, before.uid, before.gid, static_cast<jlong>(before.effective)};
  words.insert(words.end(), before.groups.begin(), before.groups.end());
  jlongArray answer = env->NewLongArray(static_cast<jsize>(words.size()));
  if (answer == nullptr) return nullptr;
  env->SetLongArrayRegion(answer, 0, static_cast<jsize>(words.size()), words.data());
  if (error != 0) return answer;
  // From here on nothing takes memory: what a thread has taken on, its caller is told.
  error = zolt::hdfs::assume(static_cast<uint32_t>(uid), static_cast<uint32_t>(gid), ids, before);
  env->SetLongArrayRegion(answer, 0, 1, &error);
  return answer;
} catch (...) {
  return raised(env, jlongArray{nullptr});
}

// A failure of any kind is an answer, upon which the caller ends the process: an exception would
// leave the thread with a guest's rights.
JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_resume(JNIEnv* env, jclass,
                                                                   jlongArray before) try {
  std::vector<jlong> words(static_cast<size_t>(env->GetArrayLength(before)));
  env->GetLongArrayRegion(before, 0, static_cast<jsize>(words.size()), words.data());
  constexpr size_t UID = 1;
  constexpr size_t GID = 2;
  constexpr size_t EFFECTIVE = 3;
  constexpr size_t GROUPS = 4;
  if (words.size() < GROUPS) throw std::invalid_argument("not what was answered");
  zolt::hdfs::Before state;
  state.uid = static_cast<uint32_t>(words[UID]);
  state.gid = static_cast<uint32_t>(words[GID]);
  state.effective = static_cast<uint64_t>(words[EFFECTIVE]);
  for (size_t i = GROUPS; i < words.size(); i++) {
    state.groups.push_back(static_cast<uint32_t>(words[i]));
  }
  return zolt::hdfs::resume(state);
} catch (...) {
  return -ENOMEM;
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_actAsService(JNIEnv*, jclass,
                                                                         jboolean administrator) {
  return zolt::hdfs::actAsService(administrator != JNI_FALSE);
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_administer(JNIEnv*, jclass,
                                                                       jboolean effective) {
  return zolt::hdfs::administer(effective != JNI_FALSE);
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_umask(JNIEnv*, jclass, jint mask) {
  return static_cast<jint>(umask(static_cast<mode_t>(mask)));
}

JNIEXPORT jstring JNICALL Java_zolt_hdfs_namespace_NativeFiles_errorText(JNIEnv* env, jclass,
                                                                         jint error) {
  return env->NewStringUTF(strerrordesc_np(error) != nullptr ? strerrordesc_np(error)
                                                             : "Unknown error");
}
