#include "base/errno_text.h"

#include <atomic>
#include <cstddef>
#include <cstring>

namespace zolt {

namespace {

// The texts that were asked for before. The C library keeps those of the errno values that it knows
// for good, but looks for a translation anew on every call. The language is that which the process
// had first; a virtual machine sets it once, before it runs anything.
constinit std::array<std::atomic<const char*>, 256> found{};

}  // namespace

ErrnoText::ErrnoText(int error) {
  const bool isNumber = error >= 0 && static_cast<size_t>(error) < found.size();
  std::atomic<const char*>* const place = isNumber ? &found[static_cast<size_t>(error)] : nullptr;
  text_ = place != nullptr ? place->load(std::memory_order_acquire) : nullptr;
  if (text_ != nullptr) return;
  buffer_.fill('\0');
  text_ = strerror_r(error, buffer_.data(), buffer_.size());
  const bool isTheirs = text_ != buffer_.data();
  if (place != nullptr && isTheirs) place->store(text_, std::memory_order_release);
}

}  // namespace zolt
