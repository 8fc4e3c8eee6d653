#include "base/io_exception.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace zolt {
namespace {

TEST(IOException, CarriesTextAndCode) {
  const IOException error("path /a", ENOENT);
  EXPECT_STREQ(error.what(), "path /a");
  EXPECT_EQ(error.code(), 2);
  EXPECT_EQ(error.detail(), "path /a errno:2 No such file or directory");
}

TEST(IOException, AnEmptyTextIsStillAText) {
  EXPECT_EQ(IOException("", 0).detail(), " errno:0 Success");
}

class Mute : public IOException {
 public:
  Mute() : IOException("unused", EIO) {}
  const char* what() const noexcept override { return nullptr; }
};

TEST(IOException, DetailSaysNullWhereThereIsNoText) {
  EXPECT_EQ(Mute().detail(), "null errno:5 Input/output error");
}

TEST(IOException, IsAStandardException) {
  try {
    throw IOException("x", 1);
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "x");
  }
}

}  // namespace
}  // namespace zolt
