#include "jni/errno_text.h"

#include <array>
#include <cstring>

namespace zolt {

std::string errnoText(int error) {
  std::array<char, 512> buffer{};
  return strerror_r(error, buffer.data(), buffer.size());
}

}  // namespace zolt
