// Floors of replication and block group factor: the client's requests.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "floor.h"
#include "placement/directives.h"
#include "zolt_bench_Floor.h"

namespace {

using namespace floors;

template <class Request>
jboolean send(JNIEnv* env, jstring javaPath, Request& request) {
  const Chars path(env, javaPath);
  const int fd = open(path.get(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) {
    raise(env, errno, {"failed to open ", path.get()});
    return JNI_FALSE;
  }
  const int result = zolt_fcntl(fd, &request);
  close(fd);
  return result == 0;
}

}  // namespace

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_replication(JNIEnv* env, jclass, jstring path,
                                                             jshort copies) {
  zolt::SetReplicationRequest request{zolt::headerFor<zolt::SetReplicationRequest>(), {}};
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_SET_REPLICATION;
  request.record.dataReplicas = copies;
  return send(env, path, request);
}

JNIEXPORT jboolean JNICALL Java_zolt_bench_Floor_groupFactor(JNIEnv* env, jclass, jstring path,
                                                             jint factor) {
  zolt::AttributeRequest request{zolt::headerFor<zolt::AttributeRequest>(),
                                 zolt::writeBgfRecord(factor)};
  return send(env, path, request);
}
