// The status of files: what the kernel tells of them, and what the file system's client does.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <span>
#include <stdexcept>

#include "base/logger2.h"
#include "base/settings.h"
#include "base/unique_fd.h"
#include "identity.h"
#include "native.h"
#include "placement/replication.h"
#include "status/file_status.h"
#include "status/stat.h"

using zolt::hdfs::answer;
using zolt::hdfs::bytesOf;
using zolt::hdfs::raised;

namespace {

constexpr jlong THOUSAND = 1000;
constexpr jlong MILLION = THOUSAND * THOUSAND;
constexpr jlong BILLION = THOUSAND * MILLION;

constexpr size_t STATUS = zolt_hdfs_namespace_NativeFiles_STATUS_WORDS;
constexpr size_t RECORD = zolt_hdfs_namespace_NativeFiles_RECORD_WORDS;
constexpr size_t INODE = zolt_hdfs_namespace_NativeFiles_INODE;
constexpr size_t CHANGE_NANOS = zolt_hdfs_namespace_NativeFiles_CHANGE_NANOS;
constexpr size_t RESULT = zolt_hdfs_namespace_NativeFiles_RESULT;
constexpr size_t FLAGS = zolt_hdfs_namespace_NativeFiles_FLAGS;
constexpr size_t BLOCK_SIZE = zolt_hdfs_namespace_NativeFiles_BLOCK_SIZE;
constexpr size_t REPLICATION = zolt_hdfs_namespace_NativeFiles_REPLICATION;

constexpr jlong WANTED = zolt_hdfs_namespace_NativeFiles_WANTED;
constexpr jlong HAS_ACL = zolt_hdfs_namespace_NativeFiles_HAS_ACL;
constexpr jlong SAME_FILE = zolt_hdfs_namespace_NativeFiles_SAME_FILE;
constexpr jlong SAME_VERSION = zolt_hdfs_namespace_NativeFiles_SAME_VERSION;

jlong millis(const statx_timestamp& time) {
  return time.tv_sec * THOUSAND + time.tv_nsec / MILLION;
}

jlong nanos(const statx_timestamp& time) {
  return time.tv_sec * BILLION + time.tv_nsec;
}

// 0 or -errno.
jint readStatus(int directory, const char* path, jlong* words) {
  struct statx status {};
  const int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (statx(directory, path, flags, STATX_BASIC_STATS | STATX_MNT_ID | STATX_BTIME, &status) != 0) {
    return answer(-1);
  }
  const std::array<jlong, STATUS> values = {
      static_cast<jlong>(status.stx_ino),
      status.stx_mode,
      status.stx_uid,
      status.stx_gid,
      static_cast<jlong>(status.stx_size),
      millis(status.stx_atime),
      millis(status.stx_mtime),
      nanos(status.stx_ctime),
      status.stx_nlink,
      static_cast<jlong>(makedev(status.stx_dev_major, status.stx_dev_minor)),
      static_cast<jlong>(status.stx_mnt_id),
      nanos(status.stx_mtime),
      (status.stx_mask & STATX_BTIME) != 0 ? nanos(status.stx_btime) : 0};
  std::copy(values.begin(), values.end(), words);
  return 0;
}

// What the client tells of an open file beside its status. 0 or -errno.
jint readDetails(int descriptor, jlong* record) {
  zolt_iattr64 attributes;
  if (const int error = zolt::getStatX(descriptor, attributes); error != 0) return -error;
  jlong flags = 0;
  if (zolt::getAclBit(attributes) != 0) flags |= HAS_ACL;
  if (static_cast<jlong>(attributes.ia_inode) == record[INODE]) {
    flags |= SAME_FILE;
    const jlong changed = attributes.ia_ctime.seconds * BILLION + attributes.ia_ctime.nanoseconds;
    if (changed == record[CHANGE_NANOS]) flags |= SAME_VERSION;
  }
  if (S_ISREG(attributes.ia_mode)) {
    const int bgf = zolt::getBGF(descriptor);
    if (bgf < 0) return bgf;
    if (attributes.ia_blocksize <= 0) return -EIO;
    record[BLOCK_SIZE] = zolt::hdfsBlockSize(attributes.ia_blocksize, bgf);
    record[REPLICATION] = attributes.ia_replication;
  }
  record[FLAGS] = flags;
  return 0;
}

jint readDetails(int directory, const char* name, jlong* record) {
  zolt::UniqueFd file;
  const zolt::Errno error = zolt::openToReadAt(directory, name, O_NOFOLLOW, file);
  return error ? -error.value() : readDetails(file.get(), record);
}

// Records in Java's memory, and the name of each.
class Page {
 public:
  Page(JNIEnv* env, jbyteArray names, jlongArray records) : env_(env), records_(records) {
    if (names == nullptr || records == nullptr) throw std::invalid_argument("null");
    names_.resize(static_cast<size_t>(env->GetArrayLength(names)));
    env->GetByteArrayRegion(names, 0, static_cast<jsize>(names_.size()),
                            reinterpret_cast<jbyte*>(names_.data()));
    words_.resize(static_cast<size_t>(env->GetArrayLength(records)));
    env->GetLongArrayRegion(records, 0, static_cast<jsize>(words_.size()), words_.data());
  }

  // Calls `read` with each name and its record.
  template <class Read>
  void each(const Read& read) {
    const char* name = names_.c_str();
    const char* end = name + names_.size();
    for (size_t at = 0; at + RECORD <= words_.size(); at += RECORD) {
      if (name >= end) throw std::invalid_argument("fewer names than records");
      read(name, words_.data() + at);
      name += std::char_traits<char>::length(name) + 1;
    }
    env_->SetLongArrayRegion(records_, 0, static_cast<jsize>(words_.size()), words_.data());
  }

 private:
  JNIEnv* env_;
  jlongArray records_;
  std::string names_;
  std::vector<jlong> words_;
};

}  // namespace

// What fails here is answered, and told to the client of the request: no line of the core is
// logged.
void zolt::logger2::log(const std::string& /*text*/, LOG_LEVEL /*level*/) {}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_status(JNIEnv* env, jclass,
                                                                   jint directory, jbyteArray path,
                                                                   jlongArray words) try {
  std::array<jlong, STATUS> values{};
  const jint result = readStatus(directory, bytesOf(env, path).c_str(), values.data());
  if (result == 0) env->SetLongArrayRegion(words, 0, STATUS, values.data());
  return result;
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_statuses(JNIEnv* env, jclass,
                                                                     jint directory,
                                                                     jbyteArray names,
                                                                     jlongArray records) try {
  Page(env, names, records).each([&](const char* name, jlong* record) {
    record[RESULT] = readStatus(directory, name, record);
  });
} catch (...) {
  zolt::hdfs::raiseInJava(env);
}

JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_details(JNIEnv* env, jclass,
                                                                    jint directory,
                                                                    jbyteArray names,
                                                                    jlongArray records) try {
  const zolt::hdfs::Looking looking;
  Page(env, names, records).each([&](const char* name, jlong* record) {
    if (record[FLAGS] == WANTED) record[RESULT] = readDetails(directory, name, record);
  });
} catch (...) {
  zolt::hdfs::raiseInJava(env);
}

JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_ownDetails(JNIEnv* env, jclass,
                                                                       jint directory,
                                                                       jbyteArray names,
                                                                       jlongArray records) try {
  Page(env, names, records).each([&](const char* name, jlong* record) {
    if (record[FLAGS] == WANTED) record[RESULT] = readDetails(directory, name, record);
  });
} catch (...) {
  zolt::hdfs::raiseInJava(env);
}

JNIEXPORT jint JNICALL Java_zolt_hdfs_namespace_NativeFiles_detailsOf(JNIEnv* env, jclass,
                                                                      jint descriptor,
                                                                      jlongArray record) try {
  std::array<jlong, RECORD> words{};
  env->GetLongArrayRegion(record, 0, RECORD, words.data());
  if (env->ExceptionCheck()) return 0;
  const zolt::hdfs::Looking looking;
  const jint result = readDetails(descriptor, words.data());
  if (result == 0) env->SetLongArrayRegion(record, 0, RECORD, words.data());
  return result;
} catch (...) {
  return raised(env, jint{0});
}

JNIEXPORT void JNICALL Java_zolt_hdfs_namespace_NativeFiles_setDefaults(JNIEnv*, jclass,
                                                                        jlong blockSize,
                                                                        jint replication) {
  zolt::setDefaultBlockSizeReplication(blockSize, replication);
}
