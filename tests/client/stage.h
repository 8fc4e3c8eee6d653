// A file in the embedded client's file system, and requests about it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cluster.h"
#include "temp_dir.h"
#include "zolt.h"

namespace zolt_local::test {

inline constexpr uint64_t MIB = 1 << 20;

inline int setEnvironment() noexcept {
  return setenv("ZOLT_LOCAL_BLOCK_SIZE", "1048576", 1) | setenv("ZOLT_LOCAL_NODES", "8", 1) |
         setenv("ZOLT_LOCAL_REPLICATION", "3", 1);
}
// The client reads it when it is first used, so it stands before that.
inline const int environment = setEnvironment();

template <class Record>
struct Request {
  zolt_request_header header{sizeof(Request), 1, 0, 0};
  Record record{};
};

template <class Record>
Request<Record> requestOf(uint32_t type) {
  Request<Record> request;
  request.record.length = sizeof(Record);
  request.record.type = type;
  return request;
}

inline Request<zolt_attribute_record> bgfRequest(uint32_t type, uint32_t valueLength,
                                                 const std::string& value = "") {
  auto request = requestOf<zolt_attribute_record>(type);
  request.record.nameLength = 8;
  request.record.valueLength = valueLength;
  request.record.flags = 32768;
  std::memcpy(request.record.name, "zolt.BGF", 8);
  std::memcpy(request.record.value, value.data(), value.size());
  return request;
}

struct ClientTest : ::testing::Test {
  ClientTest() : path(dir.file("file")), fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    EXPECT_GE(fd, 0);
  }
  ~ClientTest() override { close(fd); }

  void resize(uint64_t length) { EXPECT_EQ(truncate(path.c_str(), static_cast<off_t>(length)), 0); }

  int setReplicas(int32_t replicas) {
    auto request = requestOf<zolt_set_replication_record>(2005);
    request.record.dataReplicas = replicas;
    return zolt_fcntl(fd, &request);
  }
  uint32_t replicas() {
    auto request = requestOf<zolt_replication_record>(3001);
    EXPECT_EQ(zolt_fcntl(fd, &request), 0);
    return request.record.dataReplicas;
  }
  int restripe() {
    auto request = requestOf<zolt_restripe_record>(2008);
    request.record.option = 2;
    return zolt_restripe_file(fd, &request);
  }

  // Too large for a few on the stack.
  using LocationRequest = std::unique_ptr<Request<zolt_location_record>>;
  LocationRequest locationRequest(uint64_t offset, uint64_t skipFactor, uint64_t range) {
    auto request = std::make_unique<Request<zolt_location_record>>();
    request->record.length = sizeof(zolt_location_record);
    request->record.type = 3006;
    request->record.offset = offset;
    request->record.skipFactor = skipFactor;
    request->record.range = range;
    return request;
  }
  LocationRequest locate(uint64_t offset, uint64_t skipFactor, uint64_t range) {
    auto request = locationRequest(offset, skipFactor, range);
    EXPECT_EQ(zolt_fcntl(fd, request.get()), 0);
    return request;
  }

  // Whether anything was kept on the file.
  bool hasSettings() {
    std::string names(4096, '\0');
    const ssize_t length = flistxattr(fd, names.data(), names.size());
    names.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return names.find("zolt") != std::string::npos;
  }

  zolt::test::TempDir dir;
  std::string path;
  int fd;
};

inline uint64_t metaBlockSize(const zolt_location_record& record) {
  uint64_t size = 0;
  std::memcpy(&size, record.metaBlockSizeHalf, sizeof size);
  return size;
}

// The nodes of one described block.
inline std::vector<int32_t> nodesOf(const zolt_location_record& record, int32_t block) {
  const int32_t* first = record.words + 2 * std::ptrdiff_t{record.replicas} * block;
  return {first, first + record.replicas};
}

}  // namespace zolt_local::test
