#include "base/fmt.h"

#include <gtest/gtest.h>

#include <locale>
#include <new>

#include "walk.h"

namespace zolt {
namespace {

TEST(Fmt, WithoutASeparatorIsAPlainStringStream) {
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    Fmt text(none);
    text << "a" << 1 << "b" << -2L;
    EXPECT_EQ(text.str(), "a1b-2");
  }
}

TEST(Fmt, SeparatesWhatIsWrittenInOnePiece) {
  Fmt text(", ");
  text << 0 << 8 << 8;
  EXPECT_EQ(text.str(), "0, 8, 8");

  Fmt words(", ");
  words << "a" << std::string("b");
  EXPECT_EQ(words.str(), "a, b");
}

TEST(Fmt, ANewlineBeginsAFreshLine) {
  Fmt text(", ");
  text << "a"
       << "\n"
       << "b";
  EXPECT_EQ(text.str(), "a\nb");

  Fmt led(", ");
  led << "a"
      << "\nb"
      << "c";
  EXPECT_EQ(led.str(), "a\nb, c");
}

TEST(Fmt, SingleCharacterPutsAreNotSetOff) {
  Fmt text(", ");
  text << "a";
  text.put('b').put('c');
  EXPECT_EQ(text.str(), "abc");
  text << "d";
  EXPECT_EQ(text.str(), "abc, d");
}

TEST(Fmt, AnEmptyChunkIsNothing) {
  Fmt text(", ");
  text << ""
       << "a"
       << ""
       << "b"
       << "";
  EXPECT_EQ(text.str(), "a, b");
}

TEST(Fmt, ABlankLedChunkFollowsTwoBlanks) {
  EXPECT_EQ(joined(" ", "Invalid", 2, " at least"), "Invalid 2  at least");
}

TEST(Fmt, KeepsItsOwnCopyOfTheSeparator) {
  std::string separator = "--";
  Fmt text(separator.c_str());
  separator[0] = 'x';
  text << "a"
       << "b";
  EXPECT_EQ(text.str(), "a--b");
}

struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(Fmt, NumbersDoNotFollowTheGlobalLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(joined("", 1234567), "1234567");
  std::locale::global(before);
}

TEST(Fmt, OrNull) {
  EXPECT_STREQ(orNull(nullptr), "null");
  EXPECT_STREQ(orNull("x"), "x");
}

TEST(Fmt, ANewlineThatWasPutBeginsAFreshLineToo) {
  Fmt text(", ");
  text << "a";
  text.put('\n');
  text << "b"
       << "c";
  EXPECT_EQ(text.str(), "a\nb, c");
}

TEST(Fmt, ATextThatThereIsNoMemoryForIsAnErrorAndNoShorterText) {
  const std::string piece(100, 'x');
  int failing = 0;
  do {
    std::string text;
    zolt_walk_begin(0, 0, 0, ++failing, 0);
    try {
      text = joined(",", piece, 7, piece);
    } catch (const std::bad_alloc&) {
      text = "no memory";
    }
    zolt_walk_end();
    if (zolt_walk_allocations() == 0) GTEST_SKIP() << "a sanitizer has its own allocations";
    EXPECT_EQ(zolt_walk_allocations() < failing ? piece + ",7," + piece : "no memory", text);
  } while (zolt_walk_allocations() >= failing);
  EXPECT_LT(1, failing);
}

}  // namespace
}  // namespace zolt
