// Block queries of any range over any replies of the client: the library and the plain rules agree
// on every word, size, request and error.
#include "blocks/block_query.h"

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

  test::Ranges asked;
  const Client client(test::clientOf(fs, asked));
  Guarded memory(question.words * sizeof(int), input.pick(8));
  test::Outcome found = test::outcomeOf(question, reinterpret_cast<int*>(memory.data()));
  found.asked = asked;
  REQUIRE(found == expected);
  return 0;
}
