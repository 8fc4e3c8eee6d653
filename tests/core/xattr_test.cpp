#include "xattr/xattr.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "faults.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

using Lines = std::vector<std::string>;

struct XattrTest : ::testing::Test {
  XattrTest() { EXPECT_EQ(symlink(file.c_str(), link.c_str()), 0); }
  ~XattrTest() override { zolt_fault_clear(); }

  void put(const std::string& name, const std::string& value) const {
    ASSERT_EQ(setxattr(file.c_str(), name.c_str(), value.data(), value.size(), 0), 0) << errno;
  }

  // The value by the wrapper's own buffer, or "error N".
  static std::string get(const std::string& path, const char* name, bool follow = true) {
    XattrValue value;
    const Errno error = readXattr(path.c_str(), follow, name, value);
    if (error) return "error " + std::to_string(error.value());
    return std::string(value.bytes.get(), value.bytes.get() + value.length);
  }

  void expectNoList(int error, const LogCapture& log) const {
    char memory = 'x';
    char* list = &memory;
    EXPECT_EQ(zolt_listxattrs(file.c_str(), true, &list), error);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(log.bodies(LOG_ERROR), Lines{"listxattr: failed to get the EA names for " + file});
  }

  TempDir dir;
  const std::string file = dir.file("file");
  const std::string link = dir / "link";
};

TEST_F(XattrTest, TheNamesOfALease) {
  EXPECT_STREQ(USER_LEASE_HOLDER, "user.lease.holder");
  EXPECT_STREQ(USER_LEASE_UPDATE, "user.lease.update");
  EXPECT_STREQ(USER_LEASE, "user.lease.*");
  EXPECT_TRUE(isLeaseName("user.lease.holder"));
  EXPECT_TRUE(isLeaseName("user.lease.update"));
  for (const char* name : {"", "user.lease.*", "user.lease", "user.lease.holder2",
                           "user.lease.holde", "User.lease.holder", "lease.update"}) {
    EXPECT_FALSE(isLeaseName(name)) << name;
  }
}

TEST_F(XattrTest, AValueOfAnyLengthAndBytesIsRead) {
  for (const size_t size : {1U, 2U, 17U, 1000U, 3000U}) {
    std::string value(size, 'v');
    value[size / 2] = '\0';
    value[0] = '\xff';
    put("user.a", value);
    char* bytes = nullptr;
    ASSERT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 0), static_cast<int>(size));
    const std::unique_ptr<char[]> owner(bytes);
    EXPECT_EQ(std::string(bytes, size), value);
  }
}

TEST_F(XattrTest, AnEmptyValueIsNullAndOneCall) {
  put("user.a", "");
  zolt_fault_arm("getxattr", 0, 0, 0);
  char* bytes = nullptr;
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 0), 0);
  EXPECT_EQ(bytes, nullptr);
  // With no room a second call would only ask for the length again.
  EXPECT_EQ(zolt_fault_calls("getxattr"), 1);
}

TEST_F(XattrTest, AValueThatAppearsAfterItsLengthWasTakenIsEmptyStill) {
  put("user.a", "value");
  zolt_fault_xattr_lengths(0, -1);
  char* bytes = nullptr;
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 0), 0);
  EXPECT_EQ(bytes, nullptr);
}

TEST_F(XattrTest, AValueThatShrinksIsAsLongAsItWasRead) {
  put("user.a", "value");
  const LogCapture log;
  zolt_fault_xattr_lengths(40, -1);
  for (const bool follow : {true, false})
    EXPECT_EQ(get(file, "user.a", follow), "value");
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

TEST_F(XattrTest, AValueForWhichThereIsNoMemoryIsLogged) {
  put("user.a", "value");
  for (const long length : {LONG_MAX, 1L << 60}) {
    const LogCapture log;
    zolt_fault_arm("getxattr", 0, 0, 0);
    zolt_fault_xattr_lengths(length, -1);
    char* bytes = nullptr;
    EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 0), -ENOMEM);
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(zolt_fault_calls("getxattr"), 1);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.has(LOG_ERROR, "getxattr: failed to get value of attribute user.a"));
  }
}

TEST_F(XattrTest, SizeAndBufferGoTogether) {
  put("user.a", "value");
  const LogCapture log;
  zolt_fault_arm("getxattr", 0, 0, 0);
  zolt_fault_arm("lgetxattr", 0, 0, 0);
  char memory[8] = "before.";
  for (const bool follow : {false, true}) {
    char* bytes = nullptr;
    EXPECT_EQ(zolt_getxattr(file.c_str(), follow, "user.a", bytes, 8), -EINVAL);
    EXPECT_EQ(bytes, nullptr);
    bytes = memory;
    EXPECT_EQ(zolt_getxattr(file.c_str(), follow, "user.a", bytes, 0), -EINVAL);
    EXPECT_EQ(bytes, memory);
  }
  EXPECT_STREQ(memory, "before.");
  EXPECT_EQ(zolt_fault_calls("getxattr") + zolt_fault_calls("lgetxattr"), 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(XattrTest, ACallersBufferIsFilledAsFarAsTheValueGoes) {
  put("user.a", "value");
  char memory[8] = "0123456";
  char* bytes = memory;
  zolt_fault_arm("getxattr", 0, 0, 0);
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 5), 5);
  EXPECT_EQ(bytes, memory);
  EXPECT_STREQ(memory, "value56");
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 7), 5);
  EXPECT_STREQ(memory, "value56");
  EXPECT_EQ(zolt_fault_calls("getxattr"), 2);
}

TEST_F(XattrTest, ACallersBufferThatIsTooSmallIsARangeError) {
  put("user.a", "value");
  const LogCapture log;
  char memory[8] = "0123456";
  char* bytes = memory;
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 4), -ERANGE);
  EXPECT_EQ(bytes, memory);
  EXPECT_EQ(log.bodies(LOG_ERROR), Lines{"getxattr: failed to get value of attribute user.a"});
}

TEST_F(XattrTest, AFailedProbeIsSilent) {
  const LogCapture log;
  EXPECT_EQ(get(file, "user.none"), "error 61");
  EXPECT_EQ(get(dir / "none", "user.a"), "error 2");
  for (const int error : {EIO, EACCES, ENOTSUP}) {
    zolt_fault_arm("getxattr", 1, 1, error);
    EXPECT_EQ(get(file, "user.a"), "error " + std::to_string(error));
    EXPECT_EQ(zolt_fault_calls("getxattr"), 1);
  }
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

TEST_F(XattrTest, AFailedReadIsLoggedAndLeavesTheCallersPointer) {
  put("user.a", "value");
  // ERANGE is what a value answers that has grown since its length was asked for.
  for (const int error : {ERANGE, ENODATA, EIO}) {
    const LogCapture log;
    zolt_fault_arm("getxattr", 2, 2, error);
    char* bytes = nullptr;
    EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 0), -error);
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(zolt_fault_calls("getxattr"), 2);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.has(LOG_ERROR, "getxattr: failed to get value of attribute user.a"));
  }
}

TEST_F(XattrTest, AReadIntoACallersBufferLogsAnAbsentAttributeToo) {
  const LogCapture log;
  char memory[8];
  char* bytes = memory;
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.none", bytes, sizeof memory), -ENODATA);
  EXPECT_EQ(log.bodies(LOG_ERROR), Lines{"getxattr: failed to get value of attribute user.none"});
}

TEST_F(XattrTest, FollowChoosesBetweenTheLinkAndItsTarget) {
  put("user.a", "value");
  EXPECT_EQ(get(link, "user.a", true), "value");
  EXPECT_EQ(get(link, "user.a", false), "error 61");
  EXPECT_EQ(zolt_setxattr(link.c_str(), true, "user.b", "b", 1, 0), 0);
  EXPECT_EQ(zolt_setxattr(link.c_str(), false, "user.b", "c", 1, 0), -EPERM);
  EXPECT_EQ(get(file, "user.b"), "b");

  char* list = nullptr;
  EXPECT_EQ(zolt_listxattrs(link.c_str(), true, &list), 14);
  delete[] list;
  EXPECT_EQ(zolt_listxattrs(link.c_str(), false, &list), 0);
  EXPECT_EQ(zolt_removexattr(link.c_str(), false, "user.b"), -EPERM);
  EXPECT_EQ(zolt_removexattr(link.c_str(), true, "user.b"), 0);
  EXPECT_EQ(get(file, "user.b"), "error 61");
}

TEST_F(XattrTest, EachFormMakesItsOwnCall) {
  struct Form {
    const char* followed;
    const char* own;
    std::function<int(bool)> call;
  };
  const Form forms[] = {
      {"getxattr", "lgetxattr",
       [&](bool follow) {
         XattrValue value;
         return -readXattr(file.c_str(), follow, "user.a", value).value();
       }},
      {"setxattr", "lsetxattr",
       [&](bool follow) { return zolt_setxattr(file.c_str(), follow, "user.a", "", 0, 0); }},
      {"listxattr", "llistxattr",
       [&](bool follow) {
         char* list = nullptr;
         const int length = zolt_listxattrs(file.c_str(), follow, &list);
         delete[] list;
         return length;
       }},
      {"removexattr", "lremovexattr",
       [&](bool follow) { return zolt_removexattr(file.c_str(), follow, "user.a"); }},
  };
  for (const Form& form : forms) {
    for (const bool follow : {false, true}) {
      put("user.a", "");
      zolt_fault_arm(form.followed, 0, 0, 0);
      zolt_fault_arm(form.own, 0, 0, 0);
      EXPECT_GE(form.call(follow), 0);
      EXPECT_EQ(zolt_fault_calls(form.followed) > 0, follow) << form.followed;
      EXPECT_EQ(zolt_fault_calls(form.own) > 0, !follow) << form.own;
    }
  }
}

TEST_F(XattrTest, SetTakesAnyBytesAndNone) {
  const std::string bytes("a\0\xff", 3);
  EXPECT_EQ(zolt_setxattr(file.c_str(), true, "user.a", bytes.data(), bytes.size(), 0), 0);
  EXPECT_EQ(get(file, "user.a"), bytes);
  EXPECT_EQ(zolt_setxattr(file.c_str(), true, "user.a", nullptr, 0, 0), 0);
  EXPECT_EQ(get(file, "user.a"), "");
}

TEST_F(XattrTest, SetFlagsAreTheSystems) {
  const auto set = [&](const char* value, int flags) {
    return zolt_setxattr(file.c_str(), true, "user.a", value, 1, flags);
  };
  EXPECT_EQ(set("r", 2), -ENODATA);
  EXPECT_EQ(set("c", 1), 0);
  EXPECT_EQ(set("d", 1), -EEXIST);
  EXPECT_EQ(get(file, "user.a"), "c");
  EXPECT_EQ(set("r", 2), 0);
  EXPECT_EQ(set("x", 0), 0);
  EXPECT_EQ(get(file, "user.a"), "x");
  EXPECT_EQ(set("y", -1), -EINVAL);
}

TEST_F(XattrTest, AFailedSetIsLoggedWithItsBytes) {
  const LogCapture log;
  zolt_fault_arm("setxattr", 1, 1, ENOSPC);
  const std::string bytes("a\0\xff!", 4);
  EXPECT_EQ(zolt_setxattr(file.c_str(), true, "user.a", bytes.data(), 3, 0), -ENOSPC);
  EXPECT_EQ(log.bodies(LOG_ERROR), Lines{"setxattr: failed to set value of attribute path " + file +
                                         " user.a to " + bytes.substr(0, 3)});
  EXPECT_EQ(get(file, "user.a"), "error 61");
}

TEST_F(XattrTest, TheNamesAreListedByTheirLength) {
  put("user.a", "1");
  put("user.bb", "");
  char* list = nullptr;
  const int length = zolt_listxattrs(file.c_str(), true, &list);
  ASSERT_EQ(length, 7 + 8);
  const std::unique_ptr<char[]> owner(list);
  std::set<std::string> names;
  for (const char* name = list; name < list + length; name += strlen(name) + 1)
    names.insert(name);
  EXPECT_EQ(names, (std::set<std::string>{"user.a", "user.bb"}));
}

TEST_F(XattrTest, NoNamesAreNoList) {
  char memory = 'x';
  char* list = &memory;
  zolt_fault_arm("listxattr", 0, 0, 0);
  EXPECT_EQ(zolt_listxattrs(file.c_str(), true, &list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
}

TEST_F(XattrTest, AListWithoutItsLastNulEndsAllTheSame) {
  // A length that fills a heap block exactly, so that what follows it is not zero by chance.
  const std::string names("user.a\0user.bbbbbbbbbbbb", 24);
  zolt_fault_xattr_names(names.data(), 24);
  char* list = nullptr;
  ASSERT_EQ(zolt_listxattrs(file.c_str(), true, &list), 24);
  const std::unique_ptr<char[]> owner(list);
  EXPECT_STREQ(list + 7, "user.bbbbbbbbbbbb");
}

// What cannot be probed is asked for as a length all the same, and nobody has that much memory.
TEST_F(XattrTest, AFailedListProbeIsAFailedAllocation) {
  for (const int error : {ENOENT, EACCES, E2BIG}) {
    const LogCapture log;
    zolt_fault_arm("listxattr", 1, 1, error);
    expectNoList(-ENOMEM, log);
    EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
  }
}

TEST_F(XattrTest, AFailedListIsLogged) {
  put("user.a", "1");
  for (const int error : {ERANGE, EIO}) {
    const LogCapture log;
    zolt_fault_arm("listxattr", 2, 2, error);
    expectNoList(-error, log);
  }
}

TEST_F(XattrTest, AListThatShrinksIsAsLongAsItWasRead) {
  put("user.a", "1");
  const LogCapture log;
  zolt_fault_xattr_lengths(-1, 40);
  for (const bool follow : {true, false}) {
    char* list = nullptr;
    EXPECT_EQ(zolt_listxattrs(file.c_str(), follow, &list), 7);
    const std::unique_ptr<char[]> owner(list);
    EXPECT_STREQ(list, "user.a");
  }
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

TEST_F(XattrTest, AListForWhichThereIsNoMemoryIsLogged) {
  for (const long length : {LONG_MAX, 1L << 60}) {
    const LogCapture log;
    zolt_fault_arm("listxattr", 0, 0, 0);
    zolt_fault_xattr_lengths(-1, length);
    expectNoList(-ENOMEM, log);
    EXPECT_EQ(zolt_fault_calls("listxattr"), 1);
  }
}

TEST_F(XattrTest, RemovingWhatIsNotThereIsAFailure) {
  put("user.a", "1");
  EXPECT_EQ(zolt_removexattr(file.c_str(), true, "user.a"), 0);
  const LogCapture log;
  EXPECT_EQ(zolt_removexattr(file.c_str(), true, "user.a"), -ENODATA);
  zolt_fault_arm("removexattr", 1, 1, EROFS);
  EXPECT_EQ(zolt_removexattr(file.c_str(), true, "user.a"), -EROFS);
  const std::string line = "removexattr: failed to remove attribute user.a";
  EXPECT_EQ(log.bodies(LOG_ERROR), (Lines{line, line}));
}

TEST_F(XattrTest, NothingIsLoggedBelowTheThreshold) {
  const LogCapture log(LOG_OFF);
  char* none = nullptr;
  char memory[4];
  char* bytes = memory;
  EXPECT_EQ(zolt_getxattr(file.c_str(), true, "user.a", bytes, 4), -ENODATA);
  EXPECT_EQ(zolt_setxattr(file.c_str(), true, "user.a", "", 0, 2), -ENODATA);
  EXPECT_EQ(zolt_removexattr(file.c_str(), true, "user.a"), -ENODATA);
  EXPECT_EQ(zolt_listxattrs((dir / "none").c_str(), true, &none), -ENOMEM);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace zolt
