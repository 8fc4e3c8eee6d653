// A client's settings, from the environment of the process.
#pragma once

#include <cstdint>

namespace zolt_client {

/// The decimal number from 1 to `largest` that the variable holds; `byDefault` when it is not set,
/// or is anything else.
int32_t numberFrom(const char* variable, int32_t largest, int32_t byDefault);

}  // namespace zolt_client
