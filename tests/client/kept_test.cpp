// What the client keeps on a file, and who may change it.
#include "kept.h"

#include <sys/fsuid.h>

#include "faults.h"
#include "stage.h"

namespace zolt_local {
namespace {

using namespace test;

struct KeptTest : ClientTest {
  ~KeptTest() override { zolt_fault_clear(); }

  int writeBgf(const std::string& value) {
    auto request = bgfRequest(6002, static_cast<uint32_t>(value.size()), value);
    request.record.status = 77;
    const int result = zolt_fcntl(fd, &request);
    EXPECT_EQ(request.record.status, result == 0 ? 0 : 77);
    return result;
  }
  // The value in full, or "unset".
  std::string readBgf() {
    auto request = bgfRequest(6001, 24);
    EXPECT_EQ(zolt_fcntl(fd, &request), 0);
    if (request.record.status != 0) return "unset";
    return {reinterpret_cast<const char*>(request.record.value), sizeof request.record.value};
  }
  static std::string padded(std::string value) {
    value.resize(24);
    return value;
  }
  std::string attribute(const char* name) {
    char value[64];
    const ssize_t length = fgetxattr(fd, name, value, sizeof value);
    return length < 0 ? "unset" : std::string(value, static_cast<size_t>(length));
  }
};

TEST_F(KeptTest, AFileHasNoFactorAndTheDefaultReplicas) {
  EXPECT_EQ(readBgf(), "unset");
  EXPECT_EQ(replicas(), 3U);
  EXPECT_FALSE(hasSettings());
}

TEST_F(KeptTest, WhatIsWrittenIsReadThroughAnyDescriptor) {
  ASSERT_EQ(writeBgf(std::string("\0\0\1\4", 4)), 0);
  ASSERT_EQ(setReplicas(2), 0);
  close(fd);
  fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(readBgf(), padded(std::string("\0\0\1\4", 4)));
  EXPECT_EQ(replicas(), 2U);
}

TEST_F(KeptTest, ItLiesInTheTrustedNamespace) {
  ASSERT_EQ(writeBgf(std::string("\0\0\0\4", 4)), 0);
  ASSERT_EQ(setReplicas(2), 0);
  EXPECT_EQ(attribute("trusted.zolt.BGF"), std::string("\0\0\0\4", 4));
  EXPECT_EQ(attribute("trusted.zolt.replication"), "\2\3");
  ASSERT_EQ(restripe(), 0);
  EXPECT_EQ(attribute("trusted.zolt.replication"), "\2\2");
  EXPECT_EQ(attribute("user.zolt.BGF"), "unset");
}

TEST_F(KeptTest, WithoutTheCapabilityItLiesInTheUserNamespace) {
  zolt_fault_arm("fsetxattr", 1, 1, EPERM);
  ASSERT_EQ(writeBgf("user"), 0);
  zolt_fault_clear();
  EXPECT_EQ(attribute("user.zolt.BGF"), "user");
  EXPECT_EQ(attribute("trusted.zolt.BGF"), "unset");
  EXPECT_EQ(readBgf(), padded("user"));
  ASSERT_EQ(writeBgf("trst"), 0);
  EXPECT_EQ(readBgf(), padded("trst"));
  EXPECT_EQ(attribute("user.zolt.BGF"), "user");
}

TEST_F(KeptTest, OtherErrorsOfAWriteAreReported) {
  for (const int error : {EROFS, ENOSPC, EOPNOTSUPP, EIO, EDQUOT}) {
    zolt_fault_arm("fsetxattr", 1, 1, error);
    EXPECT_EQ(writeBgf("abcd"), -1);
    EXPECT_EQ(errno, error);
    zolt_fault_arm("fsetxattr", 1, 1, error);
    EXPECT_EQ(setReplicas(2), -1);
    EXPECT_EQ(errno, error);
    zolt_fault_arm("fsetxattr", 1, 1, error);
    EXPECT_EQ(restripe(), -1);
    EXPECT_EQ(errno, error);
  }
  zolt_fault_arm("fsetxattr", 1, 2, EPERM);
  EXPECT_EQ(writeBgf("abcd"), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_FALSE(hasSettings());
}

TEST_F(KeptTest, AFileSystemWithoutAttributesKeepsNothing) {
  ASSERT_EQ(writeBgf("abcd"), 0);
  ASSERT_EQ(setReplicas(2), 0);
  zolt_fault_arm("fgetxattr", 1, 100, EOPNOTSUPP);
  EXPECT_EQ(readBgf(), "unset");
  EXPECT_EQ(replicas(), 3U);
}

TEST_F(KeptTest, AReadErrorOfTheFactorIsReported) {
  ASSERT_EQ(writeBgf("abcd"), 0);
  for (const int error : {EIO, ERANGE}) {
    zolt_fault_arm("fgetxattr", 1, 1, error);
    auto request = bgfRequest(6001, 24);
    EXPECT_EQ(zolt_fcntl(fd, &request), -1);
    EXPECT_EQ(errno, error);
  }
}

TEST_F(KeptTest, AReadErrorOfTheReplicaCountIsReported) {
  resize(MIB);
  ASSERT_EQ(setReplicas(2), 0);
  const std::string before = attribute("trusted.zolt.replication");
  const auto fails = [](int result) {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errno, EIO);
  };
  zolt_fault_arm("fgetxattr", 1, 1, EIO);
  fails(setReplicas(5));
  zolt_fault_arm("fgetxattr", 1, 1, EIO);
  fails(restripe());
  zolt_fault_arm("fgetxattr", 1, 1, EIO);
  auto read = requestOf<zolt_replication_record>(3001);
  fails(zolt_fcntl(fd, &read));
  zolt_fault_arm("fgetxattr", 1, 1, EIO);
  fails(zolt_fcntl(fd, locationRequest(0, 0, 1).get()));
  EXPECT_EQ(attribute("trusted.zolt.replication"), before);
}

TEST_F(KeptTest, AFileWhoseReplicaCountCannotBeReadHasItsAttributes) {
  zolt_fault_arm("fgetxattr", 1, 1, EIO);
  unsigned int mask = 0;
  zolt_iattr64 attr{};
  EXPECT_EQ(zolt_fstat_x(fd, &mask, &attr, sizeof attr), 0);
  EXPECT_EQ(attr.ia_replication, 3);
}

TEST_F(KeptTest, ValuesOfTheWrongFormAreAsIfUnset) {
  const std::vector<std::string> wrong = {"", "\2", "\2\2\2", std::string("\0\2", 2),
                                          std::string("\2\0", 2)};
  for (const std::string& value : wrong) {
    ASSERT_EQ(fsetxattr(fd, "trusted.zolt.replication", value.data(), value.size(), 0), 0);
    EXPECT_EQ(replicas(), 3U);
  }
  ASSERT_EQ(fsetxattr(fd, "trusted.zolt.BGF", "", 0, 0), 0);
  EXPECT_EQ(readBgf(), "unset");
  const std::string large(25, 'x');
  ASSERT_EQ(fsetxattr(fd, "trusted.zolt.BGF", large.data(), large.size(), 0), 0);
  auto request = bgfRequest(6001, 24);
  EXPECT_EQ(zolt_fcntl(fd, &request), -1);
  EXPECT_EQ(errno, ERANGE);
}

TEST_F(KeptTest, AFullValueFits) {
  const std::string full = "123456789012345678901234";
  ASSERT_EQ(writeBgf(full), 0);
  EXPECT_EQ(readBgf(), full);
}

// The thread's file-system identity is that of a caller, the process is still root.
struct Caller {
  explicit Caller(unsigned uid) { setfsuid(uid); }
  ~Caller() { setfsuid(geteuid()); }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
};

TEST_F(KeptTest, OnlyWhoMayWriteTheFileMayChangeIt) {
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  {
    const Caller caller(65534);
    EXPECT_EQ(writeBgf("abcd"), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(setReplicas(2), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(restripe(), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(replicas(), 3U);
    EXPECT_EQ(readBgf(), "unset");
  }
  EXPECT_FALSE(hasSettings());
}

TEST_F(KeptTest, ACallerWhoMayWriteTheFileNeedsNoMore) {
  ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  {
    const Caller caller(65534);
    EXPECT_EQ(writeBgf("abcd"), 0);
    EXPECT_EQ(setReplicas(2), 0);
  }
  EXPECT_EQ(attribute("trusted.zolt.BGF"), "abcd");
  EXPECT_EQ(replicas(), 2U);
}

}  // namespace
}  // namespace zolt_local
