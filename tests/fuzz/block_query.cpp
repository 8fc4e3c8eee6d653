// Block queries of any range over any replies of the client: the library and the plain rules agree
// on every word, size, request and error.
#include "blocks/block_query.h"

#include <stdexcept>

#include "base/settings.h"
#include "block_replies.h"

using namespace zolt;
using namespace zolt::fuzz;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  drawThreshold(input);
  const uint8_t type = input.byte();
  test::Question question{};
  question.type = static_cast<StorageType>(type < 240 ? type % 4 : input.take<int32_t>());
  question.loc.filelen = input.number();
  question.loc.offset = input.number();
  question.loc.length = input.number();
  question.loc.blksize = input.number();
  question.loc.isRegular = type % 32 != 31;
  question.words = input.take<uint16_t>() % 2048;
  defaultBlockSize = input.number();
  defaultReplication = static_cast<int>(input.number());

  FuzzedFileSystem fs(input);
  FuzzedFileSystem same = fs;
  const test::Outcome expected = test::expectedOf(question, same);

  test::Outcome found;
  const Client client(answersOf(fs, found.asked));
  Guarded memory(question.words * sizeof(int), input.pick(8));
  Buffer<int> out;
  out.setBuffer(reinterpret_cast<int*>(memory.data()), question.words);
  locationplus loc = question.loc;
  try {
    found.result = getBlkLocationInt(3, question.type, loc, out);
  } catch (const std::overflow_error& error) {
    found.overflow = error.what();
  }
  REQUIRE(found.result == expected.result);
  REQUIRE(found.overflow == expected.overflow);
  REQUIRE(found.asked == expected.asked);
  REQUIRE(out.position() == expected.used);
  REQUIRE(loc.length == expected.length);
  REQUIRE(loc.blocksize == expected.blocksize);
  REQUIRE(loc.nblock == expected.nblock);
  REQUIRE(loc.nreplica == expected.nreplica);
  REQUIRE(memory.size() == 0 ||
          std::memcmp(memory.data(), expected.memory.data(), memory.size()) == 0);
  return 0;
}
