#include <gtest/gtest.h>

#include "object_hash.h"

namespace zolt_cephfs {
namespace {

// What "ceph osd map" said of objects of these names: the hash is the last part of the raw group.
TEST(ObjectHashTest, IsThatOfTheMonitors) {
  EXPECT_EQ(rjenkins("10000000001.00000000"), 0xc9e0747U);
  EXPECT_EQ(rjenkins("10000000001.00000001"), 0xb1e464afU);
  EXPECT_EQ(rjenkins("10000000001.00000002"), 0x8131b27eU);
  EXPECT_EQ(rjenkins("10000000001.00000007"), 0x95ef62fdU);
}

TEST(ObjectHashTest, ANumberOfGroupsThatIsNoPowerOfTwoFoldsTheRest) {
  EXPECT_EQ(maskFor(1), 0U);
  EXPECT_EQ(maskFor(8), 7U);
  EXPECT_EQ(maskFor(12), 15U);
  EXPECT_EQ(groupOf(11, 12, 15), 11U);
  EXPECT_EQ(groupOf(12, 12, 15), 4U);
  EXPECT_EQ(groupOf(0xffffffff, 12, 15), 7U);
}

}  // namespace
}  // namespace zolt_cephfs
