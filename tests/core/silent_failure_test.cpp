// A call that fails and says nothing in errno has failed with EIO: never with 0, which would pass
// for success, and never with what an earlier call left there.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <sstream>

#include "acl/acl.h"
#include "acl/file_acl.h"
#include "base/io_exception.h"
#include "blocks/block_locations.h"
#include "dirents/listing.h"
#include "faults.h"
#include "file_status_fixture.h"
#include "identity/groups.h"
#include "placement/placement.h"
#include "status/links.h"
#include "status/setters.h"
#include "status/stat.h"
#include "xattr/lease.h"
#include "xattr/xattr.h"

namespace zolt {
namespace {

using test::Memory;
using test::NEVER;

struct SilentFailureTest : test::FileStatusFixture {
  struct Case {
    const char* call;
    std::function<int()> error;  // what the work that makes the call answers as its error
  };

  // 0 for work that ends well.
  static std::function<int()> thrown(std::function<void()> work) {
    return [work = std::move(work)] {
      try {
        work();
        return 0;
      } catch (const IOException& error) {
        return error.code();
      }
    };
  }

  std::function<int()> locations(StorageType type) {
    return [this, type] {
      return getBlockLocations(file_, type, true, 0, 9, std::nullopt, std::nullopt).value();
    };
  }

  std::function<int()> withStat(const std::string& path) {
    return [path] {
      struct stat st;
      return getStat(path.c_str(), true, st);
    };
  }

  std::function<int()> withStatX() {
    return [this] {
      zolt_iattr64 attr;
      return getStatX(file_.c_str(), attr);
    };
  }

  std::function<int()> fullStatus() {
    return [this] { return full(file_).error.value(); };
  }

  std::function<int()> listing() {
    return thrown([this] {
      char memory[100];
      Buffer<char> out;
      out.setBuffer(static_cast<char*>(memory), sizeof memory);
      bool more = false;
      getDirents(dir_.path(), out, false, more).orThrow();
    });
  }

  std::function<int()> xattr(bool follow, const std::function<int(const char*, bool)>& work) {
    return [this, follow, work] { return -work(file_.c_str(), follow); };
  }

  std::vector<Case> cases();

  std::string link_ = dir_ / "link";
};

std::vector<SilentFailureTest::Case> SilentFailureTest::cases() {
  const auto get = [](const char* path, bool follow) {
    XattrValue value;
    return -readXattr(path, follow, "user.set", value).value();
  };
  const auto set = [](const char* path, bool follow) {
    return zolt_setxattr(path, follow, "user.new", "v", 1, 0);
  };
  const auto remove = [](const char* path, bool follow) {
    return zolt_removexattr(path, follow, "user.new");
  };
  const auto switchTo = [](const char* user) {
    return thrown([user] { const FSAccount account(user); });
  };
  const auto changeAccess = [this](AclChange change) {
    return thrown([this, change] {
      const int32_t spec[] = {1, ACL_TYPE_ACCESS, ACL_USER, 70001, 4};
      std::istringstream in(std::string(reinterpret_cast<const char*>(spec), sizeof spec));
      changeAcl(file_, in, change).orThrow();
    });
  };
  return {
      {"lstat", withStat(file_)},
      {"stat", withStat(link_)},
      {"zolt_stat_x", withStatX()},
      {"stat", fullStatus()},
      {"open", fullStatus()},
      {"zolt_fstat_x", fullStatus()},
      {"zolt_fcntl", fullStatus()},
      {"fgetxattr", fullStatus()},
      {"lstat",
       [this] {
         bool changed = false;
         return isCMTimeChanged(file_.c_str(), true, NEVER, NEVER, changed).value();
       }},
      {"readlink",
       [this] {
         LinkTarget target;
         return readTarget(link_.c_str(), 4, target).value();
       }},
      {"chmod", [this] { return setPermission(file_.c_str(), 0600).value(); }},
      {"utimensat", [this] { return setTimes(file_.c_str(), 1, 1).value(); }},
      {"opendir", listing()},
      {"getgrouplist", switchTo("alice")},
      {"opendir", thrown([this] {
         int count = 0;
         getDirentCount(dir_.path(), count).orThrow();
       })},
      {"lstat", locations(FS_BLOCKS)},
      {"open", locations(FS_BLOCKS)},
      {"zolt_fcntl", locations(FS_BLOCKS)},
      {"zolt_fcntl", locations(SIZES_ONLY)},
      {"zolt_fcntl", locations(RANKED_NODES)},
      {"open", thrown([this] { changeReplication(file_, 2, false).orThrow(); })},
      {"zolt_fcntl", thrown([this] { changeReplication(file_, 2, false).orThrow(); })},
      {"zolt_restripe_file", thrown([this] { changeReplication(file_, 2, true).orThrow(); })},
      {"zolt_fcntl", thrown([this] { changeBGF(file_, 2).orThrow(); })},
      {"getxattr", xattr(true, get)},
      {"lgetxattr", xattr(false, get)},
      {"setxattr", xattr(true, set)},
      {"lsetxattr", xattr(false, set)},
      {"removexattr", xattr(true, remove)},
      {"lremovexattr", xattr(false, remove)},
      {"clock_gettime",
       [] {
         int64_t now = 0;
         return readLeaseClock(now).value();
       }},
      {"syscall_setgroups", switchTo("alice")},
      {"setfsuid", switchTo("alice")},
      {"setfsgid", switchTo("alice")},
      {"acl_get_file", thrown([this] {
         std::string bytes;
         aclStatus(file_, false, bytes).orThrow();
       })},
      {"acl_from_text", thrown([] {
         const uint32_t type = ACL_TYPE_ACCESS;
         const std::string text = "user::rw-\ngroup::r--\nother::---\n";
         ACL list((std::string(reinterpret_cast<const char*>(&type), sizeof type) + text).c_str());
       })},
      {"acl_set_file", changeAccess(AclChange::SET)},
      {"acl_calc_mask", changeAccess(AclChange::SET)},
      {"acl_copy_entry", changeAccess(AclChange::MODIFY)},
  };
}

TEST_F(SilentFailureTest, IsAnInputOutputError) {
  ASSERT_TRUE(ACLUtil::init());
  ASSERT_EQ(0, symlink("file", link_.c_str()));
  ASSERT_EQ(0, zolt_setxattr(file_.c_str(), true, "user.set", "value", 5, 0));
  test::onThread([this] {
    zolt_fault_user("alice", 70001, 70002, 0);
    for (const Case& each : cases()) {
      zolt_fault_arm(each.call, 1, 1, 0);
      EXPECT_EQ(EIO, each.error()) << each.call;
      EXPECT_GE(zolt_fault_calls(each.call), 1) << each.call;
      zolt_fault_arm(each.call, 0, 0, 0);
    }
  });
}

// The second of the two calls of a list, whose first has told its length.
TEST_F(SilentFailureTest, OfAListIsAnInputOutputErrorToo) {
  ASSERT_EQ(0, zolt_setxattr(file_.c_str(), true, "user.set", "value", 5, 0));
  for (const bool follow : {true, false}) {
    zolt_fault_arm(follow ? "listxattr" : "llistxattr", 2, 2, 0);
    char* names = nullptr;
    EXPECT_EQ(-EIO, zolt_listxattrs(file_.c_str(), follow, &names));
  }
}

// The client is a library of others: an errno that stood there before is not its answer.
TEST_F(SilentFailureTest, OfTheClientIsNotWhatStoodInErrnoBefore) {
  const Case clients[] = {
      {"zolt_stat_x", withStatX()},
      {"zolt_fstat_x", fullStatus()},
      {"zolt_fcntl", fullStatus()},
      {"zolt_fcntl", locations(FS_BLOCKS)},
      {"zolt_restripe_file", thrown([this] { changeReplication(file_, 2, true).orThrow(); })},
  };
  for (const Case& each : clients) {
    zolt_fault_arm(each.call, 1, 1, -1);
    errno = ENOENT;
    EXPECT_EQ(EIO, each.error()) << each.call;
  }
}

}  // namespace
}  // namespace zolt
