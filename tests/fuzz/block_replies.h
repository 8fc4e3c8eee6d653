// A file system whose replies to the block queries come from a fuzz input.
#pragma once

#include <cerrno>
#include <cstring>

#include "block_model.h"
#include "client.h"
#include "fuzz.h"
#include "zolt.h"

namespace zolt::fuzz {

class FuzzedFileSystem : public test::FileSystem {
 public:
  explicit FuzzedFileSystem(Input& input) {
    const uint8_t fault = input.byte();
    placement_.error = fault < 248 ? 0 : 1 + fault % 8;
    placement_.status = input.flag() ? 0 : static_cast<int32_t>(input.number());
    placement_.bgf = static_cast<int32_t>(input.number());
    placement_.replicas = static_cast<uint32_t>(input.number());
    replies_.resize(input.pick(9));
    for (Line& line : replies_)
      line = someLine(input);
    pattern_ = input.bytes(32);
  }

  test::FileSystem::Placement placement() const override { return placement_; }

  /// After the last reply the client fails with ENODATA.
  test::FileSystem::Reply next(uint64_t skip, uint64_t /*length*/) override {
    if (at_ == replies_.size()) return {ENODATA, {}};
    const Line& line = replies_[at_++];
    test::Locations reply{line.replicas, line.blocks, line.metaBlockSize, {}};
    if (line.metaIsSkip) reply.metaBlockSize = static_cast<int64_t>(skip);
    const int64_t entries = int64_t{line.replicas} * line.blocks;
    if (line.replicas < 0 || line.blocks < 0 || entries > ZOLT_LOCATION_ENTRIES) {
      return {line.error, reply};
    }
    for (int64_t i = 0; i < 2 * entries; ++i) {
      const auto place = static_cast<size_t>(i) + at_;
      reply.words.push_back(pattern_.empty() ? 1 : pattern_[place % pattern_.size()]);
    }
    return {line.error, reply};
  }

 private:
  struct Line {
    int error;
    int32_t replicas;
    int32_t blocks;
    int64_t metaBlockSize;
    bool metaIsSkip;
  };

  static Line someLine(Input& input) {
    const uint8_t kind = input.byte();
    Line line{};
    line.error = kind < 248 ? 0 : 1 + kind % 8;
    line.metaIsSkip = kind % 2 == 0;
    line.replicas = kind % 16 == 15 ? static_cast<int32_t>(input.number()) : input.byte() % 8;
    line.blocks = kind % 16 == 14 ? static_cast<int32_t>(input.number()) : input.byte();
    if (!line.metaIsSkip) line.metaBlockSize = static_cast<int64_t>(input.number());
    return line;
  }

  Placement placement_{};
  std::vector<Line> replies_;
  std::string pattern_;
  size_t at_ = 0;
};

}  // namespace zolt::fuzz
