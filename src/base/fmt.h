// Fmt: the stream in which one message is built, with an optional separator between its pieces.
#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace zolt {

/// An output stream over its own buffer. With a separator, each chunk that is written in one piece
/// (a string, a number) is set off from what stands before it:
///
///     Fmt list(", ");
///     list << 0 << 8 << 8;        // list.str() == "0, 8, 8"
///
/// No separator stands before the first chunk, after a newline, or before a chunk that begins with
/// one. Single characters put with put() are never set off. A text is never cut short: where there
/// is no memory for a piece, writing it is std::bad_alloc.
class Fmt : public std::ostream {
 public:
  class Buf : public std::stringbuf {
   public:
    explicit Buf(const char* separator);

   protected:
    std::streamsize xsputn(const char* chunk, std::streamsize count) override;
    int_type overflow(int_type character) override;

   private:
    bool needsSeparator(const char* chunk, std::streamsize count) const;

    std::string separator_;
  };

  /// `separator` null or "" means none.
  explicit Fmt(const char* separator);

  std::string str() const { return buf_.str(); }

 private:
  Buf buf_;
};

/// The pieces streamed into a Fmt with that separator: joined(" ", "uid", 7) is "uid 7".
template <class... Pieces>
std::string joined(const char* separator, const Pieces&... pieces) {
  Fmt text(separator);
  (text << ... << pieces);
  return text.str();
}

/// A C string for a message: itself, or "null".
inline const char* orNull(const char* text) {
  return text != nullptr ? text : "null";
}

}  // namespace zolt
