// Eight threads, each in everything at once: what one does is never seen in another's answers.
// Under ThreadSanitizer (make tsan) it is also what finds shared state.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "acl/acl_util.h"
#include "acl/file_acl.h"
#include "acl_helpers.h"
#include "base/io_exception.h"
#include "base/modified_utf8.h"
#include "blocks/block_locations.h"
#include "faults.h"
#include "file_status_fixture.h"
#include "identity/fs_account.h"
#include "identity/groups.h"
#include "identity/names.h"
#include "listing_fixture.h"
#include "log_capture.h"
#include "placement/placement.h"
#include "status/failed_path.h"
#include "status/file_status.h"
#include "status/links.h"
#include "status/mounts.h"
#include "status/setters.h"
#include "thread_identity.h"
#include "xattr/lease.h"
#include "xattr/xattr.h"

namespace zolt {
namespace {

using namespace test;

constexpr int THREADS = 8;
constexpr int ROUNDS = 40;
constexpr int FIRST_ID = 70100;

// What one thread does, on a directory of its own and on one that all share.
class Worker {
 public:
  Worker(const TempDir& dir, int number) : dir_(dir), number_(number) {
    const std::string name = "worker" + std::to_string(number);
    own_ = dir / name;
    file_ = dir.file(name + ".data", std::string(static_cast<size_t>(number) + 1, 'x'));
    mkdir(own_.c_str(), 0755);
    user_ = "user" + std::to_string(number);
  }

  void run() {
    // The fault library keeps its users per thread, as it keeps everything.
    zolt_fault_user(user_.c_str(), id(), id(), 0);
    for (int round = 0; round < ROUNDS; ++round) {
      list();
      identity();
      status();
      attributes();
      lease(round);
      acls();
      blocks();
      names();
    }
    zolt_fault_clear();
  }

 private:
  unsigned id() const { return static_cast<unsigned>(FIRST_ID + number_); }

  void list() {
    std::vector<char> memory(200);
    size_t records = 0;
    bool more = true;
    while (more) {
      Buffer<char> out;
      out.setBuffer(memory.data(), memory.size());
      getDirents(dir_.path(), out, false, more).orThrow();
      records += parse(memory).size();
    }
    EXPECT_EQ(records, 2U * THREADS);
    int count = 0;
    EXPECT_FALSE(getDirentCount(dir_.path(), count));
    EXPECT_EQ(count, 2 * THREADS);
  }

  void identity() {
    const ThreadIdentity before = test::identity();
    {
      const FSAccount account(user_);
      EXPECT_EQ(test::identity(), (ThreadIdentity{id(), id(), {id()}}));
      dump_gid("threads");
      EXPECT_EQ(test::identity(), (ThreadIdentity{id(), id(), {id()}}));
    }
    EXPECT_EQ(test::identity().fsuid, before.fsuid);
    EXPECT_EQ(test::identity().fsgid, before.fsgid);
  }

  void status() {
    Memory memory;
    const FileTime never{-1, 0};
    bool written = false;
    EXPECT_EQ(getFileStatus(file_.c_str(), true, true, never, never, memory, written), 0);
    EXPECT_TRUE(written);
    EXPECT_EQ(memory.at<int64_t>(8), number_ + 1);
    EXPECT_EQ(getFileStatusFast(file_.c_str(), true, never, memory, written), 0);
    EXPECT_TRUE(written);
    EXPECT_EQ(memory.at<int64_t>(8), number_ + 1);
    bool changed = false;
    EXPECT_EQ(isCMTimeChanged(file_.c_str(), true, never, never, changed), 0);
    EXPECT_TRUE(changed);
    const std::string none = own_ + "/none";
    EXPECT_EQ(getFileStatus(none.c_str(), true, true, never, never, memory, written), ENOENT);
    getFailedPath((own_ + "/none").c_str(), true);
  }

  void attributes() {
    const std::string value = user_ + "'s";
    EXPECT_EQ(zolt_setxattr(own_.c_str(), false, "user.name", value.data(), value.size(), 0), 0);
    XattrValue found;
    ASSERT_EQ(readXattr(own_.c_str(), false, "user.name", found), 0);
    EXPECT_EQ(std::string(found.bytes.get(), static_cast<size_t>(found.length)), value);
    char* list = nullptr;
    EXPECT_GT(zolt_listxattrs(own_.c_str(), false, &list), 0);
    delete[] list;
    EXPECT_EQ(zolt_removexattr(own_.c_str(), false, "user.name"), 0);
    EXPECT_EQ(zolt_removexattr(own_.c_str(), false, "user.name"), -ENODATA);
  }

  void lease(int round) {
    int64_t now = 0;
    ASSERT_EQ(readLeaseClock(now), 0);
    const std::string holder = user_ + "#" + std::to_string(round);
    EXPECT_EQ(setLease(file_.c_str(), true, holder, now, [] {}).error, 0);
    EXPECT_EQ(renewLease(file_.c_str(), true, now).error, 0);
    XattrValue found;
    EXPECT_EQ(getLease(file_.c_str(), true, 100, 1000, now, found).error, 0);
    ASSERT_NE(found.bytes, nullptr);
    EXPECT_EQ(std::string(found.bytes.get(), static_cast<size_t>(found.length)), holder);
    EXPECT_EQ(removeLease(file_.c_str(), true).error, 0);
  }

  // The second one is refused, and its text asks the user database.
  void acls() {
    const int named = static_cast<int>(id());
    change(
        ints({5, ACCESS, 1, 7, ACCESS, 2, named, 6, ACCESS, 4, 5, ACCESS, 16, 7, ACCESS, 32, 0}));
    try {
      change(ints({2, ACCESS, 2, named, 6, ACCESS, 2, named, 4}));
      ADD_FAILURE() << "a list with the same user twice was stored";
    } catch (const IOException& error) {
      EXPECT_EQ(error.code(), EINVAL);
    }
    std::string bytes;
    aclStatus(own_, true, bytes).orThrow();
    EXPECT_EQ(bytes, ints({ACCESS, 1, 7, ACCESS, 2, named, 6, ACCESS, 4, 5, ACCESS, 16, 7, ACCESS,
                           32, 0}));
    removeAcl(own_, true).orThrow();
  }

  void change(const std::string& stream) {
    std::istringstream spec(stream);
    changeAcl(own_, spec, AclChange::SET).orThrow();
  }

  void blocks() {
    changeReplication(file_, short{2}, true).orThrow();
    changeBGF(file_, 1 + number_).orThrow();
    for (const StorageType type : {FS_BLOCKS, SIZES_ONLY, HDFS_BLOCKS, RANKED_NODES}) {
      std::array<int, 16> words{};
      const LentMemory lent{reinterpret_cast<char*>(words.data()), sizeof words};
      EXPECT_EQ(getBlockLocations(file_, type, true, 0, -1, std::nullopt, lent), 0);
      EXPECT_EQ(words.back(), -1);
    }
  }

  void names() {
    uint32_t uid = 0;
    uint32_t gid = 0;
    username_to_uidgid(user_, uid, gid).orThrow();
    EXPECT_EQ(uid, id());
    std::string name;
    uid_to_usrname(id(), name).orThrow();
    EXPECT_EQ(name, user_);
    gid_to_grpname(0, name).orThrow();
    EXPECT_EQ(name, "root");
    mountDevice("/proc", "proc");
    EXPECT_EQ(toModifiedUtf8("\xff"), "\xED\xB3\xBF");
  }

  const TempDir& dir_;
  int number_;
  std::string own_;
  std::string file_;
  std::string user_;
};

TEST(Threads, DoNotSeeOneAnother) {
  ACLUtil::init();
  const TempDir dir;
  const LogCapture log;  // with everything logged
  const long descriptors = openDescriptors();
  std::vector<Worker> workers;
  for (int number = 0; number < THREADS; ++number)
    workers.emplace_back(dir, number);
  std::vector<std::thread> threads;
  for (Worker& worker : workers)
    threads.emplace_back(&Worker::run, &worker);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
}  // namespace zolt
