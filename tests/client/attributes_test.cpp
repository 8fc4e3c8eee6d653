#include <sys/xattr.h>

#include "stage.h"

namespace zolt_local {
namespace {

using namespace test;

struct AttributesTest : ClientTest {
  // By path and by descriptor, which agree.
  zolt_iattr64 attributes() {
    unsigned mask = 0;
    zolt_iattr64 byPath{};
    zolt_iattr64 byDescriptor{};
    EXPECT_EQ(zolt_stat_x(path.c_str(), &mask, &byPath, 264), 0);
    EXPECT_EQ(zolt_fstat_x(fd, &mask, &byDescriptor, 264), 0);
    EXPECT_EQ(std::memcmp(&byPath, &byDescriptor, 264), 0);
    return byPath;
  }
};

TEST_F(AttributesTest, TheRecordIsTheFilesStatus) {
  ASSERT_EQ(chown(path.c_str(), 1234, 5678), 0);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  resize(12345);
  struct stat st;
  ASSERT_EQ(fstat(fd, &st), 0);
  const zolt_iattr64 attr = attributes();
  EXPECT_EQ(attr.ia_version, 3);
  EXPECT_EQ(attr.ia_reclen, 264);
  EXPECT_EQ(attr.ia_mode, 0100640U);
  EXPECT_EQ(attr.ia_uid, 1234U);
  EXPECT_EQ(attr.ia_gid, 5678U);
  EXPECT_EQ(attr.ia_inode, st.st_ino);
  EXPECT_EQ(attr.ia_size, 12345);
  EXPECT_EQ(attr.ia_atime.seconds, st.st_atim.tv_sec);
  EXPECT_EQ(attr.ia_atime.nanoseconds, st.st_atim.tv_nsec);
  EXPECT_EQ(attr.ia_mtime.seconds, st.st_mtim.tv_sec);
  EXPECT_EQ(attr.ia_mtime.nanoseconds, st.st_mtim.tv_nsec);
  EXPECT_EQ(attr.ia_ctime.seconds, st.st_ctim.tv_sec);
  EXPECT_EQ(attr.ia_ctime.nanoseconds, st.st_ctim.tv_nsec);
  EXPECT_EQ(attr.ia_flags, 0U);
}

TEST_F(AttributesTest, BlockSizeIsTheClusters) {
  EXPECT_EQ(attributes().ia_blocksize, 1048576);
}

TEST_F(AttributesTest, ReplicationIsTheCountThatWasSet) {
  EXPECT_EQ(attributes().ia_replication, 3);
  ASSERT_EQ(setReplicas(255), 0);
  EXPECT_EQ(attributes().ia_replication, 255);
}

// Among other attributes, and among so many that their names do not fit where they are listed.
TEST_F(AttributesTest, ReplicationIsFoundAmongOtherAttributes) {
  ASSERT_EQ(setReplicas(7), 0);
  for (int i = 0; i < 30; ++i) {
    const std::string name = "user." + std::string(50, 'n') + std::to_string(i);
    ASSERT_EQ(fsetxattr(fd, name.c_str(), "", 0, 0), 0);
    ASSERT_EQ(attributes().ia_replication, 7) << i;
  }
  EXPECT_GT(flistxattr(fd, nullptr, 0), 1024);
}

TEST_F(AttributesTest, OtherAttributesAreNoneOfTheClients) {
  for (const char* name : {"user.zolt.replication.not", "user.lease.holder", "user.a"})
    ASSERT_EQ(fsetxattr(fd, name, "\7\7", 2, 0), 0);
  EXPECT_EQ(attributes().ia_replication, 3);
  EXPECT_EQ(attributes().ia_flags, 0U);
}

TEST_F(AttributesTest, ADirectoryIsThereOnce) {
  unsigned mask = 0;
  zolt_iattr64 attr{};
  ASSERT_EQ(zolt_stat_x(dir.path().c_str(), &mask, &attr, 264), 0);
  EXPECT_EQ(attr.ia_replication, 1);
}

TEST_F(AttributesTest, AnAclOfEitherKindSetsTheFlag) {
  // Version 2, then tag, permissions and id of each entry: user::rw-, user:1234:r--, group::r--,
  // mask::r--, other::r-- (the form of the kernel, acl(5)).
  const uint16_t entries[][4] = {{1, 6, 0xFFFF, 0xFFFF},
                                 {2, 4, 1234, 0},
                                 {4, 4, 0xFFFF, 0xFFFF},
                                 {16, 4, 0xFFFF, 0xFFFF},
                                 {32, 4, 0xFFFF, 0xFFFF}};
  std::string acl("\2\0\0\0", 4);
  acl.append(reinterpret_cast<const char*>(entries), sizeof entries);
  ASSERT_EQ(fsetxattr(fd, "system.posix_acl_access", acl.data(), acl.size(), 0), 0);
  EXPECT_EQ(attributes().ia_flags, 1U);
  unsigned mask = 0;
  zolt_iattr64 attr{};
  const std::string& directory = dir.path();
  ASSERT_EQ(setxattr(directory.c_str(), "system.posix_acl_default", acl.data(), acl.size(), 0), 0);
  ASSERT_EQ(zolt_stat_x(directory.c_str(), &mask, &attr, 264), 0);
  EXPECT_EQ(attr.ia_flags, 1U);
}

TEST_F(AttributesTest, LinksAreFollowed) {
  ASSERT_EQ(symlink("file", (dir / "link").c_str()), 0);
  unsigned mask = 0;
  zolt_iattr64 attr{};
  ASSERT_EQ(zolt_stat_x((dir / "link").c_str(), &mask, &attr, 264), 0);
  EXPECT_EQ(attr.ia_inode, attributes().ia_inode);
}

TEST_F(AttributesTest, FailuresWriteNothing) {
  unsigned mask = 0;
  zolt_iattr64 attr{};
  attr.ia_size = 77;
  EXPECT_EQ(zolt_stat_x((dir / "none").c_str(), &mask, &attr, 264), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(zolt_fstat_x(-1, &mask, &attr, 264), -1);
  EXPECT_EQ(errno, EBADF);
  const auto invalid = [](int result) {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errno, EINVAL);
  };
  invalid(zolt_stat_x(nullptr, &mask, &attr, 264));
  invalid(zolt_stat_x(path.c_str(), nullptr, &attr, 264));
  invalid(zolt_stat_x(path.c_str(), &mask, nullptr, 264));
  invalid(zolt_stat_x(path.c_str(), &mask, &attr, 263));
  invalid(zolt_fstat_x(fd, nullptr, &attr, 264));
  invalid(zolt_fstat_x(fd, &mask, nullptr, 264));
  invalid(zolt_fstat_x(fd, &mask, &attr, 263));
  EXPECT_EQ(attr.ia_size, 77);
}

}  // namespace
}  // namespace zolt_local
