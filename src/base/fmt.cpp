#include "base/fmt.h"

#include <locale>
#include <new>

namespace zolt {

Fmt::Buf::Buf(const char* separator) : separator_(separator != nullptr ? separator : "") {}

bool Fmt::Buf::needsSeparator(const char* chunk, std::streamsize count) const {
  return !separator_.empty() && count >= 1 && chunk[0] != '\n' && pptr() > pbase() &&
         pptr()[-1] != '\n';
}

std::streamsize Fmt::Buf::xsputn(const char* chunk, std::streamsize count) {
  if (needsSeparator(chunk, count)) {
    std::stringbuf::xsputn(separator_.data(), static_cast<std::streamsize>(separator_.size()));
  }
  return std::stringbuf::xsputn(chunk, count);
}

// Without memory the string buffers of some C++ libraries throw, and those of others answer eof.
Fmt::Buf::int_type Fmt::Buf::overflow(int_type character) {
  const int_type taken = std::stringbuf::overflow(character);
  if (taken == traits_type::eof()) throw std::bad_alloc();
  return taken;
}

Fmt::Fmt(const char* separator) : std::ostream(nullptr), buf_(separator) {
  rdbuf(&buf_);
  // Numbers are written plainly, whatever locale the process has made the global one.
  imbue(std::locale::classic());
  // By itself a stream keeps quiet about want of memory, and the message would be cut short.
  exceptions(std::ios_base::badbit);
}

}  // namespace zolt
