// Floors of the leases. The path's links are followed.
#include <sys/xattr.h>

#include <cerrno>
#include <ctime>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

constexpr const char* HOLDER = "user.lease.holder";
constexpr const char* UPDATE = "user.lease.update";
constexpr size_t LARGEST_HOLDER = 4096;

int64_t leaseClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000;
}

int errorOf(int result) {
  return result == 0 ? 0 : errno;
}

void report(JNIEnv* env, int error, const char* operation, const char* name) {
  if (error != 0) raiseXattr(env, error, operation, name);
}

}  // namespace

long lease(const char* path, char* holder, size_t size) {
  leaseClock();
  int64_t last = 0;
  if (getxattr(path, UPDATE, &last, sizeof last) < 0) return -errno;
  return getxattr(path, HOLDER, holder, size);
}

}  // namespace floors

using namespace floors;

JNIEXPORT void JNICALL Java_zolt_bench_Floor_setLease(JNIEnv* env, jclass, jstring javaPath,
                                                      jbyteArray javaHolder) {
  const Chars path(env, javaPath);
  int64_t now = 0;
  int error = 0;
  {
    const Bytes holder(env, javaHolder);
    now = leaseClock();
    error = errorOf(setxattr(path.get(), HOLDER, holder.data(), holder.size(), XATTR_CREATE));
  }
  if (error != 0) return report(env, error, "setxattr", HOLDER);
  report(env, errorOf(setxattr(path.get(), UPDATE, &now, sizeof now, XATTR_CREATE)), "setxattr",
         UPDATE);
}

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_lease(JNIEnv* env, jclass, jstring javaPath,
                                                         jint holderSize) {
  const Chars path(env, javaPath);
  char holder[LARGEST_HOLDER];
  const long length = lease(path.get(), holder, static_cast<size_t>(holderSize));
  if (length >= 0) return bytes(env, holder, static_cast<jsize>(length));
  report(env, static_cast<int>(-length), "getxattr", UPDATE);
  return nullptr;
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_renewLease(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  const int64_t now = leaseClock();
  report(env, errorOf(setxattr(path.get(), UPDATE, &now, sizeof now, 0)), "setxattr", UPDATE);
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_removeLease(JNIEnv* env, jclass, jstring javaPath) {
  const Chars path(env, javaPath);
  const int holder = errorOf(removexattr(path.get(), HOLDER));
  const int update = errorOf(removexattr(path.get(), UPDATE));
  report(env, holder != 0 ? holder : update, "removexattr", "user.lease.*");
}
