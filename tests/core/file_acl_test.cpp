#include "acl/file_acl.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <sstream>
#include <vector>

#include "acl/acl.h"
#include "acl_fixture.h"

namespace zolt {
namespace {

using namespace test;

// On the file system of the temporary directory, and on tmpfs.
struct FileAclTest : test::AclFixture, ::testing::WithParamInterface<const char*> {
  FileAclTest() : AclFixture(GetParam()) {}

  // The answer, or the failure as "code text".
  static std::string outcome(const std::function<void()>& call) {
    try {
      call();
      return "";
    } catch (const IOException& error) {
      return std::to_string(error.code()) + " " + error.what();
    }
  }

  static std::string change(const std::string& path, AclChange how, const std::string& spec) {
    std::istringstream in(spec);
    return outcome([&] { changeAcl(path, in, how).orThrow(); });
  }
  static std::string set(const std::string& path, const std::string& spec) {
    return change(path, AclChange::SET, spec);
  }
  static std::string modify(const std::string& path, const std::string& spec) {
    return change(path, AclChange::MODIFY, spec);
  }
  static std::string remove(const std::string& path, const std::string& spec) {
    return change(path, AclChange::REMOVE, spec);
  }

  static std::string status(const std::string& path, bool isDirectory) {
    std::string bytes;
    const std::string failure = outcome([&] { aclStatus(path, isDirectory, bytes).orThrow(); });
    return failure.empty() ? bytes : failure;
  }
};

INSTANTIATE_TEST_SUITE_P(FileSystems, FileAclTest, ::testing::Values("/tmp", "/dev/shm"),
                         [](const auto& place) {
                           return std::string(place.param) == "/tmp" ? "disk" : "memory";
                         });

// --- status

TEST_P(FileAclTest, APlainFileHasItsThreeBaseEntries) {
  EXPECT_EQ(status(file(), false), ints({ACCESS, 1, 6, ACCESS, 4, 4, ACCESS, 32, 0}));
}

TEST_P(FileAclTest, ADirectoryHasItsAccessEntriesAndThenItsDefaultOnes) {
  const std::string path =
      directory("u::rwx,u:5:r,g::rx,m::rx,o::-", "u::rwx,g::-,g:6:w,m::w,o::x");
  const std::string access =
      ints({ACCESS, 1, 7, ACCESS, 2, 5, 4, ACCESS, 4, 5, ACCESS, 16, 5, ACCESS, 32, 0});
  EXPECT_EQ(status(path, true), access + ints({DEFAULT, 1, 7, DEFAULT, 4, 0, DEFAULT, 8, 6, 2,
                                               DEFAULT, 16, 2, DEFAULT, 32, 1}));
  EXPECT_EQ(status(path, false), access);
}

TEST_P(FileAclTest, ADirectoryWithoutDefaultEntriesReportsNone) {
  EXPECT_EQ(status(directory(), true), ints({ACCESS, 1, 7, ACCESS, 4, 5, ACCESS, 32, 0}));
}

TEST_P(FileAclTest, AStatusThatCannotBeHadNamesThePath) {
  const std::string path = directory();
  EXPECT_EQ(status(dir / "none", false), "2 " + dir.path() + "/none");
  for (const int nth : {1, 2}) {
    zolt_fault_arm("acl_get_file", nth, nth, EIO);
    EXPECT_EQ(status(path, true), "5 " + path);
  }
  zolt_fault_clear();
  EXPECT_EQ(status(file(), true), "13 " + dir.path() + "/file");
}

TEST_P(FileAclTest, AnEmptyPathHasNoEntriesAndNothingToStoreThem) {
  EXPECT_EQ(status("", true), "");
  EXPECT_EQ(status("", false), "");
  EXPECT_EQ(outcome([] { removeAcl("", true).orThrow(); }),
            "22 : Malformed access ACL \"\": Missing or wrong entry");
  EXPECT_EQ(outcome([] { removeDefaultAcl("", false).orThrow(); }), "");
  EXPECT_EQ(outcome([] { removeDefaultAcl("", true).orThrow(); }), "2 ");
}

// --- set

TEST_P(FileAclTest, SettingReplacesTheScopeWholeAndCompletesIt) {
  const std::string path = file("u::rw,u:1:rwx,g::r,g:2:x,m::rwx,o::x");
  EXPECT_EQ(set(path, ints({1, ACCESS, 2, 9, 6})), "");
  EXPECT_EQ(getfacl(path), "user::rw-\nuser:9:rw-\ngroup::r--\nmask::rw-\nother::--x\n\n");
}

TEST_P(FileAclTest, SettingLeavesTheOtherScopeAlone) {
  const std::string path = directory("u::rwx,u:1:r,g::r,m::r,o::-", "u::rwx,g::r,o::-");
  EXPECT_EQ(set(path, ints({3, DEFAULT, 1, 6, DEFAULT, 4, 0, DEFAULT, 32, 0})), "");
  EXPECT_EQ(getfacl(path),
            "user::rwx\nuser:1:r--\ngroup::r--\nmask::r--\nother::---\n"
            "default:user::rw-\ndefault:group::---\ndefault:other::---\n\n");
  EXPECT_EQ(set(path, ints({3, ACCESS, 1, 6, ACCESS, 4, 0, ACCESS, 32, 0})), "");
  EXPECT_EQ(getfacl(path),
            "user::rw-\ngroup::---\nother::---\n"
            "default:user::rw-\ndefault:group::---\ndefault:other::---\n\n");
}

TEST_P(FileAclTest, ASetMaskIsKeptEvenIfItHidesEverything) {
  const std::string path = file();
  EXPECT_EQ(set(path, ints({2, ACCESS, 2, 9, 6, ACCESS, 16, 0})), "");
  EXPECT_EQ(getfacl(path), "user::rw-\nuser:9:rw-\ngroup::r--\nmask::---\nother::---\n\n");
}

TEST_P(FileAclTest, AnEmptySpecificationChangesNothing) {
  const std::string path = file("u::rw,u:1:r,g::r,m::r,o::-");
  const std::string before = getfacl(path);
  for (const auto how : {AclChange::SET, AclChange::MODIFY, AclChange::REMOVE}) {
    EXPECT_EQ(change(path, how, ints({0})), "");
    EXPECT_EQ(change("/no/such/path", how, ints({0})), "");
  }
  EXPECT_EQ(getfacl(path), before);
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 0);
}

TEST_P(FileAclTest, ASpecificationThatCannotBeReadStoresNothing) {
  const std::string path = file();
  const std::string before = getfacl(path);
  for (const auto how : {AclChange::SET, AclChange::MODIFY, AclChange::REMOVE}) {
    EXPECT_EQ(change(path, how, ints({2, ACCESS, 2, 9, 6, 5, 1, 7})),
              "0 convert,790 unknown acl scope: 5");
    EXPECT_EQ(change(path, how, ints({2, ACCESS, 2, 9, 6, ACCESS, 3, 7})), "0 ");
  }
  EXPECT_EQ(getfacl(path), before);
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 0);
}

TEST_P(FileAclTest, DuplicatesAreRefusedBeforeTheyAreStored) {
  const std::string path = file();
  EXPECT_EQ(set(path, ints({2, ACCESS, 2, 4321, 6, ACCESS, 2, 4321, 4})),
            "22 : Malformed access ACL \"user::rw-,user:4321:rw-,user:4321:r--,group::r--,"
            "mask::rw-,other::---,\": Duplicate entries");
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 0);
}

TEST_P(FileAclTest, TheFirstFailureEndsItAndWhatWasStoredStays) {
  const std::string path = directory();
  const std::string spec = ints({2, DEFAULT, 2, 9, 6, ACCESS, 2, 8, 4});
  const std::string defaults =
      "default:user::rwx\ndefault:user:9:rw-\ndefault:group::r-x\ndefault:mask::rwx\n"
      "default:other::---\n\n";
  for (const auto how : {AclChange::SET, AclChange::MODIFY}) {
    setfacl("-bk", path);
    zolt_fault_clear();
    zolt_fault_arm("acl_set_file", 2, 2, ENOSPC);
    EXPECT_EQ(change(path, how, spec), "28 " + path);
    EXPECT_EQ(getfacl(path), "user::rwx\ngroup::r-x\nother::---\n" + defaults);

    setfacl("-bk", path);
    zolt_fault_arm("acl_set_file", 1, 1, ENOSPC);
    EXPECT_EQ(change(path, how, spec), "28 " + path);
    EXPECT_EQ(zolt_fault_calls("acl_set_file"), 1);
    EXPECT_EQ(getfacl(path), "user::rwx\ngroup::r-x\nother::---\n\n");
  }
}

// As some file systems answer that there was none.
TEST_P(FileAclTest, ADefaultListThatIsNotThereIsRemoved) {
  const std::string path = directory();
  setfacl("-bk", path);
  zolt_fault_arm("acl_set_file", 1, 1, ENODATA);
  removeDefaultAcl(path, true).orThrow();
  zolt_fault_arm("acl_set_file", 2, 2, ENODATA);
  removeAcl(path, true).orThrow();
  // Of a list that has entries it is an error.
  zolt_fault_arm("acl_set_file", 1, 1, ENODATA);
  EXPECT_EQ(change(path, AclChange::SET, ints({1, DEFAULT, 2, 9, 6})), "61 " + path);
  zolt_fault_arm("acl_set_file", 1, 1, ENODATA);
  EXPECT_EQ(change(path, AclChange::SET, ints({1, ACCESS, 2, 9, 6})), "61 " + path);
}

TEST_P(FileAclTest, AFileHasNoDefaultList) {
  const std::string path = file();
  for (const auto how : {AclChange::SET, AclChange::MODIFY, AclChange::REMOVE}) {
    EXPECT_EQ(change(path, how, ints({3, DEFAULT, 1, 7, DEFAULT, 4, 7, DEFAULT, 32, 7})),
              "13 " + path);
  }
}

// A refused specification and a refused list leave nothing behind.
TEST_P(FileAclTest, WhatIsRefusedIsFreed) {
  const std::string path = directory("u::rwx,u:7:r,g::rx,m::rx,o::x", "u::rwx,g::-,o::-");
  for (const auto how : {AclChange::SET, AclChange::MODIFY, AclChange::REMOVE}) {
    for (const std::string& spec : {ints({3, ACCESS, 2, 9, 6, DEFAULT, 1, 7, 5, 1, 7}),
                                    ints({3, ACCESS, 2, 9, 6, DEFAULT, 1, 7, ACCESS, 3, 7})}) {
      zolt_fault_clear();
      EXPECT_TRUE(change(path, how, spec).starts_with("0 "));
      EXPECT_EQ(zolt_fault_calls("acl_init"), 2);
      EXPECT_EQ(objectsAlive(), 0);
    }
  }
  zolt_fault_clear();
  EXPECT_TRUE(set(path, ints({2, ACCESS, 2, 9, 6, ACCESS, 2, 9, 4})).starts_with("22 "));
  EXPECT_EQ(zolt_fault_calls("acl_to_text"), 1);
  EXPECT_EQ(objectsAlive(), 0);
  zolt_fault_clear();
  EXPECT_TRUE(remove(path, ints({2, DEFAULT, 32, 0, ACCESS, 32, 0})).starts_with("22 "));
  EXPECT_EQ(zolt_fault_calls("acl_to_text"), 1);
  EXPECT_EQ(objectsAlive(), 0);
}

// The lists are stored one by one, and a default list is completed from the access list as it then
// is.
TEST_P(FileAclTest, ADefaultListIsCompletedFromTheAccessListStoredBefore) {
  const std::string access = "user::r-x\ngroup::--x\nother::r--\n";
  for (const auto how : {AclChange::SET, AclChange::MODIFY}) {
    const std::string path = directory("u::rwx,g::rx,o::-");
    EXPECT_EQ(
        change(path, how, ints({4, ACCESS, 1, 5, ACCESS, 4, 1, ACCESS, 32, 4, DEFAULT, 2, 9, 6})),
        "");
    EXPECT_EQ(getfacl(path),
              access +
                  "default:user::r-x\ndefault:user:9:rw-\ndefault:group::--x\ndefault:mask::rwx\n"
                  "default:other::r--\n\n");

    setfacl("-k --set u::rwx,g::rx,o::-", path);
    EXPECT_EQ(
        change(path, how, ints({4, DEFAULT, 2, 9, 6, ACCESS, 1, 5, ACCESS, 4, 1, ACCESS, 32, 4})),
        "");
    EXPECT_EQ(getfacl(path),
              access +
                  "default:user::rwx\ndefault:user:9:rw-\ndefault:group::r-x\ndefault:mask::rwx\n"
                  "default:other::---\n\n");
    setfacl("-k", path);
  }
}

// --- modify

TEST_P(FileAclTest, ModifyingMergesByKey) {
  const std::string path = file("u::rw,u:1:rwx,g::r,g:2:x,m::rwx,o::-");
  EXPECT_EQ(modify(path, ints({4, ACCESS, 2, 1, 4, ACCESS, 2, 2, 2, ACCESS, 4, 0, ACCESS, 32, 4})),
            "");
  EXPECT_EQ(
      getfacl(path),
      "user::rw-\nuser:1:r--\nuser:2:-w-\ngroup::---\ngroup:2:--x\nmask::rwx\nother::r--\n\n");
}

TEST_P(FileAclTest, AModifiedMaskIsKeptAndOtherwiseComputedAnew) {
  const std::string path = file("u::rw,u:1:rwx,g::r,m::-,o::-");
  EXPECT_EQ(modify(path, ints({2, ACCESS, 2, 2, 2, ACCESS, 16, 1})), "");
  EXPECT_EQ(getfacl(path),
            "user::rw-\nuser:1:rwx\nuser:2:-w-\ngroup::r--\nmask::--x\nother::---\n\n");
  EXPECT_EQ(modify(path, ints({1, ACCESS, 2, 1, 2})), "");
  EXPECT_EQ(getfacl(path),
            "user::rw-\nuser:1:-w-\nuser:2:-w-\ngroup::r--\nmask::rw-\nother::---\n\n");
}

TEST_P(FileAclTest, ADefaultListThatIsNotThereIsBegunFromTheAccessList) {
  const std::string path = directory("u::rwx,u:7:r,g::rx,m::rx,o::x");
  EXPECT_EQ(modify(path, ints({1, DEFAULT, 8, 5, 2})), "");
  EXPECT_EQ(getfacl(path),
            "user::rwx\nuser:7:r--\ngroup::r-x\nmask::r-x\nother::--x\n"
            "default:user::rwx\ndefault:group::r-x\ndefault:group:5:-w-\ndefault:mask::rwx\n"
            "default:other::--x\n\n");
}

TEST_P(FileAclTest, AMergeNamesThePathWhenTheResultIsMalformed) {
  const std::string path = file();
  EXPECT_EQ(
      remove(path, ints({1, ACCESS, 32, 0})),
      "22 " + path + ": Malformed access ACL \"user::rw-,group::r--,\": Missing or wrong entry");
}

// --- remove

TEST_P(FileAclTest, RemovingLeavesTheMaskAsItWas) {
  const std::string path = file("u::rw,u:1:rwx,u:2:w,g::r,m::rwx,o::-");
  EXPECT_EQ(remove(path, ints({1, ACCESS, 2, 1, -1})), "");
  EXPECT_EQ(getfacl(path), "user::rw-\nuser:2:-w-\ngroup::r--\nmask::rwx\nother::---\n\n");
}

TEST_P(FileAclTest, RemovingWhatIsNotThereStoresTheListAllTheSame) {
  const std::string path = file("u::rw,u:1:rwx,g::r,m::rwx,o::-");
  const std::string before = getfacl(path);
  EXPECT_EQ(remove(path, ints({1, ACCESS, 2, 99, 7})), "");
  EXPECT_EQ(getfacl(path), before);
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 1);
}

TEST_P(FileAclTest, AMaskThatNamedEntriesNeedCannotBeRemoved) {
  const std::string path = file("u::rw,u:1:rwx,g::r,m::rwx,o::-");
  EXPECT_TRUE(remove(path, ints({1, ACCESS, 16, 0})).starts_with("22 " + path + ": Malformed"));
  EXPECT_EQ(remove(path, ints({2, ACCESS, 16, 0, ACCESS, 2, 1, 0})), "");
  EXPECT_EQ(getfacl(path), "user::rw-\ngroup::r--\nother::---\n\n");
}

TEST_P(FileAclTest, RemovingEveryDefaultEntryRemovesTheList) {
  const std::string path = directory("u::rwx,g::rx,o::-", "u::rwx,u:3:r,g::-,m::r,o::-");
  EXPECT_EQ(remove(path, ints({5, DEFAULT, 1, 0, DEFAULT, 2, 3, 0, DEFAULT, 4, 0, DEFAULT, 16, 0,
                               DEFAULT, 32, 0})),
            "");
  EXPECT_EQ(getfacl(path), "user::rwx\ngroup::r-x\nother::---\n\n");
}

// --- removal of whole lists

TEST_P(FileAclTest, RemovingTheDefaultListLeavesTheAccessList) {
  const std::string path = directory("u::rwx,u:7:r,g::rx,m::rx,o::x", "u::rwx,g::-,o::-");
  EXPECT_EQ(outcome([&] { removeDefaultAcl(path, false).orThrow(); }), "");
  EXPECT_EQ(zolt_fault_calls("acl_set_file"), 0);
  EXPECT_EQ(outcome([&] { removeDefaultAcl(path, true).orThrow(); }), "");
  EXPECT_EQ(getfacl(path), "user::rwx\nuser:7:r--\ngroup::r-x\nmask::r-x\nother::--x\n\n");
  EXPECT_EQ(outcome([&] { removeDefaultAcl(path, true).orThrow(); }), "");
}

TEST_P(FileAclTest, RemovingTheDefaultListReportsItsFailure) {
  EXPECT_EQ(outcome([&] { removeDefaultAcl(dir / "none", true).orThrow(); }),
            "2 " + dir.path() + "/none");
  EXPECT_EQ(outcome([&] { removeDefaultAcl(dir / "none", false).orThrow(); }), "");
  // The kernel has nothing against a file's losing the default list that it cannot have.
  EXPECT_EQ(outcome([&] { removeDefaultAcl(file(), true).orThrow(); }), "");
}

TEST_P(FileAclTest, RemovingAllLeavesTheBaseEntries) {
  const std::string path = directory("u::rwx,u:7:r,g::rx,g:8:w,m::rwx,o::x", "u::rwx,g::-,o::-");
  EXPECT_EQ(outcome([&] { removeAcl(path, false).orThrow(); }), "");
  EXPECT_EQ(getfacl(path),
            "user::rwx\ngroup::r-x\nother::--x\n"
            "default:user::rwx\ndefault:group::---\ndefault:other::---\n\n");
  EXPECT_EQ(outcome([&] { removeAcl(path, true).orThrow(); }), "");
  EXPECT_EQ(getfacl(path), "user::rwx\ngroup::r-x\nother::--x\n\n");
}

TEST_P(FileAclTest, AFailureToClearKeepsTheDefaultList) {
  const std::string path = directory("u::rwx,u:7:r,g::rx,m::rx,o::x", "u::rwx,g::-,o::-");
  const std::string before = getfacl(path);
  zolt_fault_arm("acl_set_file", 1, 1, EIO);
  EXPECT_EQ(outcome([&] { removeAcl(path, true).orThrow(); }), "5 " + path);
  EXPECT_EQ(getfacl(path), before);
  zolt_fault_arm("acl_set_file", 2, 2, EIO);
  EXPECT_EQ(outcome([&] { removeAcl(path, true).orThrow(); }), "5 " + path);
  EXPECT_EQ(getfacl(path),
            "user::rwx\ngroup::r-x\nother::--x\n"
            "default:user::rwx\ndefault:group::---\ndefault:other::---\n\n");
  EXPECT_EQ(outcome([&] { removeAcl(dir / "none", true).orThrow(); }), "2 " + dir.path() + "/none");
}

// --- every call of libacl, each failing in its turn, in every operation

TEST_P(FileAclTest, WhateverFailsIsReportedAndFreed) {
  const std::string path =
      directory("u::rwx,u:7:r,g::rx,m::rx,o::x", "u::rwx,u:7:r,g::-,m::r,o::-");
  const std::string spec = ints({2, DEFAULT, 2, 9, 6, ACCESS, 2, 7, 4});
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"status",
       [&] {
         std::string bytes;
         aclStatus(path, true, bytes).orThrow();
       }},
      {"set",
       [&] {
         std::istringstream in(spec);
         changeAcl(path, in, AclChange::SET).orThrow();
       }},
      {"modify",
       [&] {
         std::istringstream in(spec);
         changeAcl(path, in, AclChange::MODIFY).orThrow();
       }},
      {"remove",
       [&] {
         std::istringstream in(spec);
         changeAcl(path, in, AclChange::REMOVE).orThrow();
       }},
      {"removeDefault", [&] { removeDefaultAcl(path, true).orThrow(); }},
      {"removeAcl", [&] { removeAcl(path, true).orThrow(); }},
  };
  ACL access(path, ACL_TYPE_ACCESS);
  ACL byDefault(path, ACL_TYPE_DEFAULT);
  const auto reset = [&] {
    access.set_file(path, false);
    byDefault.set_file(path, false);
    zolt_fault_clear();
  };
  int failures = 0;
  for (const auto& [name, operation] : operations) {
    for (const char* function :
         {"acl_init", "acl_create_entry", "acl_copy_entry", "acl_delete_entry", "acl_get_entry",
          "acl_check", "acl_add_perm", "acl_get_permset", "acl_calc_mask", "acl_get_qualifier",
          "acl_set_qualifier", "acl_get_tag_type", "acl_set_tag_type", "acl_get_file",
          "acl_set_file", "acl_get_perm"}) {
      reset();
      operation();
      EXPECT_EQ(objectsAlive(), 0);
      const int calls = zolt_fault_calls(function);
      for (int nth = 1; nth <= calls; ++nth, ++failures) {
        reset();
        zolt_fault_arm(function, nth, nth, EDEADLK);
        EXPECT_TRUE(outcome(operation).starts_with("35 ")) << name << " " << function << " " << nth;
        EXPECT_EQ(objectsAlive(), makesObjects(function) ? 1 : 0)
            << name << " " << function << " " << nth;
      }
    }
  }
  EXPECT_GT(failures, 250);
}

}  // namespace
}  // namespace zolt
