#include "placement/placement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/io_exception.h"
#include "bytes.h"
#include "faults.h"
#include "log_capture.h"
#include "scripted_client.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

const ScriptedClient::Answer DONE = [](void*) { return 0; };

struct PlacementTest : ::testing::Test {
  ~PlacementTest() override {
    zolt_fault_clear();
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }

  // Failed with that errno and text, and said so once at error.
  template <class Work>
  static void fails(int error, const std::string& text, const Work& work) {
    const LogCapture log;
    try {
      work();
      ADD_FAILURE() << "no failure: " << text;
    } catch (const IOException& thrown) {
      EXPECT_EQ(thrown.code(), error);
      EXPECT_EQ(thrown.what(), text);
    }
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{text});
  }

  long descriptorsBefore = openDescriptors();
  TempDir dir;
  std::string path = dir.file("file");
  ScriptedClient client;
};

TEST_F(PlacementTest, ReplicationIsOneRequest) {
  client.next(DONE);
  const LogCapture log;
  changeReplication(path, 7, false).orThrow();
  ASSERT_EQ(client.calls().size(), 1U);
  EXPECT_EQ(client.calls()[0].request.substr(16, 8), Bytes().u32(40).u32(2005).str());
  EXPECT_EQ(client.calls()[0].request.substr(32, 4), Bytes().u32(7).str());
  EXPECT_EQ(log.bodies(LOG_TRACE), std::vector<std::string>{path + " replication 7"});
  EXPECT_TRUE(log.bodies(LOG_ERROR).empty());
}

TEST_F(PlacementTest, ARestripeFollowsOnTheSameDescriptor) {
  client.otherwise(DONE);
  changeReplication(path, -1, true).orThrow();
  ASSERT_EQ(client.calls().size(), 2U);
  EXPECT_FALSE(client.calls()[0].restripe);
  EXPECT_TRUE(client.calls()[1].restripe);
  EXPECT_EQ(client.calls()[0].fd, client.calls()[1].fd);
}

TEST_F(PlacementTest, FilesAreOpenedForReadingAndCannotHang) {
  int flags = 0;
  client.next([&](void*) {
    flags = fcntl(client.calls().back().fd, F_GETFL);
    EXPECT_EQ(fcntl(client.calls().back().fd, F_GETFD), FD_CLOEXEC);
    return 0;
  });
  changeBGF(path, 1).orThrow();
  EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
  EXPECT_NE(flags & O_NONBLOCK, 0);
}

TEST_F(PlacementTest, ReplicationOfWhatCannotBeOpened) {
  const std::string none = dir / "none";
  fails(ENOENT, "failed to open " + none, [&] { changeReplication(none, 3, true).orThrow(); });
  zolt_fault_arm("open", 1, 1, EACCES);
  fails(EACCES, "failed to open " + path, [&] { changeReplication(path, 3, true).orThrow(); });
  EXPECT_TRUE(client.calls().empty());
  const LogCapture log;
  EXPECT_TRUE(changeReplication(none, 3, true));
  EXPECT_EQ(log.bodies(LOG_TRACE), std::vector<std::string>{none + " replication 3"});
}

TEST_F(PlacementTest, ReplicationThatIsRefused) {
  client.next(failing(-1, EPERM));
  fails(EPERM, "failed to set replication for " + path,
        [&] { changeReplication(path, 3, true).orThrow(); });
  EXPECT_EQ(client.calls().size(), 1U);
}

TEST_F(PlacementTest, RestripeThatIsRefused) {
  client.next(DONE);
  client.next(failing(-1, EBUSY));
  fails(EBUSY, "failed to restripe file " + path,
        [&] { changeReplication(path, 3, true).orThrow(); });
}

TEST_F(PlacementTest, AClientThatFailsWithoutErrnoIsAnInputOutputError) {
  client.otherwise([](void*) { return -1; });
  fails(EIO, "failed to set replication for " + path,
        [&] { changeReplication(path, 3, true).orThrow(); });
  fails(EIO, "Failed to set BGF(8) for " + path, [&] { changeBGF(path, 8).orThrow(); });
  client.next(DONE);
  fails(EIO, "failed to restripe file " + path,
        [&] { changeReplication(path, 3, true).orThrow(); });
}

TEST_F(PlacementTest, FactorsFrom1To1024) {
  for (const int bgf : {1, 2, 1023, 1024}) {
    client.next(DONE);
    changeBGF(path, bgf).orThrow();
    EXPECT_EQ(client.calls().back().request.substr(20, 4), Bytes().u32(6002).str());
  }
  EXPECT_EQ(client.calls().size(), 4U);
}

TEST_F(PlacementTest, OtherFactorsAreInvalidAndNothingIsOpened) {
  for (const int bgf : {0, -1, 1025, 2147483647, -2147483647 - 1}) {
    zolt_fault_arm("open", 2, 1, 0);  // only to count
    fails(EINVAL, "Invalid BGF(" + std::to_string(bgf) + ")",
          [&] { changeBGF(path, bgf).orThrow(); });
    EXPECT_EQ(zolt_fault_calls("open"), 0);
  }
  fails(EINVAL, "Invalid BGF(0)", [&] { changeBGF(dir / "none", 0).orThrow(); });
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(PlacementTest, FactorOfWhatCannotBeOpened) {
  fails(ENOENT, "failed to open " + (dir / "none"), [&] { changeBGF(dir / "none", 1).orThrow(); });
  zolt_fault_arm("open", 1, 1, EMFILE);
  fails(EMFILE, "failed to open " + path, [&] { changeBGF(path, 1024).orThrow(); });
}

TEST_F(PlacementTest, FactorThatIsRefused) {
  client.next(failing(-1, EROFS));
  fails(EROFS, "Failed to set BGF(8) for " + path, [&] { changeBGF(path, 8).orThrow(); });
}

TEST_F(PlacementTest, LinksAreFollowedAndAFifoIsNotWaitedFor) {
  const std::string link = dir / "link";
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  struct stat opened {};
  client.otherwise([&](void*) { return fstat(client.calls().back().fd, &opened); });
  for (const auto& [name, target] :
       {std::pair{link, path}, std::pair{dir.path(), dir.path()}, std::pair{fifo, fifo}}) {
    struct stat wanted {};
    ASSERT_EQ(stat(target.c_str(), &wanted), 0);
    opened.st_ino = 0;
    changeBGF(name, 4).orThrow();
    EXPECT_EQ(opened.st_ino, wanted.st_ino) << name;
    opened.st_ino = 0;
    changeReplication(name, 2, false).orThrow();
    EXPECT_EQ(opened.st_ino, wanted.st_ino) << name;
  }
}

TEST_F(PlacementTest, AFileThatGotDescriptor0StaysOpen) {
  const int saved = dup(0);
  client.otherwise(DONE);
  close(0);
  changeReplication(path, 3, false).orThrow();
  EXPECT_EQ(client.calls().back().fd, 0);
  EXPECT_GE(fcntl(0, F_GETFD), 0);
  close(0);
  changeBGF(path, 3).orThrow();
  EXPECT_EQ(client.calls().back().fd, 0);
  EXPECT_GE(fcntl(0, F_GETFD), 0);
  close(0);
  client.next(failing(-1, EIO));
  fails(EIO, "Failed to set BGF(3) for " + path, [&] { changeBGF(path, 3).orThrow(); });
  EXPECT_GE(fcntl(0, F_GETFD), 0);
  dup2(saved, 0);
  close(saved);
}

}  // namespace
}  // namespace zolt
