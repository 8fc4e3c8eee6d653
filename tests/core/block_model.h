// A random file system for the property test, and the rules of the block queries written down once
// more, as plainly as they can be: one function a query, vectors and maps, nothing shared.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "blocks/block_query.h"
#include "client_replies.h"

namespace zolt::test {

/// What a client answers.
class FileSystem {
 public:
  FileSystem() = default;
  virtual ~FileSystem() = default;

  struct Placement {
    int error;
    int32_t status;
    int32_t bgf;
    uint32_t replicas;
  };
  virtual Placement placement() const = 0;

  struct Reply {
    int error;
    Locations locations;
  };
  /// The reply of the next round.
  virtual Reply next(uint64_t skip, uint64_t length) = 0;

 protected:
  FileSystem(const FileSystem&) = default;
  FileSystem& operator=(const FileSystem&) = default;
};

/// The ranges that a client was asked for: offset, skip factor and length of each.
using Ranges = std::vector<std::vector<uint64_t>>;

/// The file system as the library's client, which writes down what it is asked.
std::function<int(void* request)> clientOf(FileSystem& fs, Ranges& asked);

/// Answers drawn from a seed: the same seed gives the same answers.
class RandomFileSystem : public FileSystem {
 public:
  explicit RandomFileSystem(uint64_t seed);

  Placement placement() const override { return placement_; }
  Reply next(uint64_t skip, uint64_t length) override;

  uint64_t blockSize() const { return blockSize_; }

 private:
  uint64_t draw(uint64_t below) { return random_() % below; }
  bool oneIn(uint64_t chances) { return draw(chances) == 0; }

  std::mt19937_64 random_;
  uint64_t blockSize_;
  int32_t nodes_;
  int32_t replicas_;
  int32_t blocksPerReply_;
  bool faulty_;
  Placement placement_;
};

/// A query and all that shall come of it.
struct Question {
  uint64_t seed;
  StorageType type;
  locationplus loc;
  size_t words;
};
struct Outcome {
  int result = 0;
  std::string overflow;
  uint64_t length = 0;
  uint64_t blocksize = 0;
  uint32_t nblock = 0;
  uint32_t nreplica = 0;
  std::vector<int> memory;
  size_t used = 0;  // words written
  Ranges asked;
  bool operator==(const Outcome&) const = default;
};

Question randomQuestion(uint64_t seed);

/// By the library, with these words to write to, but for what its client is asked.
Outcome outcomeOf(const Question& question, int* words);

/// By the plain rules, over the random file system of the question's seed or another one.
Outcome expectedOf(const Question& question);
Outcome expectedOf(const Question& question, FileSystem& fs);

}  // namespace zolt::test
