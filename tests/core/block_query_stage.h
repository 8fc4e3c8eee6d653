// The stage of the block queries' tests: a scripted client, a range, and words to write to.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "base/settings.h"
#include "blocks/block_query.h"
#include "scripted_client.h"

namespace zolt::test {

inline constexpr uint64_t MIB = 1 << 20;
inline constexpr int UNTOUCHED = 0x55555555;

// `blocks` blocks with the same entry words; the counts follow from them.
inline Locations same(int32_t blocks, const std::vector<int32_t>& entry, int64_t metaBlockSize) {
  Locations reply{static_cast<int32_t>(entry.size() / 2), blocks, metaBlockSize, {}};
  for (int32_t i = 0; i < blocks; ++i)
    reply.words.insert(reply.words.end(), entry.begin(), entry.end());
  return reply;
}

// A reply of the given blocks, each a list of nodes; the second words count up from 100.
inline Locations blocksOn(const std::vector<std::vector<int32_t>>& blocks, int64_t metaBlockSize) {
  Locations reply{static_cast<int32_t>(blocks.empty() ? 0 : blocks[0].size()),
                  static_cast<int32_t>(blocks.size()),
                  metaBlockSize,
                  {}};
  int32_t second = 100;
  for (const auto& nodes : blocks) {
    reply.words.insert(reply.words.end(), nodes.begin(), nodes.end());
    for (size_t i = 0; i < nodes.size(); ++i)
      reply.words.push_back(second++);
  }
  return reply;
}

struct BlockQueryTest : ::testing::Test {
  BlockQueryTest() {
    loc.blksize = MIB;
    loc.blocksize = MIB;
    loc.filelen = 10 * MIB;
    loc.length = loc.filelen;
    loc.inode = 4711;
    loc.isRegular = true;
    wrap(64);
  }
  ~BlockQueryTest() override {
    defaultBlockSize = 0;
    defaultReplication = 1;
  }

  void wrap(size_t words) {
    memory.assign(words, UNTOUCHED);
    out.setBuffer(memory.data(), words);
  }

  void reply(const Locations& answer) { client.next(locations(answer)); }

  // What was written, with everything after it checked to be untouched.
  std::vector<int> written() {
    const auto end = static_cast<std::ptrdiff_t>(out.position());
    for (auto rest = memory.begin() + end; rest != memory.end(); ++rest)
      EXPECT_EQ(*rest, UNTOUCHED);
    return {memory.begin(), memory.begin() + end};
  }

  struct Asked {
    uint64_t offset;
    uint64_t skip;
    uint64_t length;
    bool operator==(const Asked&) const = default;
  };
  // The location requests.
  std::vector<Asked> asked() {
    std::vector<Asked> ranges;
    for (const auto& call : client.calls()) {
      const auto range = rangeOf(call.request.data());
      if (!range.empty()) ranges.push_back({range[0], range[1], range[2]});
    }
    return ranges;
  }

  // The blocks and replicas that the caller is told of.
  using Told = std::pair<uint32_t, uint32_t>;
  Told told() const { return {loc.nblock, loc.nreplica}; }

  using Query = int (*)(int, locationplus&, Buffer<int>&);

  void refusesANegativeDescriptor(Query query) {
    loc.nblock = loc.nreplica = 9;
    EXPECT_EQ(query(-1, loc, out), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(told(), (Told{0, 0}));
    EXPECT_TRUE(client.calls().empty());
  }

  void refusesImpossibleCounts(Query query) {
    const std::vector<Locations> impossible = {{-1, 1, MIB, {}},        {1, -1, MIB, {}},
                                               {-1, -1, MIB, {}},       {8065, 1, MIB, {}},
                                               {1, 8065, MIB, {}},      {3, 2689, MIB, {}},
                                               {65536, 65536, MIB, {}}, {INT_MIN, 0, MIB, {}},
                                               {0, INT_MIN, MIB, {}},   {INT_MAX, INT_MAX, MIB, {}},
                                               {0, 8065, MIB, {}},      {0, INT_MAX, MIB, {}},
                                               {8065, 0, MIB, {}}};
    for (const auto& answer : impossible) {
      reply(answer);
      errno = 0;
      EXPECT_EQ(query(3, loc, out), -1) << answer.replicas << "*" << answer.blocks;
      EXPECT_EQ(errno, EIO);
      EXPECT_EQ(out.position(), 0U);
      EXPECT_EQ(told(), (Told{0, 0}));
    }
  }

  std::string overflowOf(Query query) {
    try {
      query(3, loc, out);
    } catch (const std::overflow_error& error) {
      return error.what();
    }
    return "nothing thrown";
  }

  ScriptedClient client;
  locationplus loc{};
  std::vector<int> memory;
  Buffer<int> out;
};

inline std::ostream& operator<<(std::ostream& text, const BlockQueryTest::Asked& range) {
  return text << "{" << range.offset << " " << range.skip << " " << range.length << "}";
}

}  // namespace zolt::test
