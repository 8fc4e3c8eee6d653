// A status record of any bytes and any length, and any memory for the answer: nothing is written
// but the header behind the record and the words.
#include "blocks/block_locations.h"

#include <stdexcept>

#include "base/settings.h"
#include "block_replies.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

struct Call {
  StorageType type;
  int64_t offset;
  int64_t length;
  std::string status;
  bool hasLocations;
  size_t bytes;
};

struct Result {
  int error = 0;
  std::string thrown;
  std::string status;
  std::string locations;
  test::Ranges asked;
};

constexpr char CANARY = Guarded::UNTOUCHED;

// The words of an answer, -1 after them. False when the query did not come to its end.
bool runQuery(const Call& call, locationplus& loc, FuzzedFileSystem& fs, Result& result) {
  const bool headerOnly = call.offset == 0 && call.length == 0;
  test::Question question{};
  question.type = call.type;
  question.loc = loc;
  question.loc.offset = static_cast<uint64_t>(call.offset);
  question.loc.length = call.length < 0 ? loc.filelen : static_cast<uint64_t>(call.length);
  question.words = headerOnly ? 6 : call.hasLocations ? call.bytes / 4 : 0;
  test::Outcome outcome = test::expectedOf(question, fs);
  loc.blocksize = outcome.blocksize;
  loc.nreplica = outcome.nreplica;
  result.asked = outcome.asked;
  result.error = outcome.result;
  result.thrown = outcome.overflow;
  const bool done = result.error == 0 && result.thrown.empty();
  if (!headerOnly && call.hasLocations && !outcome.memory.empty()) {
    if (done)
      std::fill(outcome.memory.begin() + static_cast<std::ptrdiff_t>(outcome.used),
                outcome.memory.end(), -1);
    std::memcpy(result.locations.data(), outcome.memory.data(), 4 * outcome.memory.size());
  }
  return done;
}

void writeHeader(const locationplus& loc, Result& result) {
  const size_t room = result.status.size() - 90;
  const auto overflow = [](size_t claim, size_t left) {
    return "Buffer overflow: claim " + std::to_string(claim) + " remaining " + std::to_string(left);
  };
  if (room < 8) {
    result.thrown = overflow(8, room);
    return;
  }
  std::memcpy(result.status.data() + 90, &loc.blocksize, 8);
  if (room < 12) {
    result.thrown = overflow(4, room - 8);
    return;
  }
  std::memcpy(result.status.data() + 98, &loc.nreplica, 4);
}

Result byTheRules(const Call& call, FuzzedFileSystem& fs) {
  Result result;
  result.status = call.status;
  result.locations.assign(call.hasLocations ? call.bytes : 0, CANARY);
  if (call.offset < 0) {
    result.error = EINVAL;
    return result;
  }
  if (call.status.size() <= 90) {
    result.thrown = "Buffer overflow: current pos 0 seek 90";
    return result;
  }
  locationplus loc{};
  uint32_t blksize = 0;
  uint32_t mode = 0;
  std::memcpy(&loc.filelen, call.status.data() + 8, 8);
  std::memcpy(&mode, call.status.data() + 24, 4);
  std::memcpy(&blksize, call.status.data() + 28, 4);
  loc.blksize = blksize;
  loc.isRegular = (mode & 0xF000) == 0x8000;
  if (loc.isRegular) {
    if ((call.offset != 0 || call.length != 0) && call.hasLocations && call.bytes % 4 != 0) {
      result.thrown = "Direct ByteBuffer length error: length " + std::to_string(call.bytes) +
                      " buffer type size 4";
      return result;
    }
    if (!runQuery(call, loc, fs, result)) return result;
  }
  writeHeader(loc, result);
  return result;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  drawThreshold(input);
  const uint8_t kind = input.byte();
  Call call{};
  call.type = static_cast<StorageType>(kind < 240 ? kind % 4 : input.take<int32_t>());
  call.offset = static_cast<int64_t>(input.number());
  call.length = static_cast<int64_t>(input.number());
  call.status = input.bytes(kind % 8 == 7 ? input.byte() : 102);
  if (kind % 8 != 7) {
    call.status.resize(102);
    // Mostly a regular file, or little happens.
    if (kind % 8 != 6) call.status[25] = static_cast<char>(0x80 | (call.status[25] & 0x0F));
  }
  call.hasLocations = kind % 16 != 5;
  call.bytes = input.take<uint16_t>() % 2048;
  if (kind % 16 != 4) call.bytes &= ~size_t{3};
  defaultBlockSize = input.number();
  defaultReplication = static_cast<int>(input.number());

  FuzzedFileSystem fs(input);
  FuzzedFileSystem same = fs;
  const Result expected = byTheRules(call, same);

  Result found;
  const Client client(test::clientOf(fs, found.asked));
  Guarded status(call.status.size(), input.pick(8));
  Guarded locations(call.hasLocations ? call.bytes : 0, input.pick(8));
  if (!call.status.empty()) std::memcpy(status.data(), call.status.data(), call.status.size());
  std::optional<LentMemory> lent;
  if (call.hasLocations) lent = {locations.data(), locations.size()};
  try {
    found.error = getBlockLocations("/dev/null", call.type, input.flag(), call.offset, call.length,
                                    LentMemory{status.data(), status.size()}, lent)
                      .value();
  } catch (const std::overflow_error& error) {
    found.thrown = error.what();
  } catch (const std::logic_error& error) {
    found.thrown = error.what();
  }
  REQUIRE(found.error == expected.error);
  REQUIRE(found.thrown == expected.thrown);
  REQUIRE(found.asked == expected.asked);
  REQUIRE(status.content() == expected.status);
  REQUIRE(locations.content() == expected.locations);
  return 0;
}
