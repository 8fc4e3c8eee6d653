#include "identity/groups.h"

#include <grp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "base/io_exception.h"
#include "base/logger2.h"

namespace zolt {

namespace {

// Each id after one space.
struct Listed {
  std::span<const gid_t> ids;

  friend std::ostream& operator<<(std::ostream& out, const Listed& list) {
    for (const gid_t id : list.ids)
      out << " " << id;
    return out;
  }
};

constexpr int FIRST_ROOM = 128;

}  // namespace

void setgroups(const char* user, uint32_t gid) {
  std::unique_ptr<gid_t[]> groups;
  int count = FIRST_ROOM;
  for (;;) {
    const int room = count;
    errno = 0;
    groups.reset(new (std::nothrow) gid_t[static_cast<size_t>(room)]());
    if (groups != nullptr &&
        getgrouplist(user != nullptr ? user : "", gid, groups.get(), &count) != -1)
      break;
    // The C library answers -1 and a larger count when the room is too small, and leaves the count
    // alone when it has no memory itself.
    if (groups == nullptr || count <= room) {
      const int error = errnoOfFailure();
      const std::string message = "failed to alloc " + std::to_string(room) + " gid buffer";
      ZOLT_WARN(message);
      throw IOException(message, error);
    }
  }

  const std::span<const gid_t> ids(groups.get(), static_cast<size_t>(count));
  ZOLT_DEBUG("setgroups:" << Listed{ids});
  if (syscall(SYS_setgroups, ids.size(), ids.data()) != 0) {
    const int error = errnoOfFailure();
    const std::string message =
        std::string("SYS_setgroups error for user=") + orNull(user) + " gid:" + std::to_string(gid);
    ZOLT_WARN(message);
    throw IOException(message, error);
  }
}

int dump_gid(const char* label) noexcept try {
  if (logger2::currentLevel > LOG_DEBUG) return 0;
  const int count = getgroups(0, nullptr);
  if (count < 0) return -errnoOfFailure();
  std::vector<gid_t> groups(static_cast<size_t>(count));
  const int filled = getgroups(count, groups.data());
  if (filled < 0) return -errnoOfFailure();

  Fmt text(nullptr);
  if (label != nullptr) text << label << " ";
  text << "(dump group ids):" << Listed{{groups.data(), static_cast<size_t>(filled)}};
  logger2::log(text.str(), LOG_DEBUG);
  return 0;
} catch (...) {
  return -ENOMEM;
}

}  // namespace zolt
