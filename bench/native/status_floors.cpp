// Floors of the status natives, the setters and link targets.
#include <endian.h>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

struct AttributeRequest {
  zolt_request_header header;
  zolt_attribute_record record;
};

}  // namespace

long inode(const char* path) {
  struct stat st;
  return lstat(path, &st) == 0 ? static_cast<long>(st.st_ino) : -errno;
}

long changed(const char* path, int64_t ctimeSec) {
  struct stat st;
  return lstat(path, &st) == 0 ? st.st_ctim.tv_sec > ctimeSec : -errno;
}

long permission(const char* path, int mode) {
  return chmod(path, static_cast<mode_t>(mode)) == 0 ? 1 : -errno;
}

long times(const char* path, int64_t mtime, int64_t atime) {
  const timespec stamps[] = {{atime / 1000, atime % 1000 * 1000000},
                             {mtime / 1000, mtime % 1000 * 1000000}};
  return utimensat(-1, path, stamps, 0) == 0 ? 1 : -errno;
}

long link(const char* path, char* target, size_t length) {
  const ssize_t count = readlink(path, target, length);
  return count >= 0 ? count : -errno;
}

void store(const zolt_iattr64& attr, char* out) {
  const auto put = [&out](const void* from, size_t size) {
    memcpy(out, from, size);
    out += size;
  };
  put(&attr.ia_inode, 8);
  put(&attr.ia_size, 8);
  put(&attr.ia_uid, 4);
  put(&attr.ia_gid, 4);
  put(&attr.ia_mode, 4);
  out += 4;
  put(&attr.ia_atime, 16);
  put(&attr.ia_mtime, 16);
  put(&attr.ia_ctime, 16);
  const uint16_t acl = (attr.ia_flags & ZOLT_IAFLAG_ACL) != 0 ? 0x1000 : 0;
  put(&acl, 2);
}

long full(const char* path, bool withLease, zolt_iattr64& attr, uint32_t& blockSize,
          uint16_t& leaseLength) {
  struct stat st;
  if (stat(path, &st) != 0) return -errno;
  const auto uid = static_cast<uid_t>(setfsuid(0));
  const auto gid = static_cast<gid_t>(setfsgid(0));
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  unsigned int mask = 0;
  zolt_fstat_x(fd, &mask, &attr, sizeof attr);
  if (S_ISREG(attr.ia_mode)) {
    AttributeRequest request{{sizeof request, ZOLT_REQUEST_VERSION, 0, 0},
                             {sizeof request.record,
                              ZOLT_READ_ATTRIBUTE,
                              8,
                              24,
                              ZOLT_ATTRIBUTE_FLAGS,
                              0,
                              {'z', 'o', 'l', 't', '.', 'B', 'G', 'F'},
                              {}}};
    zolt_fcntl(fd, &request);
    uint32_t bgf = 0;
    memcpy(&bgf, request.record.value, sizeof bgf);
    if (request.record.status == 0) {
      blockSize = static_cast<uint32_t>(attr.ia_blocksize) * be32toh(bgf);
    }
    if (withLease) {
      const ssize_t length = fgetxattr(fd, "user.lease.holder", nullptr, 0);
      leaseLength = static_cast<uint16_t>(length > 0 ? length : 0);
    }
  }
  close(fd);
  setfsuid(uid);
  setfsgid(gid);
  return static_cast<long>(attr.ia_inode);
}

void storeFull(const zolt_iattr64& attr, uint32_t blockSize, uint16_t leaseLength, char* out) {
  store(attr, out);
  memcpy(out + 28, &blockSize, sizeof blockSize);
  const uint16_t replication = S_ISREG(attr.ia_mode) ? attr.ia_replication : 0;
  memcpy(out + 82, &replication, sizeof replication);
  memcpy(out + 84, &leaseLength, sizeof leaseLength);
}

}  // namespace floors

using namespace floors;

namespace {

bool report(JNIEnv* env, long done, const Chars& path) {
  if (done < 0) raise(env, static_cast<int>(-done), {path.get()});
  return done > 0;
}

}  // namespace

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_fast(JNIEnv* env, jclass, jstring javaPath, jboolean,
                                                  jobject buffer, jlong ctimeSec, jlong) {
  const Chars path(env, javaPath);
  return report(env, fast(path.get(), ctimeSec, [&] { return Memory(env, buffer); }), path);
}

JNIEXPORT jint JNICALL Java_zolt_bench_Floor_full(JNIEnv* env, jclass, jstring javaPath, jboolean,
                                                  jboolean withLease, jobject buffer, jlong, jlong,
                                                  jlong, jlong) {
  const Chars path(env, javaPath);
  zolt_iattr64 attr;
  uint32_t blockSize = 0;
  uint16_t leaseLength = 0;
  const long found = full(path.get(), withLease != JNI_FALSE, attr, blockSize, leaseLength);
  if (!report(env, found, path)) return 0;
  storeFull(attr, blockSize, leaseLength, Memory(env, buffer).address);
  return 1;
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_inode(JNIEnv* env, jclass, jstring javaPath,
                                                    jboolean) {
  const Chars path(env, javaPath);
  const long found = inode(path.get());
  if (found < 0) raise(env, static_cast<int>(-found), {"stat failed for ", path.get()});
  return found;
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_changed(JNIEnv* env, jclass, jstring javaPath,
                                                         jboolean, jlong ctimeSec, jlong, jlong,
                                                         jlong) {
  const Chars path(env, javaPath);
  return report(env, changed(path.get(), ctimeSec), path);
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_permission(JNIEnv* env, jclass, jstring javaPath,
                                                            jshort mode) {
  const Chars path(env, javaPath);
  return report(env, permission(path.get(), mode), path);
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_times(JNIEnv* env, jclass, jstring javaPath,
                                                       jlong mtime, jlong atime) {
  const Chars path(env, javaPath);
  return report(env, times(path.get(), mtime, atime), path);
}

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_link(JNIEnv* env, jclass, jstring javaPath,
                                                        jint length) {
  const Chars path(env, javaPath);
  char target[PATH_MAX];
  const long count = link(path.get(), target, static_cast<size_t>(length));
  if (count < 0) {
    raise(env, static_cast<int>(-count), {});
    return nullptr;
  }
  return bytes(env, target, static_cast<jsize>(count));
}
