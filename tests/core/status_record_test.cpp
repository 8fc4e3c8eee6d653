#include "status/status_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zolt {
namespace {

// The layout once more, as numbers: the tests do not take the struct's word for it.
constexpr int TABLE[] = {0,  8,  8,  8,  16, 4,  20, 4,  24, 4,  28, 4,  32,
                         16, 48, 16, 64, 16, 80, 2,  82, 2,  84, 2,  88, 0};

// Bytes 1, 2, 3 ... from `first` on, so that every byte of a record can be told from every other.
template <class Field>
void number(Field& field, unsigned char first) {
  unsigned char bytes[sizeof(Field)];
  for (unsigned char& byte : bytes)
    byte = first++;
  std::memcpy(&field, bytes, sizeof field);
}

StatusRecord numbered() {
  StatusRecord record{};
  number(record, 1);
  return record;
}

std::string stored(void (*store)(const StatusRecord&, char*)) {
  std::string buffer(100, '\xee');
  store(numbered(), buffer.data());
  return buffer;
}

TEST(StatusRecord, TheTableDescribesTheRecord) {
  ASSERT_EQ(std::size(TABLE), statusOffsetMemberSize.size());
  for (size_t i = 0; i < std::size(TABLE); ++i)
    EXPECT_EQ(TABLE[i], statusOffsetMemberSize[i]) << i;
}

TEST(StatusRecord, TheFullFormWritesAllButTheLastTwoBytes) {
  const std::string buffer = stored(storeStatus);
  for (size_t i = 0; i < buffer.size(); ++i)
    EXPECT_EQ(i < 86 ? static_cast<char>(i + 1) : '\xee', buffer[i]) << i;
}

TEST(StatusRecord, TheFastFormKeepsBlockSizeReplicationAndLease) {
  const std::string buffer = stored(storeFastStatus);
  for (size_t i = 0; i < buffer.size(); ++i) {
    const bool kept = (i >= 28 && i < 32) || i >= 82;
    EXPECT_EQ(kept ? '\xee' : static_cast<char>(i + 1), buffer[i]) << i;
  }
}

TEST(StatusRecord, MembersAreTheAttributesWidthForWidth) {
  zolt_iattr64 attr{};
  attr.ia_inode = 0xf1f2f3f4f5f6f7f8;
  attr.ia_size = 0x0102030405060708;
  attr.ia_uid = 0x1122334455667788;  // the low half counts
  attr.ia_gid = 0x99aabbccddeeff00;
  attr.ia_mode = 0100644;
  attr.ia_replication = 3;
  attr.ia_flags = 1;
  // The word after the nanoseconds comes along.
  attr.ia_atime = {0x2122232425262728, 0x31323334, 0x41424344};
  attr.ia_mtime = {-2, 0x51525354, 0x61626364};
  attr.ia_ctime = {0x7172737475767778, 0x81828384, 0x91929394};
  char buffer[88];
  std::memset(buffer, 0xee, sizeof buffer);
  storeStatus(commonStatus(attr), buffer);

  const auto at = [&buffer]<class Field>(size_t offset, Field) {
    Field field{};
    std::memcpy(&field, buffer + offset, sizeof field);
    return field;
  };
  EXPECT_EQ(0xf1f2f3f4f5f6f7f8, at(0, uint64_t{}));
  EXPECT_EQ(0x0102030405060708, at(8, int64_t{}));
  EXPECT_EQ(0x55667788U, at(16, uint32_t{}));
  EXPECT_EQ(0xddeeff00U, at(20, uint32_t{}));
  EXPECT_EQ(0100644U, at(24, uint32_t{}));
  EXPECT_EQ(0U, at(28, uint32_t{}));
  EXPECT_EQ(0x2122232425262728, at(32, int64_t{}));
  EXPECT_EQ(0x4142434431323334, at(40, int64_t{}));
  EXPECT_EQ(-2, at(48, int64_t{}));
  EXPECT_EQ(0x6162636451525354, at(56, int64_t{}));
  EXPECT_EQ(0x7172737475767778, at(64, int64_t{}));
  EXPECT_EQ(0x9192939481828384, at(72, uint64_t{}));
  EXPECT_EQ(0x1000, at(80, uint16_t{}));
  EXPECT_EQ(0, at(82, uint16_t{}));
  EXPECT_EQ(0, at(84, uint16_t{}));
  EXPECT_EQ(0xeeee, at(86, uint16_t{}));
}

}  // namespace
}  // namespace zolt
