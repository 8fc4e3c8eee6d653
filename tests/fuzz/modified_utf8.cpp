// Any bytes become modified UTF-8, from which they can be told again.
#include "jni/modified_utf8.h"

#include "fuzz.h"
#include "utf8_rules.h"

using namespace zolt;
using namespace zolt::fuzz;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::string bytes = input.rest();
  const std::string text = toModifiedUtf8(bytes);
  REQUIRE(isModifiedUtf8(text));
  REQUIRE(toModifiedUtf8(text) == text);
  REQUIRE(!isModifiedUtf8(bytes) || text == bytes);
  REQUIRE(text.size() >= bytes.size() && text.size() <= 2 * bytes.size());
  return 0;
}
