#include "acl/acl_stream.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <sstream>
#include <utility>
#include <vector>

#include "acl_helpers.h"
#include "base/io_exception.h"
#include "faults.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

struct Cut {
  size_t length;
  std::string outcome;
};

const std::string NO_SCOPE = "failed 0 <convert,790 unknown acl scope: 0> ";

struct AclStreamTest : ::testing::Test {
  AclStreamTest() {
    ACLUtil::init();
    zolt_fault_clear();
  }
  ~AclStreamTest() override { zolt_fault_clear(); }

  // What reading the stream gives: the dumps of the lists, or "failed", code and text.
  std::string read(const std::string& stream) {
    std::istringstream in(stream);
    std::string text;
    try {
      convert(in, lists.acls);
    } catch (const IOException& error) {
      text = "failed " + std::to_string(error.code()) + " <" + error.what() + "> ";
    }
    for (const ACL* acl : lists.acls)
      text += acl->dump() + " ";
    return text;
  }

  std::string write() {
    std::string bytes;
    convert(lists.acls, bytes);
    return bytes;
  }

  // What reading each beginning of a stream gives.
  void expectCuts(const std::string& stream, const std::vector<Cut>& cuts) {
    for (const Cut& cut : cuts) {
      AclVector fresh;
      std::swap(fresh.acls, lists.acls);
      EXPECT_EQ(read(stream.substr(0, cut.length)), cut.outcome) << cut.length;
    }
  }

  AclVector lists;
};

TEST_F(AclStreamTest, NothingIsNothing) {
  EXPECT_EQ(read(ints({0})), "");
  EXPECT_EQ(read(ints({-1, ACCESS, 1, 7})), "");
  EXPECT_EQ(read(ints({INT_MIN})), "");
  EXPECT_EQ(read(""), "");
  EXPECT_TRUE(lists.acls.empty());
  EXPECT_EQ(write(), "");
}

TEST_F(AclStreamTest, OnlyNamedEntriesCarryAnId) {
  EXPECT_EQ(read(ints({6,      ACCESS, 1,    7, ACCESS, 2,  1001, 6,      ACCESS, 4, 5,
                       ACCESS, 8,      1002, 4, ACCESS, 16, 3,    ACCESS, 32,     1})),
            "user_obj::rwx,user:1001:rw-,group_obj::r-x,group:1002:r--,mask::-wx,other::--x ");
}

TEST_F(AclStreamTest, EachScopeIsOneListInTheOrderOfTheFirst) {
  EXPECT_EQ(read(ints({4, DEFAULT, 1, 7, ACCESS, 1, 6, DEFAULT, 4, 5, ACCESS, 32, 4})),
            "default:user_obj::rwx,group_obj::r-x user_obj::rw-,other::r-- ");
  ASSERT_EQ(lists.acls.size(), 2U);
  EXPECT_EQ(lists.acls[0]->get_type(), 16384U);
  EXPECT_EQ(lists.acls[0]->get_path(), "");
}

TEST_F(AclStreamTest, ListsThatAreThereAreAddedToTheFirstOfAScope) {
  for (const unsigned type : {32768U, 16384U, 16384U})
    lists.acls.push_back(new ACL(type));
  EXPECT_EQ(read(ints({2, DEFAULT, 1, 7, ACCESS, 1, 6})),
            "user_obj::rw- default:user_obj::rwx default: ");
}

TEST_F(AclStreamTest, MinusOneGivesNoPermission) {
  EXPECT_EQ(read(ints({2, ACCESS, 2, 5, -1, ACCESS, 32, -1})), "user:5:---,other::--- ");
}

TEST_F(AclStreamTest, OnlyTheThreeBitsCount) {
  EXPECT_EQ(read(ints({2, ACCESS, 1, -8, ACCESS, 32, 8 + 4})), "user_obj::---,other::r-- ");
  EXPECT_EQ(read(ints({1, DEFAULT, 1, -2})), "user_obj::---,other::r-- default:user_obj::rw- ");
}

TEST_F(AclStreamTest, IdsUseAll32Bits) {
  EXPECT_EQ(read(ints({2, ACCESS, 2, -2, 4, ACCESS, 8, INT_MIN, 4})),
            "user:4294967294:r--,group:2147483648:r-- ");
  EXPECT_EQ(write(), ints({ACCESS, 2, -2, 4, ACCESS, 8, INT_MIN, 4}));
}

TEST_F(AclStreamTest, DuplicatesStayTwo) {
  EXPECT_EQ(read(ints({2, ACCESS, 2, 5, 4, ACCESS, 2, 5, 2})), "user:5:r--,user:5:-w- ");
}

TEST_F(AclStreamTest, AnUnknownScopeIsNamedAndWhatCameBeforeStays) {
  for (const int scope : {5, 0, 1, -1, ACCESS | DEFAULT, 8192, 65536, INT_MIN, INT_MAX}) {
    AclVector fresh;
    std::swap(fresh.acls, lists.acls);
    const LogCapture log;
    const std::string text = "convert,790 unknown acl scope: " + std::to_string(scope);
    EXPECT_EQ(read(ints({3, ACCESS, 1, 7, scope, 1, 7, ACCESS, 4, 7})),
              "failed 0 <" + text + "> user_obj::rwx ");
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{text});
  }
}

TEST_F(AclStreamTest, AnUnknownTagHasNoTextAndItsEntryIsGone) {
  for (const int tag : {0, 3, 5, 6, 7, 9, 17, 31, 33, 64, -1, INT_MIN, INT_MAX}) {
    AclVector fresh;
    std::swap(fresh.acls, lists.acls);
    const LogCapture log;
    EXPECT_EQ(read(ints({3, DEFAULT, 1, 7, ACCESS, tag, 7, ACCESS, 4, 7})),
              "failed 0 <> default:user_obj::rwx  ")
        << tag;
    ASSERT_EQ(log.bodies(LOG_ERROR).size(), 1U);
    EXPECT_TRUE(log.lines().back().text.ends_with(" ")) << log.all();
    EXPECT_EQ(log.lines().back().function(), "convert");
    EXPECT_EQ(log.bodies(LOG_ERROR)[0], "");
  }
}

TEST_F(AclStreamTest, AStreamCutAnywhereReadsZerosFromThere) {
  expectCuts(ints({2, ACCESS, 2, 7, 6}), {
                                             {0, ""},                // no count
                                             {3, ""},                // part of a number is none
                                             {4, NO_SCOPE},          //
                                             {7, NO_SCOPE},          //
                                             {8, "failed 0 <>  "},   // no tag
                                             {11, "failed 0 <>  "},  //
                                             {12, NO_SCOPE + "user:0:--- "},  // no id
                                             {16, NO_SCOPE + "user:7:--- "},  // no permission
                                             {19, NO_SCOPE + "user:7:--- "},  //
                                             {20, NO_SCOPE + "user:7:rw- "},  // no second entry
                                         });
}

// The last entry that was promised may lack its end: what is missing is 0, and 0 is a permission.
TEST_F(AclStreamTest, TheOnlyEntryCutAnywhereHasZerosForTheRest) {
  expectCuts(ints({1, ACCESS, 2, 7, 6}), {{4, NO_SCOPE},
                                          {8, "failed 0 <>  "},
                                          {12, "user:0:--- "},
                                          {16, "user:7:--- "},
                                          {19, "user:7:--- "},
                                          {20, "user:7:rw- "}});
  expectCuts(ints({1, DEFAULT, 32, 7}), {{4, NO_SCOPE},
                                         {8, "failed 0 <> default: "},
                                         {12, "default:other::--- "},
                                         {15, "default:other::--- "},
                                         {16, "default:other::rwx "}});
}

TEST_F(AclStreamTest, LessThanACountIsNone) {
  for (size_t length = 0; length < 4; ++length) {
    const LogCapture log;
    EXPECT_EQ(read(std::string(length, '\1')), "") << length;
    EXPECT_EQ(log.bodies(LOG_TRACE), std::vector<std::string>{"aclspec entry size: 0"});
  }
}

TEST_F(AclStreamTest, ACountBeyondTheStreamEndsAtItsEnd) {
  EXPECT_EQ(read(ints({INT_MAX, ACCESS, 1, 7})),
            "failed 0 <convert,790 unknown acl scope: 0> user_obj::rwx ");
}

TEST_F(AclStreamTest, BytesBeyondTheCountAreNotRead) {
  EXPECT_EQ(read(ints({1, ACCESS, 1, 7, 5, 5, 5})), "user_obj::rwx ");
}

TEST_F(AclStreamTest, APlainFileIsThreeEntriesOf36Bytes) {
  const TempDir dir;
  const std::string path = dir.file("file");
  chmod(path.c_str(), 0640);
  lists.acls.push_back(new ACL(path, ACCESS));
  const std::string stream = write();
  EXPECT_EQ(stream.size(), 36U);
  EXPECT_EQ(stream, ints({ACCESS, 1, 6, ACCESS, 4, 4, ACCESS, 32, 0}));
}

TEST_F(AclStreamTest, ListsAreWrittenInTheirOrder) {
  ASSERT_EQ(read(ints({4, DEFAULT, 32, 1, ACCESS, 1, 6, DEFAULT, 8, 9, 5, ACCESS, 16, 4})),
            "default:group:9:r-x,other::--x user_obj::rw-,mask::r-- ");
  lists.acls.insert(lists.acls.begin(), new ACL(ACCESS));
  EXPECT_EQ(write(), ints({DEFAULT, 8, 9, 5, DEFAULT, 32, 1, ACCESS, 1, 6, ACCESS, 16, 4}));
}

TEST_F(AclStreamTest, AStreamComesBackAsItWent) {
  const std::string entries =
      ints({ACCESS,  1, 7,      ACCESS,  2, 5, 6,      ACCESS,  2, 6,      4,  ACCESS,
            4,       5, ACCESS, 8,       5, 7, ACCESS, 16,      0, ACCESS, 32, 1,
            DEFAULT, 1, 0,      DEFAULT, 2, 0, 7,      DEFAULT, 8, 0,      1});
  read(ints({10}) + entries);
  EXPECT_EQ(write(), entries);
}

TEST_F(AclStreamTest, AStreamGetsTheBytesThatAStringGets) {
  read(ints({2, ACCESS, 1, 7, DEFAULT, 2, 5, 4}));
  std::ostringstream out;
  out << "before";
  convert(lists.acls, out);
  EXPECT_EQ(out.str(), "before" + write());
}

TEST_F(AclStreamTest, ReadingAndWritingAreTraced) {
  const LogCapture log;
  read(ints({2, ACCESS, 1, 7, DEFAULT, 2, 5, 4}));
  EXPECT_EQ(log.bodies(LOG_TRACE),
            (std::vector<std::string>{"aclspec entry size: 2", "convert dump: user_obj::rwx",
                                      "convert dump: default:user:5:r--"}));
  const LogCapture writing;
  write();
  EXPECT_EQ(writing.bodies(LOG_TRACE),
            (std::vector<std::string>{"AclEntry count:1", "convert dump: user_obj::rwx",
                                      "AclEntry count:1", "convert dump: default:user:5:r--"}));
}

TEST_F(AclStreamTest, AFailureOfLibaclPassesThrough) {
  zolt_fault_arm("acl_create_entry", 2, 2, ENOMEM);
  EXPECT_EQ(read(ints({2, ACCESS, 1, 7, ACCESS, 4, 7})),
            "failed 12 <acl_create_entry> user_obj::rwx ");
}

}  // namespace
}  // namespace zolt
