#include "jni/errno_text.h"

#include <cstring>

namespace zolt {

ErrnoText::ErrnoText(int error) : text_(strerror_r(error, buffer_.data(), buffer_.size())) {}

}  // namespace zolt
