#include "status/file_status.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

#include "blocks/replication.h"
#include "faults.h"
#include "identity/fs_account.h"
#include "jni/io_exception.h"
#include "jni/settings.h"
#include "log_capture.h"
#include "temp_dir.h"
#include "thread_identity.h"

namespace zolt {
namespace {

using test::identity;
using test::LogCapture;
using test::onThread;
using test::openDescriptors;
using test::TempDir;
using test::ThreadIdentity;

constexpr FileTime NEVER{-1, 0};  // every file is later
constexpr unsigned BLOCK_SIZE_AT = 136;
constexpr unsigned REPLICATION_AT = 116;

// A buffer of 100 bytes that knows whether it was asked for.
class Memory {
 public:
  explicit Memory(unsigned long capacity = 100) : capacity_(capacity) {}

  BufferSource source() {
    return [this] {
      ++asked_;
      return StatusBuffer{capacity_ != 0 ? bytes_.data() : nullptr, capacity_};
    };
  }
  int asked() const { return asked_; }
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
  int asked_ = 0;
};

class FileStatusTest : public testing::Test {
 protected:
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
    return getFileStatus(path.c_str(), followLink, withLease, NEVER, NEVER, memory_.source());
  }

  StatusAnswer fast(const std::string& path) {
    memory_ = Memory();
    return getFileStatusFast(path.c_str(), true, NEVER, memory_.source());
  }

  void expectWritten(const StatusAnswer& answer) {
    EXPECT_TRUE(answer.written);
    EXPECT_EQ(0, answer.error);
    EXPECT_EQ(1, memory_.asked());
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

TEST_F(FileStatusTest, AFileInFull) {
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "client", 6, 0));
  attribute(REPLICATION_AT, 1, 200);
  attribute(BLOCK_SIZE_AT, 4, 4096);
  defaultBlockSize = 5000;
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const LogCapture log;
  expectWritten(full(file_));
  EXPECT_EQ(st.st_ino, memory_.at<uint64_t>(0));
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  EXPECT_EQ(st.st_mode, memory_.at<uint32_t>(24));
  EXPECT_EQ(8192U, memory_.blockSize());
  EXPECT_EQ(st.st_mtim.tv_sec, memory_.at<int64_t>(48));
  EXPECT_EQ(st.st_mtim.tv_nsec, memory_.at<int64_t>(56));
  EXPECT_EQ(0, memory_.at<uint16_t>(80));
  EXPECT_EQ(200, memory_.replication()) << "one byte without a sign";
  EXPECT_EQ(6, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(88));
  const auto time = [](const timespec& each) {
    return std::to_string(each.tv_sec) + "," + std::to_string(each.tv_nsec);
  };
  const std::string line =
      joined("", "path: ", file_, " ino: ", st.st_ino, " size: 5 mode ", st.st_mode,
             " uid: 0 gid 0 ", "mtime: ", time(st.st_mtim), " ctime: ", time(st.st_ctim),
             " blocksize 8192 rep 200 acl 0 lease 6 bgf 0");
  EXPECT_TRUE(log.has(LOG_TRACE, line)) << log.all();
}

TEST_F(FileStatusTest, AFileInItsFastForm) {
  attribute(REPLICATION_AT, 1, 3);
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const LogCapture log;
  zolt_fault_arm("open", 0, 0, 0);
  zolt_fault_arm("setfsuid", 0, 0, 0);
  expectWritten(fast(file_));
  EXPECT_EQ(0, zolt_fault_calls("open"));
  EXPECT_EQ(0, zolt_fault_calls("setfsuid"));
  EXPECT_EQ(st.st_ino, memory_.at<uint64_t>(0));
  EXPECT_EQ(0, memory_.at<uint16_t>(80));
  EXPECT_EQ(0xeeeeeeeeU, memory_.blockSize());
  EXPECT_EQ(0xeeee, memory_.replication());
  EXPECT_EQ(0xeeee, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(1U, log.bodies(LOG_TRACE).size()) << log.all();
  EXPECT_EQ(0U, log.bodies(LOG_TRACE)[0].find("path: " + file_ + " ino: ")) << log.all();
}

TEST_F(FileStatusTest, WhatIsNoRegularFileHasNoBlocks) {
  defaultBlockSize = 4096;
  attribute(REPLICATION_AT, 1, 3);
  const std::string fifo = dir_ / "fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0644));
  ASSERT_EQ(0, setxattr(dir_.path().c_str(), "user.lease.holder", "client", 6, 0));
  zolt_fault_arm("zolt_fcntl", 0, 0, 0);
  zolt_fault_arm("fgetxattr", 0, 0, 0);
  for (const std::string& path : {dir_.path(), fifo}) {  // the FIFO has no writer to wait for
    expectWritten(full(path));
    EXPECT_EQ(0U, memory_.blockSize());
    EXPECT_EQ(0, memory_.replication());
    EXPECT_EQ(0, memory_.leaseLength());
  }
  EXPECT_EQ(0, zolt_fault_calls("zolt_fcntl"));
}

TEST_F(FileStatusTest, TheDefaultBlockSizeIsRoundedUpToWholeBlocks) {
  attribute(BLOCK_SIZE_AT, 4, 4096);
  const std::pair<uint64_t, uint32_t> cases[] = {
      {0, 0},
      {1, 4096},
      {4096, 4096},
      {4097, 8192},
      {134217728, 134217728},
      {0x100000001, 4096},      // stored as 32 bits
      {0xffffffffffffffff, 0},  // the sum wraps
  };
  for (const auto& [size, reported] : cases) {
    defaultBlockSize = size;
    expectWritten(full(file_));
    EXPECT_EQ(reported, memory_.blockSize()) << size;
  }
}

TEST_F(FileStatusTest, ABlockGroupFactorMultipliesTheBlockSize) {
  const int fd = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, setBGF(fd, 4));
  close(fd);
  defaultBlockSize = 1 << 20;
  const std::pair<int, uint32_t> cases[] = {
      {4096, 16384}, {1, 4}, {0x40000000, 0}, {0, 0}, {-1, 0xfffffffc}};
  for (const auto& [size, reported] : cases) {
    zolt_fault_attribute(0, 0, 0);
    attribute(BLOCK_SIZE_AT, 4, size);
    const LogCapture log;
    expectWritten(full(file_));
    EXPECT_EQ(reported, memory_.blockSize()) << size;
    EXPECT_TRUE(log.bodies(LOG_TRACE).back().ends_with(" bgf 4")) << log.all();
  }
}

TEST_F(FileStatusTest, ABlockSizeThatCannotDivideIsAnInputError) {
  attribute(REPLICATION_AT, 1, 3);
  for (const int size : {0, -1, -4096}) {
    attribute(BLOCK_SIZE_AT, 4, size);
    const StatusAnswer answer = full(file_);
    EXPECT_FALSE(answer.written);
    EXPECT_EQ(EIO, answer.error);
    EXPECT_EQ(0U, memory_.blockSize());
    EXPECT_EQ(3, memory_.replication());
  }
}

TEST_F(FileStatusTest, WithoutAFactorFromTheClientTheRecordEndsBeforeIt) {
  attribute(REPLICATION_AT, 1, 3);
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "client", 6, 0));
  defaultBlockSize = 4096;
  const LogCapture log;
  zolt_fault_arm("zolt_fcntl", 1, 1, ENOSYS);
  const StatusAnswer answer = full(file_);
  EXPECT_FALSE(answer.written);
  EXPECT_EQ(ENOSYS, answer.error);
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  EXPECT_EQ(0U, memory_.blockSize());
  EXPECT_EQ(3, memory_.replication());
  EXPECT_EQ(0, memory_.leaseLength());
  EXPECT_EQ(0xeeee, memory_.at<uint16_t>(86));
  EXPECT_EQ(std::vector{"getBGF faied with 38 for " + file_}, log.bodies(LOG_ERROR));
}

TEST_F(FileStatusTest, TheLeaseIsItsHoldersLength) {
  expectWritten(full(file_));
  EXPECT_EQ(0, memory_.leaseLength()) << "none";
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", "", 0, 0));
  expectWritten(full(file_));
  EXPECT_EQ(0, memory_.leaseLength()) << "an empty one";
  const std::string holder(300, 'x');
  ASSERT_EQ(0, setxattr(file_.c_str(), "user.lease.holder", holder.data(), holder.size(), 0));
  expectWritten(full(file_));
  EXPECT_EQ(300, memory_.leaseLength());
  expectWritten(full(file_, true, false));
  EXPECT_EQ(0, memory_.leaseLength()) << "not asked for";
}

TEST_F(FileStatusTest, ALeaseThatCannotBeReadEndsTheRecordBeforeIt) {
  attribute(REPLICATION_AT, 1, 3);
  attribute(BLOCK_SIZE_AT, 4, 4096);
  defaultBlockSize = 1;
  // Those before it are the client's, for lists and factor.
  zolt_fault_arm("fgetxattr", 0, 0, 0);
  expectWritten(full(file_));
  const int last = zolt_fault_calls("fgetxattr");
  for (const int error : {EIO, EOPNOTSUPP, EACCES}) {
    const LogCapture log;
    zolt_fault_arm("fgetxattr", last, last, error);
    const StatusAnswer answer = full(file_);
    EXPECT_FALSE(answer.written);
    EXPECT_EQ(error, answer.error);
    EXPECT_EQ(4096U, memory_.blockSize());
    EXPECT_EQ(3, memory_.replication());
    EXPECT_EQ(0, memory_.leaseLength());
    EXPECT_EQ(std::vector{"fgetxattr faied with " + std::to_string(error) + " for " + file_},
              log.bodies(LOG_ERROR));
  }
  zolt_fault_arm("fgetxattr", last, last, ENODATA);
  expectWritten(full(file_));
}

// Times of a file around a known one: before, the same, after, by seconds and by nanoseconds.
struct Known {
  FileTime time;
  bool fileIsLater;
};

// The file's own time is 100 s and 500 ns.
constexpr Known KNOWN[] = {
    {{99, 500}, true},   {{99, 999999999}, true}, {{100, 499}, true}, {{100, 500}, false},
    {{100, 501}, false}, {{101, 0}, false},       {{0, 0}, true},     {{-1, 999}, true},
};

TEST_F(FileStatusTest, TheFullFormNeedsBothTimesLater) {
  for (const unsigned offset : {96U, 120U}) {
    attribute(offset, 8, 100);
    attribute(offset + 8, 8, 500);
  }
  for (const Known& ctime : KNOWN) {
    for (const Known& mtime : KNOWN) {
      Memory memory;
      const LogCapture log;
      const StatusAnswer answer =
          getFileStatus(file_.c_str(), true, true, ctime.time, mtime.time, memory.source());
      const bool changed = ctime.fileIsLater && mtime.fileIsLater;
      EXPECT_EQ(changed, answer.written);
      EXPECT_EQ(0, answer.error);
      EXPECT_EQ(changed ? 1 : 0, memory.asked());
      EXPECT_EQ(!changed, memory.untouched());
      EXPECT_EQ(!changed,
                log.has(LOG_TRACE, "not changed: " + file_ + " mtime: 100,500 ctime: 100,500"))
          << log.all();
    }
  }
}

// A file that was changed after it was modified, as after a chmod: each time has its own to meet.
TEST_F(FileStatusTest, EachTimeIsComparedWithItsOwn) {
  attribute(96, 8, 100);
  attribute(104, 8, 500);
  attribute(120, 8, 200);
  attribute(128, 8, 700);
  const auto written = [this](const FileTime& ctime, const FileTime& mtime) {
    Memory memory;
    return getFileStatus(file_.c_str(), true, false, ctime, mtime, memory.source()).written;
  };
  EXPECT_TRUE(written({150, 0}, {50, 0}));
  EXPECT_TRUE(written({200, 699}, {100, 499}));
  EXPECT_FALSE(written({50, 0}, {150, 0}));
  EXPECT_FALSE(written({250, 0}, {0, 0}));

  const timespec old[] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, file_.c_str(), old, 0));
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  bool changed = true;
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, {1000, 0}, changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, {999, 0}, changed));
  EXPECT_TRUE(changed);
}

TEST_F(FileStatusTest, TheFastFormLooksAtTheStatusChangeAlone) {
  attribute(96, 8, 1);
  attribute(120, 8, 100);
  attribute(128, 8, 500);
  for (const Known& ctime : KNOWN) {
    Memory memory;
    const StatusAnswer answer = getFileStatusFast(file_.c_str(), true, ctime.time, memory.source());
    EXPECT_EQ(ctime.fileIsLater, answer.written);
    EXPECT_EQ(0, answer.error);
    EXPECT_EQ(ctime.fileIsLater ? 1 : 0, memory.asked());
    EXPECT_EQ(!ctime.fileIsLater, memory.untouched());
  }
}

TEST_F(FileStatusTest, NanosecondsHaveNoSign) {
  attribute(120, 8, 100);
  attribute(128, 4, -1);
  Memory memory;
  EXPECT_TRUE(getFileStatusFast(file_.c_str(), true, {100, 999999999}, memory.source()).written);
}

TEST_F(FileStatusTest, OneLaterTimeIsAChangeToTheTest) {
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  const FileTime mtime{st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
  const auto before = [](const FileTime& time, int64_t seconds, int64_t nanoseconds) {
    return FileTime{time.seconds - seconds, time.nanoseconds - nanoseconds};
  };
  const struct {
    FileTime ctime;
    FileTime mtime;
    bool changed;
  } cases[] = {
      {ctime, mtime, false},
      {before(ctime, 0, 1), mtime, true},
      {ctime, before(mtime, 0, 1), true},
      {before(ctime, 1, -999999999), mtime, true},
      {ctime, before(mtime, 1, -999999999), true},
      {before(ctime, -1, 999999999), before(mtime, -1, 999999999), false},
      {before(ctime, 0, -1), before(mtime, 0, -1), false},
      {{0, 0}, {0, 0}, true},
  };
  for (const auto& each : cases) {
    const LogCapture log;
    bool changed = !each.changed;
    EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, each.ctime, each.mtime, changed));
    EXPECT_EQ(each.changed, changed);
    const std::string line =
        joined("", "path: ", file_, " mtime: ", mtime.seconds, ",", mtime.nanoseconds,
               " ctime: ", ctime.seconds, ",", ctime.nanoseconds);
    EXPECT_EQ(each.changed, log.has(LOG_TRACE, line)) << log.all();
  }
  bool changed = false;
  EXPECT_EQ(ENOENT, isCMTimeChanged((file_ + "/below").c_str(), true, NEVER, NEVER, changed));
  EXPECT_FALSE(changed);
}

TEST_F(FileStatusTest, ANewerModificationAloneIsNoChangeToTheFullForm) {
  struct stat st {};
  ASSERT_EQ(0, stat(file_.c_str(), &st));
  const FileTime ctime{st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  Memory memory;
  EXPECT_FALSE(getFileStatus(file_.c_str(), true, true, ctime, NEVER, memory.source()).written);
  bool changed = false;
  EXPECT_EQ(0, isCMTimeChanged(file_.c_str(), true, ctime, NEVER, changed));
  EXPECT_TRUE(changed);
}

TEST_F(FileStatusTest, ABufferMustHoldARecord) {
  for (const unsigned long capacity : {0UL, 1UL, 87UL}) {
    const std::string line =
        "Direct ByteBuffer length error: length " + std::to_string(capacity) + " type size 88";
    memory_ = Memory(capacity);
    const LogCapture log;
    expectError(EINVAL, getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_.source()));
    expectError(EINVAL, getFileStatusFast(file_.c_str(), true, NEVER, memory_.source()));
    EXPECT_EQ((std::vector{line, line}), log.bodies(LOG_ERROR));
  }
  memory_ = Memory(88);
  expectWritten(getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_.source()));
  memory_ = Memory(~0UL);  // a capacity has no sign
  expectWritten(getFileStatus(file_.c_str(), true, true, NEVER, NEVER, memory_.source()));
}

TEST_F(FileStatusTest, TheCallerIsJudgedAndTheSuperuserReads) {
  ASSERT_EQ(0, chmod(file_.c_str(), 0600));
  std::filesystem::create_directory(dir_ / "locked");
  const std::string below = dir_.file("locked/file");
  ASSERT_EQ(0, chmod((dir_ / "locked").c_str(), 0700));
  onThread([&] {
    zolt_fault_user("alice", 70001, 70002, 0);
    const FSAccount alice("alice");
    const ThreadIdentity before = identity();
    expectWritten(full(file_));
    EXPECT_EQ(before, identity());
    for (const bool followLink : {true, false}) {
      const LogCapture log;
      expectError(EACCES, full(below, followLink));
      EXPECT_EQ(before, identity());
      EXPECT_TRUE(log.has(LOG_DEBUG, "stat failed with 13 for " + below + " followLink " +
                                         (followLink ? "1" : "0")))
          << log.all();
      EXPECT_EQ("getStat error (dump group ids): 70002", log.lines()[0].text);
    }
  });
}

TEST_F(FileStatusTest, TheFastFormIsTheCallersAlone) {
  std::filesystem::create_directory(dir_ / "locked");
  const std::string below = dir_.file("locked/file");
  ASSERT_EQ(0, chmod((dir_ / "locked").c_str(), 0700));
  onThread([&] {
    zolt_fault_user("alice", 70001, 70002, 0);
    const FSAccount alice("alice");
    const LogCapture log(LOG_DEBUG);
    expectError(EACCES, fast(below));
    EXPECT_EQ(70001U, identity().fsuid);
  });
}

TEST_F(FileStatusTest, AlwaysSuperChecksAndSwitchesNothing) {
  alwaysSuper = true;
  for (const char* call : {"stat", "lstat", "setfsuid", "setfsgid", "syscall_setgroups"})
    zolt_fault_arm(call, 0, 0, 0);
  expectWritten(full(file_));
  for (const char* call : {"stat", "lstat", "setfsuid", "setfsgid", "syscall_setgroups"})
    EXPECT_EQ(0, zolt_fault_calls(call)) << call;
}

TEST_F(FileStatusTest, LinksAreFollowedWhenAsked) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  expectWritten(full(link, true));
  EXPECT_EQ(5U, memory_.at<uint64_t>(8));
  const LogCapture log;
  expectError(ELOOP, full(link, false));
  EXPECT_TRUE(log.has(LOG_DEBUG, "open failed with 40 for " + link)) << log.all();
  expectWritten(full(file_, false));
}

TEST_F(FileStatusTest, MissingPathsAreEnoentHoweverTheyAreMissing) {
  for (const bool followLink : {true, false}) {
    for (const std::string& path : {dir_ / "none", file_ + "/below"}) {
      const LogCapture log(LOG_DEBUG);
      expectError(ENOENT, full(path, followLink));
      const std::string raw = path == dir_ / "none" ? "2" : "20";
      EXPECT_EQ(std::vector{"stat failed with " + raw + " for " + path + " followLink " +
                            (followLink ? "1" : "0")},
                log.bodies(LOG_DEBUG));
    }
  }
  const LogCapture log(LOG_DEBUG);
  expectError(ENOENT, fast(dir_ / "none"));
}

// The descriptor, its flags, and nothing left of it afterwards.
TEST_F(FileStatusTest, TheDescriptorIsTheCallsOwn) {
  const long before = openDescriptors();
  std::string flags;
  const BufferSource source = [&] {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code ignored;
      if (std::filesystem::read_symlink(entry, ignored) != file_) continue;
      std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
      std::string line;
      while (std::getline(info, line)) {
        if (line.starts_with("flags:")) flags = line.substr(line.find_first_of("0123456789"));
      }
    }
    return StatusBuffer{nullptr, 0};
  };
  EXPECT_EQ(EINVAL, getFileStatus(file_.c_str(), true, true, NEVER, NEVER, source).error);
  const unsigned long opened = std::stoul(flags, nullptr, 8);
  EXPECT_EQ(static_cast<unsigned>(O_CLOEXEC | O_NONBLOCK),
            opened & static_cast<unsigned>(O_ACCMODE | O_CLOEXEC | O_NONBLOCK))
      << flags;
  EXPECT_EQ(before, openDescriptors());
}

// Each system call on the way failing once: the error, the identity, no descriptor.
TEST_F(FileStatusTest, EveryFailureLeavesTheCallersIdentityAndNoDescriptor) {
  const std::string link = dir_ / "link";
  ASSERT_EQ(0, symlink("file", link.c_str()));
  struct Failure {
    const char* call;
    int error;
    int reported;
  };
  const Failure failures[] = {
      {"stat", EACCES, EACCES},
      {"stat", ENOTDIR, ENOENT},
      {"stat", EIO, EIO},
      {"open", EMFILE, EMFILE},
      {"open", EACCES, EACCES},
      {"open", ENOTDIR, ENOTDIR},
      {"zolt_fstat_x", EIO, EIO},
      {"zolt_fstat_x", EACCES, EACCES},
      {"zolt_fcntl", ENOMEM, ENOMEM},
      {"zolt_fcntl", EIO, EIO},
      {"setfsuid", EPERM, -EPERM},
      {"setfsgid", EPERM, -EPERM},
      {"syscall_setgroups", EPERM, -EPERM},
  };
  for (const int level : {static_cast<int>(LOG_TRACE), static_cast<int>(LOG_OFF)}) {
    onThread([&] {
      zolt_fault_user("alice", 70001, 70002, 0);
      zolt_fault_user("root", 0, 0, 0);
      const FSAccount alice("alice");
      FSAccount::daemonGid = 12345;  // so that groups are set too
      for (const Failure& failure : failures) {
        const LogCapture log(level);
        const long before = openDescriptors();
        zolt_fault_arm(failure.call, 1, 1, failure.error);
        std::optional<int> thrown;
        StatusAnswer answer;
        try {
          answer = full(link);
        } catch (const IOException& error) {
          thrown = -error.code();
        }
        EXPECT_FALSE(answer.written);
        EXPECT_EQ(failure.reported, thrown.value_or(answer.error)) << failure.call;
        EXPECT_EQ(70001U, identity().fsuid) << failure.call;
        EXPECT_EQ(70002U, identity().fsgid) << failure.call;
        EXPECT_EQ(before, openDescriptors()) << failure.call;
        zolt_fault_arm(failure.call, 0, 0, 0);
      }
      FSAccount::daemonGid = getegid();
    });
  }
}

TEST_F(FileStatusTest, AtTraceAFailedExtendedStatIsDiagnosed) {
  for (const int level : {static_cast<int>(LOG_TRACE), static_cast<int>(LOG_DEBUG)}) {
    const LogCapture log(level);
    zolt_fault_arm("zolt_fstat_x", 1, 1, EIO);
    zolt_fault_arm("zolt_stat_x", 1, 1, EIO);
    expectError(EIO, full(file_));
    const auto diagnosed = [&log] { return log.all().find("@@@fails @") != std::string::npos; };
    EXPECT_EQ(level == LOG_TRACE, diagnosed()) << log.all();
    const LogCapture again(level);
    expectError(EIO, fast(file_));
    EXPECT_EQ(level == LOG_TRACE, diagnosed()) << again.all();
  }
}

}  // namespace
}  // namespace zolt
