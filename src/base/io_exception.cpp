#include "base/io_exception.h"

#include "base/errno_text.h"

namespace zolt {

std::string IOException::detail() const {
  const char* text = what();
  return std::string(text != nullptr ? text : "null") + " errno:" + std::to_string(error_) + " " +
         ErrnoText(error_).c_str();
}

}  // namespace zolt
