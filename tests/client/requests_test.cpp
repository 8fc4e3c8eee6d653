// Requests that the client must refuse, and that it must survive.
#include <sys/mman.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "stage.h"

namespace zolt_local {
namespace {

using namespace test;

struct RequestsTest : ClientTest {
  RequestsTest() { resize(10 * MIB); }

  using Send = int (*)(int, void*);

  // Refused with EINVAL, and neither the request nor the file is touched.
  template <class Record>
  void refused(Request<Record> request, Send send = zolt_fcntl) {
    const std::string before(reinterpret_cast<const char*>(&request), sizeof request);
    errno = 0;
    EXPECT_EQ(send(fd, &request), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&request), sizeof request), before);
    EXPECT_FALSE(hasSettings());
  }

  // Each wrong header and record head, made from a request that is right.
  template <class Record>
  void refusesWrongHeads(const Request<Record>& right, Send send = zolt_fcntl) {
    for (const uint32_t length :
         {0U, 8U, 15U, 16U, 17U, 24U, uint32_t{sizeof right} - 1, uint32_t{sizeof right} - 8}) {
      auto request = right;
      request.header.length = length;
      refused(request, send);
    }
    for (const uint32_t version : {0U, 2U, 3U, ~0U}) {
      auto request = right;
      request.header.version = version;
      refused(request, send);
    }
    for (const uint32_t length :
         {0U, 4U, 8U, uint32_t{sizeof(Record)} - 1, uint32_t{sizeof(Record)} + 1, ~0U}) {
      auto request = right;
      request.record.length = length;
      refused(request, send);
    }
    for (const uint32_t type : {0U, 1U, 2006U, 3000U, 6003U, ~0U}) {
      auto request = right;
      request.record.type = type;
      refused(request, send);
    }
  }

  static Request<zolt_set_replication_record> replicationRequest(int32_t replicas) {
    auto request = requestOf<zolt_set_replication_record>(2005);
    request.record.dataReplicas = replicas;
    return request;
  }
  static Request<zolt_restripe_record> restripeRequest(uint32_t option = 2) {
    auto request = requestOf<zolt_restripe_record>(2008);
    request.record.option = option;
    return request;
  }
};

TEST_F(RequestsTest, WrongHeadersAndRecordHeadsAreRefused) {
  refusesWrongHeads(replicationRequest(2));
  refusesWrongHeads(requestOf<zolt_replication_record>(3001));
  refusesWrongHeads(bgfRequest(6001, 24));
  refusesWrongHeads(bgfRequest(6002, 4, "abcd"));
  refusesWrongHeads(*locationRequest(0, 0, 1));
  refusesWrongHeads(restripeRequest(), zolt_restripe_file);
}

TEST_F(RequestsTest, EachCallHasItsOwnRecords) {
  refused(restripeRequest());
  refused(replicationRequest(2), zolt_restripe_file);
  refused(bgfRequest(6001, 24), zolt_restripe_file);
}

TEST_F(RequestsTest, WrongValuesAreRefused) {
  for (const int32_t replicas : {0, -1, 256, 32767, -32768})
    refused(replicationRequest(replicas));
  for (const uint32_t option : {0U, 1U, 3U})
    refused(restripeRequest(option), zolt_restripe_file);
  auto location = locationRequest(0, 0, 1);
  location->record.flags = 1;
  refused(*location);
}

TEST_F(RequestsTest, WrongAttributesAreRefused) {
  for (const uint32_t type : {6001U, 6002U}) {
    const auto right = bgfRequest(type, 4, "abcd");
    for (const char* name : {"zolt.BGE", "Zolt.BGF", "zolt.bgf", "user.BGF", "aaaaaaaa"}) {
      auto request = right;
      std::memcpy(request.record.name, name, 8);
      refused(request);
    }
    for (const uint32_t length : {0U, 7U, 9U, ~0U}) {
      auto request = right;
      request.record.nameLength = length;
      refused(request);
    }
    for (const uint32_t length : {0U, 25U, 64U, ~0U}) {
      auto request = right;
      request.record.valueLength = length;
      refused(request);
    }
    for (const uint32_t flags : {0U, 1U, 32769U}) {
      auto request = right;
      request.record.flags = flags;
      refused(request);
    }
  }
}

TEST_F(RequestsTest, NullIsRefused) {
  EXPECT_EQ(zolt_fcntl(fd, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(zolt_restripe_file(fd, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
}

struct TwoRecords {
  zolt_request_header header{16 + 40 + 56, 1, 0, 0};
  zolt_set_replication_record replication{};
  zolt_attribute_record attribute{};
};

TEST_F(RequestsTest, SeveralRecordsAreCarriedOutInOrder) {
  TwoRecords request;
  request.replication = replicationRequest(2).record;
  request.attribute = bgfRequest(6002, 4, "abcd").record;
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(replicas(), 2U);
  auto read = bgfRequest(6001, 24);
  ASSERT_EQ(zolt_fcntl(fd, &read), 0);
  EXPECT_EQ(std::memcmp(read.record.value, "abcd", 4), 0);
}

TEST_F(RequestsTest, OneWrongRecordStopsAllOfThem) {
  TwoRecords request;
  request.replication = replicationRequest(2).record;
  request.attribute = bgfRequest(6002, 4, "abcd").record;
  request.attribute.name[0] = 'x';
  EXPECT_EQ(zolt_fcntl(fd, &request), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(hasSettings());
}

TEST_F(RequestsTest, ReplicasAndFactorComeInOneRequest) {
  ASSERT_EQ(setReplicas(2), 0);
  auto write = bgfRequest(6002, 4, std::string("\0\0\0\7", 4));
  ASSERT_EQ(zolt_fcntl(fd, &write), 0);
  struct {
    zolt_request_header header{104, 1, 0, 0};
    zolt_replication_record replication = requestOf<zolt_replication_record>(3001).record;
    zolt_attribute_record attribute = bgfRequest(6001, 24).record;
  } request;
  ASSERT_EQ(zolt_fcntl(fd, &request), 0);
  EXPECT_EQ(request.replication.dataReplicas, 2U);
  EXPECT_EQ(request.attribute.status, 0);
  EXPECT_EQ(request.attribute.value[3], 7);
}

TEST_F(RequestsTest, ABadDescriptorIsEbadf) {
  const int bad = -1;
  auto replication = replicationRequest(2);
  auto read = requestOf<zolt_replication_record>(3001);
  auto bgf = bgfRequest(6001, 24);
  auto setBgf = bgfRequest(6002, 4, "abcd");
  auto restriping = restripeRequest();
  const auto location = locationRequest(0, 0, 1);
  for (void* request :
       {static_cast<void*>(&replication), static_cast<void*>(&read), static_cast<void*>(&bgf),
        static_cast<void*>(&setBgf), static_cast<void*>(location.get())}) {
    errno = 0;
    EXPECT_EQ(zolt_fcntl(bad, request), -1);
    EXPECT_EQ(errno, EBADF);
  }
  EXPECT_EQ(zolt_restripe_file(bad, &restriping), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(RequestsTest, OnlyRegularFilesHavePlacement) {
  close(fd);
  fd = open(dir.path().c_str(), O_RDONLY | O_CLOEXEC);
  refused(replicationRequest(2));
  refused(requestOf<zolt_replication_record>(3001));
  refused(*locationRequest(0, 0, 1));
  refused(restripeRequest(), zolt_restripe_file);
  auto write = bgfRequest(6002, 4, "abcd");  // a directory may have the attribute
  EXPECT_EQ(zolt_fcntl(fd, &write), 0);
}

TEST_F(RequestsTest, ARequestMayLieAnywhere) {
  std::vector<char> memory(sizeof(Request<zolt_location_record>) + 8);
  const auto aligned = locate(0, 0, 3 * MIB);
  for (size_t shift = 1; shift < 8; ++shift) {
    const auto request = locationRequest(0, 0, 3 * MIB);
    std::memcpy(memory.data() + shift, request.get(), sizeof *request);
    ASSERT_EQ(zolt_fcntl(fd, memory.data() + shift), 0);
    EXPECT_EQ(std::memcmp(memory.data() + shift, aligned.get(), sizeof *aligned), 0);
  }
}

// Memory that ends where the request does: one byte more is a crash.
class LastBytes {
 public:
  explicit LastBytes(size_t size) : size_(size) {
    base_ = static_cast<char*>(
        mmap(nullptr, PAGES + PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_ + PAGES, PAGE, PROT_NONE);
  }
  ~LastBytes() { munmap(base_, PAGES + PAGE); }
  LastBytes(const LastBytes&) = delete;
  LastBytes& operator=(const LastBytes&) = delete;

  char* data() { return base_ + PAGES - size_; }

 private:
  static constexpr size_t PAGE = 4096;
  static constexpr size_t PAGES = 17 * PAGE;
  size_t size_;
  char* base_;
};

// A request of that length, mostly of zeros and words with a meaning, so that some get far.
class RandomRequest {
 public:
  RandomRequest(uint64_t seed, uint32_t size) : random_(seed), memory_(size) {
    for (uint32_t at = 0; at + 4 <= std::min(size, 300U); at += 4)
      put(at, word());
    put(0, size);
    put(4, 1);
    if (size < 24 || draw(2) == 0) return;
    const uint32_t heads[][2] = {{40, 2005}, {32, 3001}, {64568, 3006},
                                 {56, 6001}, {56, 6002}, {48, 2008}};
    const auto* head = heads[draw(6)];
    put(16, head[0]);
    put(20, head[1]);
  }

  void* data() { return memory_.data(); }

 private:
  uint32_t draw(uint32_t below) { return static_cast<uint32_t>(random_() % below); }
  uint32_t word() {
    const uint32_t words[] = {
        8,    24,   32,   40,   48,   56,   64568, 32768,
        2005, 2008, 3001, 3006, 6001, 6002, 2,     static_cast<uint32_t>(random_())};
    return draw(4) == 0 ? words[draw(std::size(words))] : 0;
  }
  void put(uint32_t at, uint32_t value) { std::memcpy(memory_.data() + at, &value, sizeof value); }

  std::mt19937_64 random_;
  LastBytes memory_;
};

TEST_F(RequestsTest, NoRequestOfTheRightLengthIsReadPastItsEndOrCrashes) {
  int carriedOut = 0;
  for (uint64_t seed = 0; seed < 20000; ++seed) {
    const uint32_t sizes[] = {16, 20, 24, 48, 56, 64, 72, 104, 112, 133, 64584};
    RandomRequest request(seed, sizes[seed % std::size(sizes)]);
    const Send send = seed / 16 % 2 == 0 ? zolt_fcntl : zolt_restripe_file;
    if (send(fd, request.data()) == 0) ++carriedOut;
  }
  EXPECT_GT(carriedOut, 100);
}

}  // namespace
}  // namespace zolt_local
