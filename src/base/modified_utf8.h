// Bytes that the system gave, made fit for a Java string.
#pragma once

#include <string>
#include <string_view>

namespace zolt {

/// The bytes as modified UTF-8, which is all that NewStringUTF may be given (JNI specification,
/// "Modified UTF-8 Strings"; HotSpot makes a string of others that equals no other string). What is
/// modified UTF-8 already stays as it is; a UTF-8 character of four bytes becomes its two
/// surrogates; a byte that is part of no character, forms longer than need be included, becomes the
/// low surrogate of its number, U+DC80 to U+DCFF. A lone surrogate among the bytes stays one,
/// unless that could be read as such an escape. So different bytes make different strings, with one
/// exception: the two forms of a character beyond U+FFFF make the same.
std::string toModifiedUtf8(std::string_view bytes);

}  // namespace zolt
