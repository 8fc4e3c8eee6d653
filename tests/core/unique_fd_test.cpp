#include "base/unique_fd.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "faults.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::TempDir;

struct OpenToReadTest : testing::Test {
  ~OpenToReadTest() override { zolt_fault_clear(); }

  TempDir dir;
  std::string file = dir.file("file");
};

TEST_F(OpenToReadTest, TheDescriptorIsTheLibrarysOwnAndNeverWaits) {
  UniqueFd fd;
  ASSERT_EQ(openToRead(file.c_str(), 0, fd), 0);
  EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(fcntl(fd.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(OpenToReadTest, AFifoIsNotWaitedFor) {
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
  UniqueFd fd;
  EXPECT_EQ(openToRead(fifo.c_str(), 0, fd), 0);
}

TEST_F(OpenToReadTest, FlagsAreAdded) {
  ASSERT_EQ(symlink("file", (dir / "link").c_str()), 0);
  UniqueFd fd;
  EXPECT_EQ(openToRead((dir / "link").c_str(), O_NOFOLLOW, fd), ELOOP);
  EXPECT_EQ(fd.get(), -1);
}

// The kernel asks the holder with a signal to give the lease back; it does so while the open waits.
TEST_F(OpenToReadTest, ALeaseThatIsBeingBrokenIsWaitedFor) {
  sigset_t broken;
  sigemptyset(&broken);
  sigaddset(&broken, SIGIO);
  sigset_t before;
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &broken, &before), 0);
  const UniqueFd leased(open(file.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(fcntl(leased.get(), F_SETLEASE, F_WRLCK), 0);
  UniqueFd fd;
  Errno error(EINTR);
  std::thread reader([&] { error = openToRead(file.c_str(), 0, fd); });
  const timespec limit{20, 0};
  EXPECT_EQ(sigtimedwait(&broken, nullptr, &limit), SIGIO);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(fcntl(leased.get(), F_SETLEASE, F_UNLCK), 0);
  reader.join();
  EXPECT_EQ(error, 0);
  // each open that met the lease has sent its signal
  const timespec none{0, 0};
  while (sigtimedwait(&broken, nullptr, &none) == SIGIO)
    continue;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(OpenToReadTest, AnOpenThatWouldWaitIsMadeAgainAndWaits) {
  zolt_fault_arm("open", 1, 1, EAGAIN);
  UniqueFd fd;
  EXPECT_EQ(openToRead(file.c_str(), 0, fd), 0);
  EXPECT_EQ(zolt_fault_calls("open"), 2);
}

TEST_F(OpenToReadTest, AnyOtherErrorIsTheAnswer) {
  for (const int error : {EINTR, EACCES, EMFILE}) {
    zolt_fault_arm("open", 1, 1, error);
    UniqueFd fd;
    EXPECT_EQ(openToRead(file.c_str(), 0, fd), error);
    EXPECT_EQ(fd.get(), -1);
    EXPECT_EQ(zolt_fault_calls("open"), 1);
  }
}

}  // namespace
}  // namespace zolt
