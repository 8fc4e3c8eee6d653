#include "block_model.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>

#include "base/settings.h"
#include "zolt.h"

namespace zolt::test {

RandomFileSystem::RandomFileSystem(uint64_t seed) : random_(seed) {
  const uint64_t sizes[] = {1, 7, 512, 4096, 1 << 20, 2147483648, 3000000001};
  blockSize_ = sizes[draw(std::size(sizes))];
  nodes_ = static_cast<int32_t>(1 + draw(12));
  replicas_ = static_cast<int32_t>(1 + draw(4));
  blocksPerReply_ = static_cast<int32_t>(1 + draw(20));
  faulty_ = oneIn(4);
  const int32_t factors[] = {1, 2, 3, 4, 8, 1024, 0, -1};
  placement_ = {faulty_ && oneIn(6) ? ESTALE : 0, oneIn(3) ? 61 : 0,
                factors[draw(oneIn(8) ? 8 : 5)], static_cast<uint32_t>(draw(5))};
}

RandomFileSystem::Reply RandomFileSystem::next(uint64_t skip, uint64_t length) {
  if (faulty_ && oneIn(8)) return {EREMOTEIO, {}};
  Locations reply;
  reply.metaBlockSize = static_cast<int64_t>(skip == 0 || oneIn(5) ? blockSize_ : skip);
  const uint64_t step = skip == 0 ? blockSize_ : skip;
  const uint64_t wanted = length / step + 1;
  reply.blocks = static_cast<int32_t>(
      oneIn(10) ? draw(30)
                : std::min<uint64_t>(wanted, 1 + draw(static_cast<uint64_t>(blocksPerReply_))));
  reply.replicas = oneIn(20) ? static_cast<int32_t>(draw(5)) : replicas_;
  if (faulty_ && oneIn(10)) reply.blocks = oneIn(2) ? -1 : 9000;
  if (faulty_ && oneIn(10)) reply.replicas = oneIn(2) ? -3 : 8065;
  if (faulty_ && oneIn(10)) reply.metaBlockSize = -static_cast<int64_t>(draw(2));
  const int64_t entries = int64_t{reply.replicas} * reply.blocks;
  for (int64_t i = 0; entries <= ZOLT_LOCATION_ENTRIES && i < 2 * entries; ++i)
    reply.words.push_back(oneIn(30) ? -1
                                    : static_cast<int32_t>(draw(static_cast<uint64_t>(nodes_))));
  return {0, reply};
}

std::function<int(void* request)> clientOf(FileSystem& fs, Ranges& asked) {
  return [&fs, &asked](void* request) {
    const auto is = [request](uint32_t length, uint32_t type) {
      return fieldOf<uint32_t>(request, 0) == length && fieldOf<uint32_t>(request, 4) == 1 &&
             fieldOf<uint32_t>(request, 20) == type;
    };
    int error = EPROTO;  // which neither model nor file system answers
    if (is(104, ZOLT_READ_REPLICATION) && fieldOf<uint32_t>(request, 52) == ZOLT_READ_ATTRIBUTE) {
      const auto placed = fs.placement();
      error = placed.error;
      putPlacement(request, placed.replicas, placed.status, static_cast<uint32_t>(placed.bgf));
    } else if (is(64584, ZOLT_READ_LOCATIONS)) {
      asked.push_back(rangeOf(request));
      const auto [failed, reply] = fs.next(asked.back()[1], asked.back()[2]);
      error = failed;
      putLocations(request, reply);
    }
    if (error == 0) return 0;
    errno = error;
    return -1;
  };
}

Question randomQuestion(uint64_t seed) {
  std::mt19937_64 random(seed ^ 0xABCDEF);
  const uint64_t blockSize = RandomFileSystem(seed).blockSize();
  const auto someLength = [&] {
    return random() % 4 == 0 ? random() % 3 : random() % (blockSize * (1 + random() % 200));
  };
  Question question{seed, StorageType(random() % 16 == 0 ? random() % 7 : random() % 4), {}, 0};
  question.loc.filelen = someLength();
  question.loc.offset = random() % 3 == 0 ? 0 : someLength();
  question.loc.length = random() % 3 == 0 ? question.loc.filelen : someLength();
  question.loc.blksize = random() % 40 == 0 ? 0 : blockSize;
  question.loc.isRegular = random() % 40 != 0;
  question.words = random() % 8 == 0 ? random() % 60 : 5000;
  defaultBlockSize = random() % 3 == 0 ? 0 : random() % (8 * blockSize);
  defaultReplication = static_cast<int>(1 + random() % 4);
  return question;
}

namespace {

// One query, start to end.
class Rules {
 public:
  Rules(const Question& question, FileSystem& fileSystem) : fs(fileSystem), q(question) {
    o.memory.assign(q.words, 0x55555555);
  }

  Outcome answer() {
    const uint64_t room = q.loc.filelen > q.loc.offset ? q.loc.filelen - q.loc.offset : 0;
    o.length = q.loc.length < room ? q.loc.length : room;
    o.blocksize = q.loc.blksize;
    try {
      if (q.loc.isRegular) o.result = byType();
    } catch (const std::overflow_error& error) {
      o.overflow = error.what();
    }
    return o;
  }

 private:
  int byType() {
    if (q.type == 0) {
      o.blocksize = 0;
      return ungrouped();
    }
    if (q.type < 0 || q.type > 3) return 0;
    const int error = sizes();
    if (q.type == 1) {
      o.nreplica = std::max(o.nreplica, static_cast<uint32_t>(defaultReplication));
      while (o.used < q.words)
        o.memory[o.used++] = -1;
      return error;
    }
    if (error != 0 || o.length == 0) return error;
    return q.type == 2 ? ungrouped() : grouped();
  }

  int sizes() {
    o.nreplica = 1;
    o.blocksize = 0;
    if (q.loc.blksize == 0) return EINVAL;
    const auto placement = fs.placement();
    if (placement.error != 0) return placement.error;
    if (placement.status != 0) {
      o.blocksize = defaultBlockSize;
    } else {
      o.blocksize = static_cast<uint64_t>(int64_t{placement.bgf}) * q.loc.blksize;
    }
    if (o.blocksize % q.loc.blksize != 0) {
      o.blocksize = (o.blocksize / q.loc.blksize + 1) * q.loc.blksize;
    }
    o.nreplica = placement.replicas;
    return 0;
  }

  void align() {
    const auto r = static_cast<int32_t>(off % skip);
    len += static_cast<uint64_t>(int64_t{r});
    off -= static_cast<uint64_t>(int64_t{r});
  }

  int ask(Locations& reply) {
    o.asked.push_back({off, skip, len});
    auto [error, locations] = fs.next(skip, len);
    reply = locations;
    if (error != 0) return error;
    if (reply.replicas < 0 || reply.blocks < 0) return EIO;
    if (reply.replicas > 8064 || reply.blocks > 8064) return EIO;
    if (static_cast<int64_t>(reply.replicas) * reply.blocks > 8064) return EIO;
    return 0;
  }

  void put(const std::vector<int>& words) {
    if (words.size() > q.words - o.used) {
      throw std::overflow_error("Buffer overflow: claim " + std::to_string(words.size()) +
                                " remaining " + std::to_string(q.words - o.used));
    }
    for (const int word : words)
      o.memory[o.used++] = word;
  }

  // False when the walk is over.
  bool forward(const Locations& reply) {
    const auto blocks = static_cast<uint64_t>(reply.blocks);
    const bool countable = blocks == 0 || skip <= UINT64_MAX / blocks;
    const uint64_t returned = countable ? skip * blocks : UINT64_MAX;
    off += returned;
    if (q.loc.filelen <= off || returned >= len || reply.blocks == 0) return false;
    len -= returned;
    return true;
  }

  int ungrouped() {
    o.nblock = o.nreplica = 0;
    off = q.loc.offset;
    len = o.length;
    skip = o.blocksize;
    if (skip != 0) align();
    if (len == 0 && q.loc.filelen != 0) len = 1;
    uint32_t blocks = 0;
    for (;;) {
      Locations reply;
      if (const int error = ask(reply); error != 0) return error;
      if (skip == 0) {
        // As two signed halves: with the low half's sign set there is no high half left.
        int64_t size = reply.metaBlockSize;
        if ((size & 0x80000000) != 0) size = static_cast<int32_t>(size);
        if (size < 1 && reply.blocks != 0) return EIO;
        if (size >= 1) {
          skip = o.blocksize = static_cast<uint64_t>(size);
          align();
        }
      }
      put(reply.words);
      blocks += static_cast<uint32_t>(reply.blocks);
      if (forward(reply)) continue;
      o.nblock = blocks;
      o.nreplica = static_cast<uint32_t>(reply.replicas);
      return 0;
    }
  }

  using Counts = std::map<int, int>;

  void emit(Counts& counts, int32_t replicas) {
    std::vector<std::pair<int, int>> nodes(counts.begin(), counts.end());
    const auto pivot = static_cast<size_t>(replicas - 1);
    if (replicas > 0 && nodes.size() > pivot) {
      std::nth_element(nodes.begin(), nodes.begin() + replicas - 1, nodes.end(), count_greater);
    } else if (replicas > 0 && nodes.size() < pivot && nodes.size() <= 3) {
      std::stable_sort(nodes.begin(), nodes.end(), count_greater);
    } else if (replicas > 0 && nodes.size() < pivot) {  // any order will do; this is the library's
      std::nth_element(nodes.begin(), nodes.end() - 1, nodes.end(), count_greater);
    }
    while (nodes.size() < static_cast<size_t>(replicas))
      nodes.emplace_back(-1, -1);
    std::vector<int> words;
    for (size_t i = 0; i < static_cast<size_t>(replicas); ++i)
      words.push_back(nodes[i].first);
    for (size_t i = 0; i < static_cast<size_t>(replicas); ++i)
      words.push_back(nodes[i].second);
    put(words);
    counts.clear();
  }

  int grouped() {
    skip = q.loc.blksize;
    off = q.loc.offset;
    len = o.length;
    align();
    if (o.blocksize == 0) return EINVAL;
    o.nblock = o.nreplica = 0;
    const uint64_t group = o.blocksize / skip;
    o.blocksize = group * skip;
    if (group == 0) return EINVAL;
    Counts counts;
    uint32_t emitted = 0;
    bool begun = false;  // a group that has blocks
    for (;;) {
      Locations reply;
      if (const int error = ask(reply); error != 0) return error;
      for (int32_t b = 1; b <= reply.blocks; ++b) {
        const auto first = static_cast<size_t>(b - 1) * 2 * static_cast<size_t>(reply.replicas);
        for (size_t i = 0; i < static_cast<size_t>(reply.replicas); ++i) {
          if (reply.words[first + i] >= 0) counts[reply.words[first + i]] += 1;
          begun = true;
        }
        if (static_cast<uint64_t>(b) % group == 0) {
          emit(counts, reply.replicas);
          ++emitted;
          begun = false;
        }
      }
      if (forward(reply)) continue;
      if (begun) {
        emit(counts, reply.replicas);
        ++emitted;
      }
      o.nreplica = static_cast<uint32_t>(reply.replicas);
      o.nblock = emitted;
      return 0;
    }
  }

  FileSystem& fs;
  const Question& q;
  Outcome o;
  uint64_t off = 0;
  uint64_t len = 0;
  uint64_t skip = 0;
};

}  // namespace

Outcome outcomeOf(const Question& question, int* words) {
  Outcome outcome;
  Buffer<int> out;
  out.setBuffer(words, question.words);
  locationplus loc = question.loc;
  try {
    outcome.result = getBlkLocationInt(3, question.type, loc, out);
  } catch (const std::overflow_error& error) {
    outcome.overflow = error.what();
  }
  outcome.used = out.position();
  outcome.length = loc.length;
  outcome.blocksize = loc.blocksize;
  outcome.nblock = loc.nblock;
  outcome.nreplica = loc.nreplica;
  outcome.memory.resize(question.words);
  if (question.words != 0) std::memcpy(outcome.memory.data(), words, 4 * question.words);
  return outcome;
}

Outcome expectedOf(const Question& question) {
  RandomFileSystem fs(question.seed);
  return expectedOf(question, fs);
}

Outcome expectedOf(const Question& question, FileSystem& fs) {
  return Rules(question, fs).answer();
}

}  // namespace zolt::test
