#include "status/mounts.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "faults.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::openDescriptors;
using test::TempDir;

struct MountsTest : ::testing::Test {
  ~MountsTest() override { zolt_fault_clear(); }

  void useTable(const std::string& content) {
    table = dir.file("mtab", content);
    zolt_fault_mount_table(table.c_str());
  }

  TempDir dir;
  std::string table;
};

TEST_F(MountsTest, FindsByDirectoryAndType) {
  useTable(
      "/dev/a /mnt ext4 rw 0 0\n"
      "fs1 /mnt zolt rw 0 0\n"
      "fs2 /mnt2 zolt rw 0 0\n");
  EXPECT_EQ(mountDevice("/mnt", "zolt"), "fs1");
  EXPECT_EQ(mountDevice("/mnt2", "zolt"), "fs2");
  EXPECT_EQ(mountDevice("/mnt", "ext4"), "/dev/a");
}

TEST_F(MountsTest, TheFirstOfTwoEntriesCounts) {
  useTable("fs1 /mnt zolt rw 0 0\nfs2 /mnt zolt rw 0 0\n");
  EXPECT_EQ(mountDevice("/mnt", "zolt"), "fs1");
}

TEST_F(MountsTest, AnotherTypeOrDirectoryIsNoMatch) {
  useTable("fs1 /mnt zolt rw 0 0\n");
  EXPECT_EQ(mountDevice("/mnt", "ext4"), std::nullopt);
  EXPECT_EQ(mountDevice("/mnt/", "zolt"), std::nullopt);
  EXPECT_EQ(mountDevice("/mn", "zolt"), std::nullopt);
  EXPECT_EQ(mountDevice("", ""), std::nullopt);
}

TEST_F(MountsTest, EscapedNamesAndLongOptionsAreRead) {
  useTable("fs\\0401 /mnt\\040x zolt " + std::string(100000, 'o') +
           " 0 0\nfs2 /after zolt rw 0 0\n");
  EXPECT_EQ(mountDevice("/mnt x", "zolt"), "fs 1");
  EXPECT_EQ(mountDevice("/after", "zolt"), "fs2");
}

TEST_F(MountsTest, NamesOfThePathLimitAreRead) {
  std::string escaped;
  for (int i = 0; i < 4000; ++i)
    escaped += "\\040";
  useTable("fs" + escaped + " /" + escaped + " zolt rw 0 0\n");
  EXPECT_EQ(mountDevice("/" + std::string(4000, ' '), "zolt"), "fs" + std::string(4000, ' '));
}

TEST_F(MountsTest, ABrokenTableIsNoMatch) {
  useTable(std::string("\0\n# comment\n\nonly-one-column\n", 30));
  EXPECT_EQ(mountDevice("/mnt", "zolt"), std::nullopt);
}

TEST_F(MountsTest, ATableThatCannotBeOpenedIsNoMatch) {
  zolt_fault_arm("setmntent", 1, 1, EACCES);
  EXPECT_EQ(mountDevice("/", "ext4"), std::nullopt);
}

TEST_F(MountsTest, TheTableIsClosedAgain) {
  useTable("fs1 /mnt zolt rw 0 0\n");
  const long before = openDescriptors();
  mountDevice("/mnt", "zolt");
  mountDevice("/none", "zolt");
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace zolt
