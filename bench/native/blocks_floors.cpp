// Floors of the block locations: the client's replies copied; and the counting of nodes in groups,
// with a std::map and with the library's own.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "blocks/block_query.h"
#include "blocks/node_counts.h"
#include "floor.h"
#include "placement/directives.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

constexpr int COPIES = 3;
constexpr size_t HEADER_AT = 90;

bool mostFirst(const std::pair<int, int>& a, const std::pair<int, int>& b) {
  return a.second > b.second;
}

void emitMap(const std::map<int, int>& counts, zolt::Buffer<int>& out) {
  std::vector<std::pair<int, int>> nodes(counts.begin(), counts.end());
  if (nodes.size() > COPIES - 1) {
    std::nth_element(nodes.begin(), nodes.begin() + (COPIES - 1), nodes.end(), mostFirst);
  }
  nodes.resize(COPIES, {-1, -1});
  for (const auto& node : nodes)
    out.append(&node.first, 1);
  for (const auto& node : nodes)
    out.append(&node.second, 1);
}

template <class Add, class Emit>
long group(JNIEnv* env, jintArray javaNodes, jint groupSize, jobject buffer, const Add& add,
           const Emit& emit) {
  const Memory memory(env, buffer);
  zolt::Buffer<int> out;
  out.setBuffer(reinterpret_cast<int*>(memory.address), memory.capacity / sizeof(int));
  const jsize length = env->GetArrayLength(javaNodes);
  auto* nodes = static_cast<jint*>(env->GetPrimitiveArrayCritical(javaNodes, nullptr));
  for (jsize at = 0; at < length; at += 2 * COPIES * groupSize) {
    add(nodes + at);
    emit(out);
  }
  env->ReleasePrimitiveArrayCritical(javaNodes, nodes, JNI_ABORT);
  long sum = 0;
  for (size_t i = 0; i < out.position(); ++i) {
    int word = 0;
    memcpy(&word, memory.address + i * sizeof word, sizeof word);
    sum = sum * 31 + word;
  }
  return sum;
}

}  // namespace

long blocks(const char* path, int type, uint64_t length, uint64_t blockSize, const Memory& status,
            const Memory& locations) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return -errno;
  if (type != zolt::FS_BLOCKS) {
    zolt::BgfRequest request{zolt::headerFor<zolt::BgfRequest>(), {}, zolt::readBgfRecord()};
    request.replication.length = sizeof request.replication;
    request.replication.type = ZOLT_READ_REPLICATION;
    zolt_fcntl(fd, &request);
    blockSize *= static_cast<uint64_t>(zolt::bgfIn(request.attribute));
  }
  zolt::LocationRequest request;
  request.header = zolt::headerFor<zolt::LocationRequest>();
  request.record.length = sizeof request.record;
  request.record.type = ZOLT_READ_LOCATIONS;
  request.record.skipFactor = type == zolt::FS_BLOCKS ? 0 : blockSize;
  request.record.flags = 0;
  request.record.reserved36 = 0;
  char* next = locations.address;
  uint64_t at = 0;
  do {
    request.record.offset = at;
    request.record.range = length - at;
    zolt_fcntl(fd, &request);
    const auto words = static_cast<size_t>(2 * request.record.replicas * request.record.blocks);
    memcpy(next, static_cast<const int*>(request.record.words), words * sizeof(int));
    next += words * sizeof(int);
    at += blockSize * static_cast<uint64_t>(request.record.blocks);
    request.record.skipFactor = blockSize;
  } while (at < length);
  memset(next, -1, locations.capacity - static_cast<size_t>(next - locations.address));
  const auto replicas = static_cast<uint32_t>(request.record.replicas);
  memcpy(status.address + HEADER_AT, &blockSize, sizeof blockSize);
  memcpy(status.address + HEADER_AT + sizeof blockSize, &replicas, sizeof replicas);
  close(fd);
  return replicas;
}

}  // namespace floors

using namespace floors;

JNIEXPORT void JNICALL Java_zolt_bench_Floor_blocks(JNIEnv* env, jclass, jstring javaPath,
                                                    jint type, jobject javaStatus,
                                                    jobject javaLocations) {
  const Chars path(env, javaPath);
  const Memory status(env, javaStatus);
  const Memory locations(env, javaLocations);
  uint64_t length = 0;
  uint32_t blockSize = 0;
  memcpy(&length, status.address + 8, sizeof length);
  memcpy(&blockSize, status.address + 28, sizeof blockSize);
  const long done = blocks(path.get(), type, length, blockSize, status, locations);
  if (done < 0) raise(env, static_cast<int>(-done), {path.get()});
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_mapCounts(JNIEnv* env, jclass, jintArray nodes,
                                                        jint groupSize, jobject buffer) {
  std::map<int, int> counts;
  return group(
      env, nodes, groupSize, buffer,
      [&](const int* words) {
        for (int block = 0; block < groupSize; ++block, words += 2 * COPIES) {
          for (int i = 0; i < COPIES; ++i)
            ++counts[words[i]];
        }
      },
      [&](zolt::Buffer<int>& out) {
        emitMap(counts, out);
        counts.clear();
      });
}

JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_libraryCounts(JNIEnv* env, jclass, jintArray nodes,
                                                            jint groupSize, jobject buffer) {
  zolt::NodeCounts counts;
  return group(
      env, nodes, groupSize, buffer,
      [&](const int* words) { counts.add(words, static_cast<uint64_t>(groupSize), COPIES); },
      [&](zolt::Buffer<int>& out) { counts.emit(COPIES, out); });
}
