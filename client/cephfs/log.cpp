#include "log.h"

#include <fcntl.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <string>

#include "settings.h"

namespace zolt_cephfs {

namespace {

// The file is the service's, and the line may be about a call for one of its users: whose ids the
// thread has for the file system then (setfsuid(2)).
class AsService {
 public:
  AsService() : group_(setfsgid(getegid())), user_(setfsuid(geteuid())) {}
  ~AsService() {
    setfsuid(static_cast<uid_t>(user_));
    setfsgid(static_cast<gid_t>(group_));
  }
  AsService(const AsService&) = delete;
  AsService& operator=(const AsService&) = delete;

 private:
  int group_;
  int user_;
};

// Opened for each line: they are few, and whoever rotates the file may take it away in between.
void write(const std::string& line) {
  const AsService rights;
  const std::string& file = settings().logFile;
  const int fd = file.empty() ? STDERR_FILENO
                              : open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return;
  [[maybe_unused]] const ssize_t written = ::write(fd, line.data(), line.size());
  if (fd != STDERR_FILENO) close(fd);
}

}  // namespace

void log(std::string_view text) noexcept {
  const int error = errno;
  try {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::array<char, 32> stamp{};
    gmtime_r(&now, &utc);
    std::strftime(stamp.data(), stamp.size(), "%FT%TZ", &utc);
    std::string line(stamp.data());
    line.append(" libzolt: ").append(text).append("\n");
    write(line);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the line is lost
  }
  errno = error;
}

}  // namespace zolt_cephfs
