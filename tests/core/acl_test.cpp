#include "acl/acl.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <vector>

#include "acl_fixture.h"
#include "acl_helpers.h"
#include "faults.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;

using AclTest = test::AclFixture;

// --- construction, loading, storing

TEST_F(AclTest, AnUnknownTypeIsRefusedByEveryConstructor) {
  for (const unsigned type : {4660U, 0U, 1U, 32768U | 16384U, 0xffff8000U}) {
    const std::string text = "Unknown type: " + std::to_string(type);
    std::string buffer;
    test::append(buffer, static_cast<int>(type));
    buffer += "user::rwx,group::r-x,other::---";
    ACL known(ACCESS);
    const std::function<void()> calls[] = {[&] { ACL acl(type); }, [&] { ACL acl("/", type); },
                                           [&] { ACL acl(buffer.c_str()); },
                                           [&] { known.from_text(buffer.c_str()); }};
    for (const auto& call : calls) {
      const LogCapture log;
      const auto failure = failureOf(call);
      EXPECT_EQ(failure.text, text);
      EXPECT_EQ(failure.code, EINVAL);
      EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{text});
    }
  }
}

TEST_F(AclTest, AnEmptyListHasNoPathAndNoEntries) {
  for (const unsigned type : {32768U, 16384U}) {
    const ACL acl(type);
    EXPECT_EQ(acl.get_type(), type);
    EXPECT_EQ(acl.get_path(), "");
    EXPECT_EQ(acl.size(), 0);
    EXPECT_TRUE(acl.begin() == acl.end());
  }
}

TEST_F(AclTest, AFileWithoutAListOfItsOwnHasThatOfItsMode) {
  const std::string path = file();
  const ACL acl(path, ACCESS);
  EXPECT_EQ(acl.get_path(), path);
  EXPECT_EQ(acl.dump(), "user_obj::rw-,group_obj::r--,other::---");
}

TEST_F(AclTest, EachTypeIsLoadedFromItsOwnPlace) {
  const std::string path =
      directory("u::rwx,u:1001:rw,g::r,g:1002:x,m::rwx,o::-", "u::rwx,u:7:w,g::-,m::rw,o::x");
  EXPECT_EQ(ACL(path, ACCESS).dump(),
            "user_obj::rwx,user:1001:rw-,group_obj::r--,group:1002:--x,mask::rwx,other::---");
  EXPECT_EQ(ACL(path, DEFAULT).dump(),
            "default:user_obj::rwx,user:7:-w-,group_obj::---,mask::rw-,other::--x");
}

TEST_F(AclTest, AnEmptyPathIsAnEmptyList) {
  ACL acl(file(), ACCESS);
  acl.get_file("");
  EXPECT_EQ(acl.get_path(), "");
  EXPECT_EQ(acl.size(), 0);
}

TEST_F(AclTest, LoadingAnewReplacesTheList) {
  ACL acl(file("u::rw,u:1:r,g::r,m::r,o::-"), ACCESS);
  EXPECT_EQ(acl.size(), 5);
  acl.get_file(directory());
  EXPECT_EQ(acl.dump(), "user_obj::rwx,group_obj::r-x,other::---");
}

TEST_F(AclTest, AFailedLoadNamesThePathAndLeavesNothing) {
  const std::string path = file();
  ACL acl(path, ACCESS);
  for (const int error : {EIO, ENOENT, ENOMEM, ENOTDIR, EPERM, EACCES}) {
    zolt_fault_arm("acl_get_file", 1, 1, error);
    const LogCapture log(LOG_ERROR);
    const auto failure = failureOf([&] { acl.get_file(path); });
    EXPECT_EQ(failure.text, path);
    EXPECT_EQ(failure.code, error);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.bodies(LOG_ERROR)[0],
              "acl_get_file error " + std::to_string(error) + ": " + path);
    EXPECT_EQ(acl.dump(), "nil");
    EXPECT_EQ(acl.get_path(), path);
  }
  EXPECT_EQ(failureOf([&] { ACL missing(dir / "none", ACCESS); }).code, ENOENT);
}

TEST_F(AclTest, ARefusedLoadDumpsTheGroups) {
  const std::string path = file();
  for (const int error : {EACCES, EPERM}) {
    zolt_fault_arm("acl_get_file", 1, 1, error);
    const LogCapture log(LOG_DEBUG);
    failureOf([&] { ACL acl(path, ACCESS); });
    ASSERT_EQ(error == EACCES ? 2U : 1U, log.lines().size()) << log.all();
    EXPECT_EQ(error == EACCES,
              log.lines()[0].text.starts_with("acl_get_file error (dump group ids):"));
  }
}

TEST_F(AclTest, NoMemoryForAnEmptyListIsAFailureToo) {
  zolt_fault_arm("acl_init", 1, 1, ENOMEM);
  const LogCapture log(LOG_ERROR);
  const auto failure = failureOf([] { ACL acl(ACCESS); });
  EXPECT_EQ(failure.text, "");
  EXPECT_EQ(failure.code, ENOMEM);
  EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_init error 12: "});
}

TEST_F(AclTest, ALoadThatFailsStoresThePathBefore) {
  ACL acl(file(), ACCESS);
  const std::string other = dir / "none";
  EXPECT_EQ(failureOf([&] { acl.get_file(other); }).code, ENOENT);
  EXPECT_EQ(acl.get_path(), other);
  zolt_fault_arm("acl_init", 1, 1, ENOMEM);
  EXPECT_EQ(failureOf([&] { acl.get_file(""); }).code, ENOMEM);
  EXPECT_EQ(acl.get_path(), "");
}

TEST_F(AclTest, OnlyADirectoryHasADefaultList) {
  EXPECT_EQ(failureOf([&] { ACL acl(file(), DEFAULT); }).code, EACCES);
}

TEST_F(AclTest, StoringReplacesTheListOfItsType) {
  const std::string path = directory("u::rwx,u:1:r,g::r,m::r,o::-");
  ACL acl(DEFAULT);
  fill(acl, BASE);
  acl.set_file(path, false);
  EXPECT_EQ(acl.get_path(), path);
  EXPECT_EQ(getfacl(path),
            "user::rwx\nuser:1:r--\ngroup::r--\nmask::r--\nother::---\n"
            "default:user::rw-\ndefault:group::r--\ndefault:other::---\n\n");
}

TEST_F(AclTest, AFailedStoreNamesThePathAndIsForgotten) {
  const std::string path = file();
  ACL acl(ACCESS);
  fill(acl, BASE);
  for (const int error : {EIO, EPERM, EACCES, EROFS, ENOSPC, EOPNOTSUPP}) {
    zolt_fault_arm("acl_set_file", 1, 1, error);
    const LogCapture log(LOG_ERROR);
    const auto failure = failureOf([&] { acl.set_file(path, false); });
    EXPECT_EQ(failure.text, path);
    EXPECT_EQ(failure.code, error);
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_set_file error " +
                                                              std::to_string(error) + ": " + path});
    EXPECT_EQ(acl.get_path(), "");
  }
}

TEST_F(AclTest, AnEmptyDefaultListRemovesTheStoredOne) {
  const std::string path = directory("", "u::rwx,g::r,o::-");
  ACL(DEFAULT).set_file(path, false);
  EXPECT_EQ(getfacl(path), "user::rwx\ngroup::r-x\nother::---\n\n");
}

TEST_F(AclTest, AnInvalidListIsNotStored) {
  const std::string path = file();
  ACL acl(ACCESS);
  EXPECT_EQ(failureOf([&] { acl.set_file(path, false); }).code, EINVAL);
  EXPECT_EQ(failureOf([&] { acl.set_file(path, true); }).code, EINVAL);
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 0);
}

TEST_F(AclTest, AssignmentExchangesTheHandlesAlone) {
  const std::string path = file("u::rw,u:1:r,g::r,m::r,o::-");
  ACL one(path, ACCESS);
  ACL other(DEFAULT);
  fill(other, BASE);
  ACL& answer = (one = other);
  EXPECT_EQ(&answer, &one);
  EXPECT_EQ(one.dump(), "user_obj::rw-,group_obj::r--,other::---");
  EXPECT_EQ(one.get_path(), path);
  EXPECT_EQ(one.get_type(), 32768U);
  EXPECT_EQ(other.dump(), "default:user_obj::rw-,user:1:r--,group_obj::r--,mask::r--,other::---");
  EXPECT_EQ(other.get_path(), "");
  EXPECT_EQ(other.get_type(), 16384U);
}

// --- entries

TEST_F(AclTest, EntriesAreWalkedOnceInOrder) {
  ACL acl(ACCESS);
  fill(acl, {{ACL_OTHER, 0, 1}, {ACL_GROUP, 9, 2}, {ACL_GROUP, 3, 4}, {ACL_USER_OBJ, 0, 7}});
  std::string walk;
  for (const ACL::Entry& entry : acl)
    walk += entry.dump() + " ";
  EXPECT_EQ(walk, "user_obj::rwx group:3:r-- group:9:-w- other::--x ");
  EXPECT_EQ(acl.size(), 4);
}

TEST_F(AclTest, TheEndStaysTheEnd) {
  ACL acl(ACCESS);
  fill(acl, BASE);
  ACL::Entry entry = acl.begin();
  for (int i = 0; i < 3; ++i)
    ++entry;
  EXPECT_TRUE(entry == acl.end());
  ++entry;
  EXPECT_TRUE(entry == acl.end());
}

TEST_F(AclTest, ANewEntryHasNothing) {
  ACL acl(ACCESS);
  const ACL::Entry entry(acl);
  EXPECT_EQ(entry.get_tag(), 0);
  EXPECT_EQ(entry.get_perm(), 0);
  EXPECT_EQ(entry.dump(), "undef::---");
  EXPECT_EQ(acl.end().dump(), "nil");
}

TEST_F(AclTest, EveryTagHasItsName) {
  const std::pair<int, std::string> names[] = {{1, "user_obj::r--"},  {2, "user:4294967294:r--"},
                                               {4, "group_obj::r--"}, {8, "group:4294967294:r--"},
                                               {16, "mask::r--"},     {32, "other::r--"}};
  for (const auto& [tag, text] : names) {
    ACL acl(ACCESS);
    EXPECT_EQ(add(acl, tag, -2, 4).dump(), text);
    EXPECT_EQ(acl.begin().get_tag(), tag);
  }
}

TEST_F(AclTest, QualifiersAreUnsignedIds) {
  ACL acl(ACCESS);
  for (const uint32_t id : {0U, 1U, 65534U, 0x7fffffffU, 0x80000000U, 0xfffffffeU}) {
    EXPECT_EQ(add(acl, ACL_USER, static_cast<int>(id), 0).get_qualifier(), id);
    EXPECT_EQ(add(acl, ACL_GROUP, static_cast<int>(id), 0).get_qualifier(), id);
  }
}

TEST_F(AclTest, PermissionsAreAddedAndNeverTaken) {
  ACL acl(ACCESS);
  ACL::Entry entry = add(acl, ACL_USER_OBJ, 0, 4);
  EXPECT_EQ(entry.get_perm(), 4);
  entry.set_perm(0);
  EXPECT_EQ(entry.get_perm(), 4);
  entry.set_perm(2);
  EXPECT_EQ(entry.get_perm(), 6);
  entry.set_perm(1);
  EXPECT_EQ(entry.get_perm(), 7);
  entry.clear_perm();
  EXPECT_EQ(entry.get_perm(), 0);
  entry.set_perm(8 | 1);
  EXPECT_EQ(entry.get_perm(), 1);
}

TEST_F(AclTest, EachPermissionIsItsOwnBit) {
  for (int perm = 0; perm < 8; ++perm) {
    ACL acl(ACCESS);
    EXPECT_EQ(add(acl, ACL_OTHER, 0, perm).get_perm(), perm);
  }
}

TEST_F(AclTest, ACopyTakesEverything) {
  ACL acl(ACCESS);
  ACL other(DEFAULT);
  ACL::Entry entry = add(acl, ACL_OTHER, 0, 7);
  entry.copy(add(other, ACL_USER, 12, 2));
  EXPECT_EQ(acl.dump(), "user:12:-w-");
  EXPECT_EQ(other.dump(), "default:user:12:-w-");
}

TEST_F(AclTest, ARemovedEntryIsGone) {
  ACL acl(ACCESS);
  fill(acl, BASE);
  add(acl, ACL_USER, 5, 7).remove();
  EXPECT_EQ(acl.dump(), "user_obj::rw-,group_obj::r--,other::---");
}

TEST_F(AclTest, TheKeyIsTheTagAndTheNamedId) {
  ACL acl(ACCESS);
  ACL other(ACCESS);
  for (const int tag : {1, 2, 4, 8, 16, 32}) {
    for (const int otherTag : {1, 2, 4, 8, 16, 32}) {
      for (const int otherId : {7, 8}) {
        const bool named = tag == 2 || tag == 8;
        EXPECT_EQ(add(acl, tag, 7, 4).cmp(add(other, otherTag, otherId, 1)),
                  tag == otherTag && (!named || otherId == 7))
            << tag << " " << otherTag << " " << otherId;
      }
    }
  }
}

TEST_F(AclTest, ThePositionDecidesBeforeTheKey) {
  ACL acl(ACCESS);
  ACL other(ACCESS);
  const ACL::Entry blank(acl);
  EXPECT_TRUE(blank.cmp(blank));
  EXPECT_TRUE(acl.end().cmp(acl.end()));
  EXPECT_FALSE(acl.end().cmp(other.end()));
  EXPECT_FALSE(acl.end().cmp(blank));
  EXPECT_FALSE(blank.cmp(acl.end()));
  EXPECT_TRUE(acl.end() == acl.end());
  EXPECT_FALSE(acl.end() == other.end());
}

// --- merging, removing, clearing

TEST_F(AclTest, MergingReplacesPermissionsByKeyAndAddsTheRest) {
  ACL acl(ACCESS);
  fill(acl, BASE);
  fill(acl, {{ACL_USER, 1, 7}, {ACL_USER, 2, 7}, {ACL_GROUP, 1, 7}});
  ACL other(ACCESS);
  fill(other, {{ACL_USER, 1, 4}, {ACL_USER, 3, 1}, {ACL_GROUP_OBJ, 0, 2}});
  ACL& answer = acl + other;
  EXPECT_EQ(&answer, &acl);
  EXPECT_EQ(acl.dump(),
            "user_obj::rw-,user:1:r--,user:2:rwx,user:3:--x,group_obj::-w-,group:1:rwx,other::---");
  EXPECT_EQ(other.dump(), "user:1:r--,user:3:--x,group_obj::-w-");
}

TEST_F(AclTest, RemovingTakesTheSameKeysWhateverTheirPermissions) {
  ACL acl(ACCESS);
  fill(acl, BASE);
  fill(acl, {{ACL_USER, 1, 7}, {ACL_USER, 2, 7}, {ACL_GROUP, 1, 7}});
  ACL other(ACCESS);
  fill(other, {{ACL_USER, 1, 0}, {ACL_USER, 9, 7}, {ACL_OTHER, 0, 7}});
  ACL& answer = acl - other;
  EXPECT_EQ(&answer, &acl);
  EXPECT_EQ(acl.dump(), "user_obj::rw-,user:2:rwx,group_obj::r--,group:1:rwx");
}

TEST_F(AclTest, TheLastOfEqualKeysIsWhatIsMerged) {
  ACL acl(ACCESS);
  fill(acl, {{ACL_USER, 1, 7}, {ACL_OTHER, 0, 7}});
  ACL other(ACCESS);
  fill(other, {{ACL_USER, 1, 4}, {ACL_USER, 1, 2}, {ACL_GROUP, 5, 1}, {ACL_GROUP, 5, 6}});
  acl + other;
  EXPECT_EQ(acl.dump(), "user:1:-w-,group:5:rw-,other::rwx");
}

TEST_F(AclTest, TheFirstOfEqualKeysIsReplaced) {
  ACL acl(ACCESS);
  fill(acl, {{ACL_USER, 1, 4}, {ACL_USER, 1, 2}});
  ACL other(ACCESS);
  fill(other, {{ACL_USER, 1, 1}});
  acl + other;
  EXPECT_EQ(acl.dump(), "user:1:-w-,user:1:--x");  // libacl has put it behind its equal
}

TEST_F(AclTest, TheFirstOfEqualKeysIsRemovedOncePerEntry) {
  ACL acl(ACCESS);
  fill(acl, {{ACL_USER, 1, 4}, {ACL_USER, 1, 2}, {ACL_USER, 1, 1}});
  ACL other(ACCESS);
  fill(other, {{ACL_USER, 1, 1}});
  acl - other;
  EXPECT_EQ(acl.dump(), "user:1:-w-,user:1:--x");
  fill(other, {{ACL_USER, 1, 0}});
  acl - other;
  EXPECT_EQ(acl.dump(), "");
}

TEST_F(AclTest, ClearingAnAccessListLeavesTheBase) {
  const std::string path = file("u::rw,u:1:r,u:2:w,g::r,g:3:x,m::rwx,o::r");
  ACL acl(path, ACCESS);
  acl.clear().orThrow();
  EXPECT_EQ(acl.dump(), "user_obj::rw-,group_obj::r--,other::r--");
  EXPECT_EQ(getfacl(path), "user::rw-\ngroup::r--\nother::r--\n\n");
}

// `other` goes as well, and comes back from the access list, which completes every list.
TEST_F(AclTest, ClearingADefaultListTakesOtherFromTheAccessList) {
  const std::string path = directory("u::rwx,g::r,o::x", "u::rw,u:1:r,g::w,g:3:x,m::rwx,o::rwx");
  ACL acl(path, DEFAULT);
  acl.clear().orThrow();
  EXPECT_EQ(acl.dump(), "default:user_obj::rw-,group_obj::-w-,other::--x");
  EXPECT_EQ(getfacl(path),
            "user::rwx\ngroup::r--\nother::--x\n"
            "default:user::rw-\ndefault:group::-w-\ndefault:other::--x\n\n");
}

// --- validity

TEST_F(AclTest, AMalformedListNamesItsFileAndSaysAccessForADefaultListToo) {
  const std::string path = directory("", "u::rwx,g::r,o::-");
  ACL acl(path, DEFAULT);
  acl.begin().remove();
  EXPECT_EQ(failureOf([&] { acl.valid(); }).text,
            path + ": Malformed access ACL \"group::r--,other::---,\": Missing or wrong entry");
}

TEST_F(AclTest, ValidListsPassSilently) {
  const LogCapture log;
  ACL(DEFAULT).valid();
  ACL acl(ACCESS);
  fill(acl, BASE);
  acl.valid();
  fill(acl, {{ACL_MASK, 0, 0}, {ACL_USER, 1, 7}, {ACL_GROUP, 1, 7}});
  acl.valid();
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

TEST_F(AclTest, ACheckThatFailsIsNoVerdict) {
  ACL acl(ACCESS);
  fill(acl, BASE);
  zolt_fault_arm("acl_check", 1, 1, EFAULT);
  const LogCapture log;
  const auto failure = failureOf([&] { acl.valid(); });
  EXPECT_EQ(failure.text, "acl_valid fails");
  EXPECT_EQ(failure.code, EFAULT);
  EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_valid fails"});
  EXPECT_EQ(log.bodies(LOG_TRACE), std::vector<std::string>{"valid failed dump " + acl.dump()});
}

TEST_F(AclTest, AReasonWithoutATextIsNull) {
  zolt_fault_arm("acl_error", 1, 1, 0);
  EXPECT_EQ(failureOf([] { ACL(ACCESS).valid(); }).text, ": Malformed access ACL \"\": null");
}

// --- completion

// What make_valid makes of a list: its dump, or the failure.
std::string completed(ACL& acl, const std::string& path) {
  const auto failure = failureOf([&] { acl.make_valid(path); });
  return failure.code == -1 ? acl.dump() : std::to_string(failure.code) + " " + failure.text;
}

std::string completed(unsigned type, const std::vector<Row>& rows, const std::string& path) {
  ACL acl(type);
  fill(acl, rows);
  return completed(acl, path);
}

TEST_F(AclTest, MissingBaseEntriesComeFromTheAccessListOfThePath) {
  const std::string path = directory("u::rwx,u:9:r,g::r,m::rwx,o::x", "u::-,g::-,o::-");
  for (const unsigned type : {32768U, 16384U}) {
    const std::string prefix = type == DEFAULT ? "default:" : "";
    EXPECT_EQ(completed(type, {{ACL_USER_OBJ, 0, 6}}, path),
              prefix + "user_obj::rw-,group_obj::r--,other::--x");
    EXPECT_EQ(completed(type, {{ACL_GROUP_OBJ, 0, 6}, {ACL_OTHER, 0, 6}}, path),
              prefix + "user_obj::rwx,group_obj::rw-,other::rw-");
    EXPECT_EQ(completed(type, {{ACL_USER, 1, 2}}, path),
              prefix + "user_obj::rwx,user:1:-w-,group_obj::r--,mask::rw-,other::--x");
    EXPECT_EQ(completed(type, {{ACL_GROUP, 1, 2}, {ACL_OTHER, 0, 0}}, path),
              prefix + "user_obj::rwx,group_obj::r--,group:1:-w-,mask::rw-,other::---");
    EXPECT_EQ(completed(type, {{ACL_MASK, 0, 2}}, path),
              prefix + "user_obj::rwx,group_obj::r--,mask::-w-,other::--x");
  }
}

TEST_F(AclTest, AnEmptyListAndAFullOneNeedNoPath) {
  EXPECT_EQ(completed(ACCESS, {}, ""), "");
  EXPECT_EQ(completed(DEFAULT, {}, "/no/such/path"), "default:");
  EXPECT_EQ(completed(ACCESS, BASE, "/no/such/path"), "user_obj::rw-,group_obj::r--,other::---");
  auto withNamed = BASE;
  withNamed.push_back({ACL_USER, 1, 1});
  EXPECT_EQ(completed(ACCESS, withNamed, "/no/such/path"),
            "user_obj::rw-,user:1:--x,group_obj::r--,mask::r-x,other::---");
}

// What counts is the number of base entries and not which they are.
TEST_F(AclTest, ThreeBaseEntriesOfWhateverKindAreEnough) {
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {1, 0, 6}, {4, 0, 4}}, "/no/such/path"),
            "user_obj::rw-,user_obj::rw-,group_obj::r--");
}

TEST_F(AclTest, MoreThanThreeBaseEntriesLackSome) {
  const std::string path = file();
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {1, 0, 6}, {1, 0, 6}, {4, 0, 4}}, path),
            "user_obj::rw-,user_obj::rw-,user_obj::rw-,group_obj::r--,other::---");
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {1, 0, 6}, {1, 0, 6}, {4, 0, 4}}, "/no/such/path"),
            "2 /no/such/path");
}

TEST_F(AclTest, WithoutAPathBaseEntriesCannotBeLoaded) {
  const std::string text = "current acl lacks base entries, requires a valid file path to load.";
  const std::vector<Row> lists[] = {
      {{1, 0, 6}},           {{1, 0, 6}, {4, 0, 4}}, {{2, 5, 6}},
      {{8, 5, 6}},           {{16, 0, 6}},           {{1, 0, 6}, {1, 0, 6}, {4, 0, 4}, {32, 0, 0}},
      {{1, 0, 6}, {2, 5, 6}}};
  for (const auto& rows : lists) {
    const LogCapture log;
    EXPECT_EQ(completed(ACCESS, rows, ""), "0 " + text);
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{text});
  }
}

TEST_F(AclTest, AMaskIsComputedOnlyForNamedEntries) {
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {4, 0, 4}, {32, 0, 0}, {8, 5, 3}}, ""),
            "user_obj::rw-,group_obj::r--,group:5:-wx,mask::rwx,other::---");
  EXPECT_EQ(completed(ACCESS, BASE, ""), "user_obj::rw-,group_obj::r--,other::---");
}

TEST_F(AclTest, TheMaskOfASpecificationIsKept) {
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {4, 0, 4}, {32, 0, 0}, {8, 5, 3}, {16, 0, 0}}, ""),
            "user_obj::rw-,group_obj::r--,group:5:-wx,mask::---,other::---");
}

TEST_F(AclTest, TheMaskOfALoadedListIsComputedAnewUnlessGiven) {
  const std::string path = file("u::rw,u:1:r,g::r,m::-,o::-");
  for (const bool remove : {false, true}) {
    ACL noMask(ACCESS);
    fill(noMask, {{ACL_USER, 2, 2}});
    ACL loaded(path, ACCESS);
    if (remove) {
      loaded - noMask;
      EXPECT_EQ(completed(loaded, path),
                "user_obj::rw-,user:1:r--,group_obj::r--,mask::r--,other::---");
    } else {
      loaded + noMask;
      EXPECT_EQ(completed(loaded, path),
                "user_obj::rw-,user:1:r--,user:2:-w-,group_obj::r--,mask::rw-,other::---");
    }

    ACL mask(ACCESS);
    fill(mask, {{ACL_USER, 2, 2}, {ACL_MASK, 0, 1}});
    ACL given(path, ACCESS);
    if (remove) {
      given - mask;
      // The mask has gone, and the list needs one.
      EXPECT_EQ(completed(given, path),
                "user_obj::rw-,user:1:r--,group_obj::r--,mask::r--,other::---");
    } else {
      given + mask;
      EXPECT_EQ(completed(given, path),
                "user_obj::rw-,user:1:r--,user:2:-w-,group_obj::r--,mask::--x,other::---");
    }
  }
}

TEST_F(AclTest, ARemovedMaskIsAGivenOneToo) {
  const std::string path = file("u::rw,u:1:r,g::r,m::-,o::-");
  ACL mask(ACCESS);
  fill(mask, {{ACL_MASK, 0, 0}});
  ACL acl(path, ACCESS);
  acl - mask;
  fill(acl, {{ACL_MASK, 0, 1}});
  EXPECT_EQ(completed(acl, path), "user_obj::rw-,user:1:r--,group_obj::r--,mask::--x,other::---");
}

TEST_F(AclTest, AssignmentDoesNotExchangeThatAMaskWasGiven) {
  const std::string path = file("u::rw,u:1:r,g::r,m::-,o::-");
  ACL mask(ACCESS);
  fill(mask, {{ACL_MASK, 0, 1}});
  ACL given(path, ACCESS);
  given + mask;
  ACL other(path, ACCESS);
  given = other;
  EXPECT_EQ(completed(given, path), "user_obj::rw-,user:1:r--,group_obj::r--,mask::---,other::---");
  EXPECT_EQ(completed(other, path), "user_obj::rw-,user:1:r--,group_obj::r--,mask::r--,other::---");
}

TEST_F(AclTest, AMaskWithoutNamedEntriesIsComputedAnewToo) {
  const std::string path = file("u::rw,g::r,m::rwx,o::-");
  ACL acl(path, ACCESS);
  EXPECT_EQ(completed(acl, path), "user_obj::rw-,group_obj::r--,mask::r--,other::---");
}

TEST_F(AclTest, AMaskThatCannotBeComputedNamesThePath) {
  zolt_fault_arm("acl_calc_mask", 1, 1, ENOMEM);
  const LogCapture log(LOG_ERROR);
  EXPECT_EQ(completed(ACCESS, {{1, 0, 6}, {4, 0, 4}, {32, 0, 0}, {8, 5, 3}}, "/p"), "12 /p");
  EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_calc_mask error 12: /p"});
}

TEST_F(AclTest, TheDumpOfADefaultListWithoutAHandleSaysSo) {
  ACL acl(DEFAULT);
  zolt_fault_arm("acl_get_file", 1, 1, EIO);
  failureOf([&] { acl.get_file("/x"); });
  EXPECT_EQ(acl.dump(), "default:nil");
}

// --- a libacl that moves the list when it grows

// The lists that were moved away from. They are freed at the end, so that a handle which is used
// after the move is a wrong answer and not a crash, and one that is freed too is a double free.
std::vector<acl_t> left;

void move(acl_t* acl) {
  acl_t moved = ACLUtil::acl_dup(*acl);
  left.push_back(*acl);
  *acl = moved;
}

struct Moving {
  Moving() {
    createEntry = ACLUtil::acl_create_entry;
    calcMask = ACLUtil::acl_calc_mask;
    ACLUtil::acl_create_entry = [](acl_t* acl, acl_entry_t* entry) noexcept {
      move(acl);
      return createEntry(acl, entry);
    };
    ACLUtil::acl_calc_mask = [](acl_t* acl) noexcept {
      move(acl);
      return calcMask(acl);
    };
  }
  ~Moving() {
    ACLUtil::acl_create_entry = createEntry;
    ACLUtil::acl_calc_mask = calcMask;
    for (acl_t acl : left)
      ACLUtil::acl_free(acl);
    left.clear();
  }
  Moving(const Moving&) = delete;
  Moving& operator=(const Moving&) = delete;

  static inline decltype(ACLUtil::acl_create_entry) createEntry = nullptr;
  static inline decltype(ACLUtil::acl_calc_mask) calcMask = nullptr;
};

TEST_F(AclTest, AListThatMovesIsFollowed) {
  const std::string path = file("u::rw,u:1:r,g::r,m::-,o::-");
  const Moving moving;
  ACL spec(ACCESS);
  add(spec, ACL_USER, 2, 2);
  add(spec, ACL_GROUP, 3, 1);
  ACL acl(path, ACCESS);
  acl + spec;
  EXPECT_EQ(left.size(), 4U);
  acl.set_file(path, true);
  EXPECT_EQ(left.size(), 5U);
  EXPECT_EQ(
      getfacl(path),
      "user::rw-\nuser:1:r--\nuser:2:-w-\ngroup::r--\ngroup:3:--x\nmask::rwx\nother::---\n\n");
  EXPECT_EQ(completed(spec, path),
            "user_obj::rw-,user:2:-w-,group_obj::r--,group:3:--x,mask::rwx,other::---");
}

// --- every call of libacl, each failing in its turn

TEST_F(AclTest, EveryFailingCallIsAnExceptionWithItsErrnoAndFreesEverything) {
  const std::string path = directory("u::rwx,u:1:r,g::r,m::r,o::-", "u::rwx,u:1:r,g::r,m::r,o::-");
  ACL initial(path, DEFAULT);
  const auto work = [&] {
    ACL spec(DEFAULT);
    ACL::Entry entry = add(spec, ACL_USER, 1, 7);
    entry.clear_perm();
    entry.set_perm(5);
    add(spec, ACL_GROUP, 2, 1);
    ACL list(path, DEFAULT);
    list + spec;
    list.set_file(path, true);
    list - spec;
    list.clear().orThrow();
    ACL read(list.to_text(nullptr).c_str());
    ACL built(DEFAULT);
    add(built, ACL_USER, 3, 1);
    built.set_file(path, true);
    EXPECT_NE(built.dump(), "");
  };
  for (const char* function :
       {"acl_init", "acl_create_entry", "acl_copy_entry", "acl_delete_entry", "acl_get_entry",
        "acl_check", "acl_add_perm", "acl_clear_perms", "acl_get_permset", "acl_calc_mask",
        "acl_get_qualifier", "acl_set_qualifier", "acl_get_tag_type", "acl_set_tag_type",
        "acl_get_file", "acl_set_file", "acl_from_text", "acl_to_text", "acl_get_perm"}) {
    initial.set_file(path, false);
    zolt_fault_clear();
    work();
    EXPECT_EQ(objectsAlive(), 0);
    const int calls = zolt_fault_calls(function);
    ASSERT_GT(calls, 0) << function;
    for (int nth = 1; nth <= calls; ++nth) {
      initial.set_file(path, false);
      zolt_fault_clear();
      zolt_fault_arm(function, nth, nth, EDEADLK);
      const LogCapture log(LOG_ERROR);
      const auto failure = failureOf(work);
      EXPECT_EQ(failure.code, EDEADLK) << function << " " << nth;
      const std::string name = function;
      const auto bodies = log.bodies(LOG_ERROR);
      ASSERT_EQ(bodies.size(), 1U) << name << " " << nth << "\n" << log.all();
      const std::string beginning = name == "acl_check" ? "acl_valid fails" : name + " error 35: ";
      EXPECT_TRUE(bodies[0].starts_with(beginning)) << bodies[0];
      EXPECT_EQ(objectsAlive(), makesObjects(function) ? 1 : 0) << function << " " << nth;
    }
  }
}

}  // namespace
}  // namespace zolt
