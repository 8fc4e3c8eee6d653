#include "layout.h"

#include <gtest/gtest.h>

namespace zolt_cephfs {
namespace {

TEST(LayoutTest, IsReadFromItsText) {
  const auto layout = layoutFrom(
      "stripe_unit=65536 stripe_count=3 object_size=262144 pool=cephfs data pool_namespace=a b");
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->stripeUnit, 65536U);
  EXPECT_EQ(layout->stripeCount, 3U);
  EXPECT_EQ(layout->objectSize, 262144U);
  EXPECT_EQ(layout->pool, "cephfs data");
  EXPECT_EQ(layout->nameSpace, "a b");
}

TEST(LayoutTest, WhatIsNoneIsNoneAndDividesNothingByZero) {
  for (const char* text :
       {"", "stripe_unit=", "stripe_unit=1", "stripe_unit=0 stripe_count=1 object_size=4 pool=p",
        "stripe_unit=4 stripe_count=0 object_size=4 pool=p",
        "stripe_unit=4 stripe_count=1 object_size=6 pool=p",
        "stripe_unit=4 stripe_count=1 object_size=2 pool=p",
        "stripe_unit=4 stripe_count=1 object_size=4 pool=",
        "stripe_unit=4 stripe_count=1 object_size=4",
        "stripe_unit=-4 stripe_count=1 object_size=4 pool=p",
        "stripe_unit=99999999999999999999 stripe_count=1 object_size=4 pool=p"})
    EXPECT_FALSE(layoutFrom(text)) << text;
}

// Three objects side by side, of two units each: 0 3, 1 4, 2 5, then 6 9, 7 10, 8 11.
TEST(LayoutTest, UnitsGoRoundTheObjectsOfASet) {
  const FileLayout layout{10, 3, 20, "p", ""};
  const uint64_t objects[] = {0, 1, 2, 0, 1, 2, 3, 4, 5, 3, 4, 5, 6};
  uint64_t offset = 0;
  for (const uint64_t object : objects) {
    EXPECT_EQ(layout.objectAt(offset), object);
    EXPECT_EQ(layout.objectAt(offset + 9), object);
    offset += 10;
  }
}

TEST(LayoutTest, ObjectsAreNamedByInodeAndNumber) {
  ObjectNames names(0x10000000001, "");
  EXPECT_EQ(names.of(0), "10000000001.00000000");
  EXPECT_EQ(names.of(0x12345678), "10000000001.12345678");
  EXPECT_EQ(names.of(0x123456789), "10000000001.123456789");
  EXPECT_EQ(names.of(1), "10000000001.00000001");
  EXPECT_EQ(ObjectNames(1, "tenant").of(2), "tenant\0371.00000002");
}

}  // namespace
}  // namespace zolt_cephfs
