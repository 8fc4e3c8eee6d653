#include "identity/names.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

#include "base/io_exception.h"
#include "faults.h"
#include "log_capture.h"

namespace zolt {
namespace {

using test::LogCapture;

constexpr const char* USER_ADVICE =
    ", create the user on all kolvane nodes with the same uid and try it again!";
constexpr const char* GROUP_ADVICE =
    ", create the group on all kolvane nodes with the same gid and try it again!";

// One conversion of the four, by what differs between them.
struct Conversion {
  const char* lookup;
  const char* function;                                // of the library
  std::function<std::string(const std::string&)> run;  // what the output then holds
  std::string known, knownOutput;                      // a key that every Debian has
  std::string own, ownOutput;                          // the key of a big entry of ours
  std::string absent;
  std::string unknownText, failedText, bufferName;
  std::string untouched;  // what the output held before
};

std::string text(uint32_t uid, uint32_t gid) {
  return std::to_string(uid) + " " + std::to_string(gid);
}

uint32_t number(const std::string& key) {
  return static_cast<uint32_t>(std::stoul(key));
}

std::vector<Conversion> conversions() {
  return {
      {"getpwuid_r", "uid_to_usrname",
       [](const std::string& key) {
         std::string name = "before";
         uid_to_usrname(number(key), name).orThrow();
         return name;
       },
       "0", "root", "4000000001", "big-user", "4123456789",
       std::string("Unknown uid \"4123456789\"") + USER_ADVICE,
       std::string("getpwuid_r() failed with uid \"4123456789\"") + USER_ADVICE, "pwdbufsize",
       "before"},
      {"getgrgid_r", "gid_to_grpname",
       [](const std::string& key) {
         std::string name = "before";
         gid_to_grpname(number(key), name).orThrow();
         return name;
       },
       "0", "root", "4000000002", "big-group", "4123456789",
       std::string("Unknown gid \"4123456789\"") + GROUP_ADVICE,
       std::string("getgrgid_r() failed with gid \"4123456789\"") + GROUP_ADVICE, "grpbufsize",
       "before"},
      {"getpwnam_r", "username_to_uidgid",
       [](const std::string& key) {
         uint32_t uid = 7;
         uint32_t gid = 8;
         username_to_uidgid(key, uid, gid).orThrow();
         return text(uid, gid);
       },
       "nobody", "65534 65534", "big-user", "4000000001 4000000002", "no such user",
       std::string("Unknown user \"no such user\"") + USER_ADVICE,
       std::string("getpwnam_r() failed: Unknown user \"no such user\"") + USER_ADVICE,
       "pwdbufsize", "7 8"},
      {"getgrnam_r", "grpname_to_gid",
       [](const std::string& key) {
         uint32_t gid = 8;
         grpname_to_gid(key, gid).orThrow();
         return std::to_string(gid);
       },
       "nogroup", "65534", "big-group", "4000000002", "no such group",
       std::string("Unknown group \"no such group\"") + GROUP_ADVICE,
       std::string("getgrnam_r() failed: Unknown group \"no such group\"") + GROUP_ADVICE,
       "grpbufsize", "8"},
  };
}

class NamesTest : public testing::Test {
 protected:
  void SetUp() override { zolt_fault_clear(); }
  void TearDown() override { zolt_fault_clear(); }

  static void addBigEntries(unsigned long bytes) {
    zolt_fault_user("big-user", 4000000001, 4000000002, bytes);
    zolt_fault_group("big-group", 4000000002, bytes);
  }

  // The conversion must throw this, after one warning with the same text.
  static void expectFailure(const Conversion& conversion, const std::string& key,
                            const std::string& message, int code) {
    const LogCapture log;
    try {
      conversion.run(key);
      ADD_FAILURE() << conversion.function << " returned";
    } catch (const IOException& error) {
      EXPECT_EQ(message, error.what());
      EXPECT_EQ(code, error.code());
    }
    ASSERT_EQ(1U, log.lines().size()) << log.all();
    EXPECT_EQ(std::vector{message}, log.bodies(LOG_WARN));
    EXPECT_EQ(0U, log.lines()[0].text.find(std::string("@") + conversion.function + ":"));
  }
};

TEST_F(NamesTest, FindsWhatTheDatabaseHas) {
  for (const Conversion& conversion : conversions()) {
    const LogCapture log;
    EXPECT_EQ(conversion.knownOutput, conversion.run(conversion.known)) << conversion.function;
    EXPECT_TRUE(log.lines().empty()) << log.all();
  }
}

TEST_F(NamesTest, AnAbsentEntryIsInvalid) {
  for (const Conversion& conversion : conversions())
    expectFailure(conversion, conversion.absent, conversion.unknownText, EINVAL);
}

TEST_F(NamesTest, AnEmptyNameIsUnknownToo) {
  for (const Conversion& conversion : {conversions()[2], conversions()[3]}) {
    std::string message = conversion.unknownText;
    message.replace(message.find("no such"), conversion.absent.size(), "");
    expectFailure(conversion, "", message, EINVAL);
  }
}

TEST_F(NamesTest, TheErrorIsTheOneInErrnoAndNotTheOneReturned) {
  for (const int error : {EIO, EMFILE, ENOENT, EINTR}) {
    for (const Conversion& conversion : conversions()) {
      zolt_fault_arm(conversion.lookup, 1, 1, error);
      expectFailure(conversion, conversion.absent, conversion.failedText, error);
    }
  }
}

TEST_F(NamesTest, ASilentFailureLeavesTheOutputAlone) {
  for (const Conversion& conversion : conversions()) {
    const LogCapture log;
    zolt_fault_arm(conversion.lookup, 1, 1, -1);
    errno = EIO;  // left by something else, long before
    EXPECT_EQ(conversion.untouched, conversion.run(conversion.known)) << conversion.function;
    EXPECT_TRUE(log.lines().empty()) << log.all();
  }
}

TEST_F(NamesTest, BuffersDoubleUntilTheEntryFits) {
  zolt_fault_entry_size(100);
  addBigEntries(701);
  for (const Conversion& conversion : conversions()) {
    const LogCapture log;
    zolt_fault_arm(conversion.lookup, 0, 0, 0);  // only counts
    EXPECT_EQ(conversion.ownOutput, conversion.run(conversion.own)) << conversion.function;
    EXPECT_EQ(4, zolt_fault_calls(conversion.lookup));
    EXPECT_EQ(800U, zolt_fault_last_buffer());
    EXPECT_TRUE(log.lines().empty()) << "retries are silent: " << log.all();
  }
}

TEST_F(NamesTest, DoublingHasNoBound) {
  addBigEntries(40000000);
  for (const Conversion& conversion : conversions())
    EXPECT_EQ(conversion.ownOutput, conversion.run(conversion.own)) << conversion.function;
  EXPECT_LE(40000000U, zolt_fault_last_buffer());
}

TEST_F(NamesTest, WithoutASizeTheFirstBufferIs16384) {
  zolt_fault_entry_size(-1);
  for (const unsigned long bytes : {16384UL, 16385UL}) {
    zolt_fault_user(nullptr, 0, 0, 0);
    zolt_fault_group(nullptr, 0, 0);
    addBigEntries(bytes);
    for (const Conversion& conversion : conversions()) {
      zolt_fault_arm(conversion.lookup, 0, 0, 0);
      EXPECT_EQ(conversion.ownOutput, conversion.run(conversion.own)) << conversion.function;
      EXPECT_EQ(bytes == 16384 ? 1 : 2, zolt_fault_calls(conversion.lookup));
      EXPECT_EQ(bytes == 16384 ? 16384U : 32768U, zolt_fault_last_buffer());
    }
  }
}

TEST_F(NamesTest, MemoryThatCannotBeHadIsItsOwnError) {
  zolt_fault_entry_size(0x4000000000000000);
  for (const Conversion& conversion : conversions()) {
    expectFailure(conversion, conversion.known,
                  "new failed, " + conversion.bufferName + " = 4611686018427387904", ENOMEM);
  }
}

}  // namespace
}  // namespace zolt
