// What the tests of a file's status share: a file, a buffer for its record, and the two forms.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "base/settings.h"
#include "faults.h"
#include "identity/fs_account.h"
#include "status/file_status.h"
#include "temp_dir.h"
#include "thread_identity.h"

namespace zolt::test {

inline constexpr FileTime NEVER{-1, 0};  // every file is later
inline constexpr unsigned BLOCK_SIZE_AT = 136;
inline constexpr unsigned REPLICATION_AT = 116;

/// A buffer of 100 bytes, or what is said to be more or less.
class Memory {
 public:
  explicit Memory(unsigned long capacity = 100) : capacity_(capacity) {}

  operator StatusBuffer() { return {bytes_.data(), capacity_}; }
  bool untouched() const { return bytes_ == std::string(100, '\xee'); }

  template <class Field>
  Field at(size_t offset) const {
    Field field{};
    std::memcpy(&field, bytes_.data() + offset, sizeof field);
    return field;
  }
  uint32_t blockSize() const { return at<uint32_t>(28); }
  int replication() const { return at<uint16_t>(82); }
  int leaseLength() const { return at<uint16_t>(84); }

 private:
  unsigned long capacity_;
  std::string bytes_ = std::string(100, '\xee');
};

class FileStatusFixture : public testing::Test {
 protected:
  // What a call says of a file's status.
  struct StatusAnswer {
    bool written = true;
    Errno error;
  };

  static StatusAnswer getFileStatus(const char* path, bool followLink, bool withLease,
                                    const FileTime& ctime, const FileTime& mtime,
                                    const StatusBuffer& buffer) {
    StatusAnswer answer;
    answer.error =
        zolt::getFileStatus(path, followLink, withLease, ctime, mtime, buffer, answer.written);
    return answer;
  }

  static StatusAnswer getFileStatusFast(const char* path, bool followLink, const FileTime& ctime,
                                        const StatusBuffer& buffer) {
    StatusAnswer answer;
    answer.error = zolt::getFileStatusFast(path, followLink, ctime, buffer, answer.written);
    return answer;
  }

  void SetUp() override {
    zolt_fault_clear();
    zolt_fault_user("alice", 70001, 70002, 0);
    zolt_fault_user("root", 0, 0, 0);
  }
  void TearDown() override {
    zolt_fault_clear();
    alwaysSuper = false;
    defaultBlockSize = 0;
    FSAccount::daemonGid = getegid();
    EXPECT_EQ(0U, identity().fsuid);
    EXPECT_EQ(0U, identity().fsgid);
  }

  static void attribute(unsigned offset, unsigned size, long long value) {
    zolt_fault_attribute(offset, size, static_cast<unsigned long long>(value));
  }

  // The full form of a file that changed.
  StatusAnswer full(const std::string& path, bool followLink = true, bool withLease = true) {
    memory_ = Memory();
    return getFileStatus(path.c_str(), followLink, withLease, NEVER, NEVER, memory_);
  }

  StatusAnswer fast(const std::string& path) {
    memory_ = Memory();
    return getFileStatusFast(path.c_str(), true, NEVER, memory_);
  }

  void expectWritten(const StatusAnswer& answer) {
    EXPECT_TRUE(answer.written);
    EXPECT_EQ(0, answer.error);
  }

  // An error before there was anything to write.
  void expectError(int error, const StatusAnswer& answer) {
    EXPECT_FALSE(answer.written);
    EXPECT_EQ(error, answer.error);
    EXPECT_TRUE(memory_.untouched());
  }

  TempDir dir_;
  std::string file_ = dir_.file("file", "12345");
  Memory memory_;
};

}  // namespace zolt::test
