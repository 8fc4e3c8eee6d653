// Any bytes become modified UTF-8, from which they can be told again.
#include "base/modified_utf8.h"

#include "fuzz.h"
#include "utf8_rules.h"

using namespace zolt;
using namespace zolt::fuzz;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::string bytes = input.rest();
  const std::string text = toModifiedUtf8(bytes);
  REQUIRE(isModifiedUtf8(text));
  REQUIRE(unescaped(text) == inSurrogates(bytes));
  const bool hasSurrogates = bytes.find('\xED') != std::string::npos;
  REQUIRE(hasSurrogates || !isModifiedUtf8(bytes) || text == bytes);
  return 0;
}
