#include "environment.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace zolt_client {

int32_t numberFrom(const char* variable, int32_t largest, int32_t byDefault) {
  const char* text = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read once
  if (text == nullptr) return byDefault;
  const std::string_view digits(text);
  int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool whole = error == std::errc{} && end == digits.data() + digits.size();
  return whole && number >= 1 && number <= largest ? number : byDefault;
}

}  // namespace zolt_client
