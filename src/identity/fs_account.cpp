#include "identity/fs_account.h"

#include <sys/fsuid.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "base/io_exception.h"
#include "base/logger2.h"
#include "base/settings.h"
#include "identity/groups.h"
#include "identity/names.h"

namespace zolt {

uint32_t FSAccount::daemonUid = geteuid();
uint32_t FSAccount::daemonGid = getegid();

namespace {

constexpr uint32_t REFUSED = 0xffffffff;  // what setfsuid(2) and setfsgid(2) answer as -1
constexpr const char* NOBODY = "nobody";

struct Ids {
  uint32_t uid = NO_ID;
  uint32_t gid = NO_ID;
};

// A lookup that fails in silence must not leave the thread with the service's rights.
Ids idsOf(const std::string& user) {
  Ids ids;
  username_to_uidgid(user, ids.uid, ids.gid).orThrow();
  if (ids.uid == NO_ID) {
    const std::string message = "No ids for user \"" + user + "\"";
    ZOLT_WARN(message);
    throw IOException(message, EINVAL);
  }
  return ids;
}

Ids idsOfOrNobody(const std::string& user) {
  try {
    return idsOf(user);
  } catch (const IOException&) {
    ZOLT_WARN_AS("FSAccount", "Unable to map username: " << user << " to uid. Try nobody");
  }
  return idsOf(NOBODY);
}

std::string superuserName(const char* askedBy) {
  std::string name;
  if (uid_to_usrname(0, name))
    ZOLT_WARN_AS(askedBy, "Unable to map uid: " << 0 << " to username. Try nobody");
  return name.empty() ? NOBODY : name;
}

// What a switch of ids that was refused ends in.
[[noreturn]] void refuse(const char* call, uint32_t from, uint32_t to, int error) {
  const std::string message =
      std::string(call) + " error: " + std::to_string(from) + " -> " + std::to_string(to);
  ZOLT_WARN_AS("setfsid", message);
  throw IOException(message, error);
}

}  // namespace

FSAccount::FSAccount(const std::string& user) {
  if (alwaysSuper.load(std::memory_order_relaxed)) return;
  const Ids ids = idsOfOrNobody(user);
  if (ids.gid != daemonGid) setgroups(user.c_str(), ids.gid);
  setfsid(ids.uid, ids.gid);
}

FSAccount::FSAccount(Superuser superuser) {
  if (alwaysSuper.load(std::memory_order_relaxed)) return;
  if (daemonGid != 0) setgroups(superuserName(superuser.askedBy).c_str(), 0);
  setfsid(0, 0);
}

FSAccount::~FSAccount() {
  const ErrnoKeeper keeper;
  try {
    restore();
  } catch (...) {  // NOLINT(bugprone-empty-catch): setfsid has warned, and no scope can do more
  }
}

void FSAccount::setfsid(uint32_t uid, uint32_t gid) {
  savedFsuid_ = static_cast<uint32_t>(setfsuid(uid));
  if (savedFsuid_ == REFUSED) refuse("setfsuid", savedFsuid_, uid, errnoOfFailure());
  savedFsgid_ = static_cast<uint32_t>(setfsgid(gid));
  if (savedFsgid_ == REFUSED) {
    const int error = errnoOfFailure();
    savedFsuid_ = static_cast<uint32_t>(setfsuid(savedFsuid_));
    refuse("setfsgid", savedFsgid_, gid, error);
  }
  ZOLT_DEBUG("@" << this << " (" << savedFsuid_ << ", " << savedFsgid_ << ") => (" << uid << ", "
                 << gid << ")");
}

void FSAccount::FreeOnly::operator()(FSAccount* memory) const noexcept {
  ::operator delete(memory);
}

void FSAccount::end(FSAccount* account) {
  // The destructor would restore a second time.
  const std::unique_ptr<FSAccount, FreeOnly> owner(account);
  owner->restore();
}

void FSAccount::restore() {
  if (!alwaysSuper.load(std::memory_order_relaxed)) setfsid(savedFsuid_, savedFsgid_);
}

}  // namespace zolt
