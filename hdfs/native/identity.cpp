#include "identity.h"

#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <vector>

namespace zolt::hdfs {

namespace {

constexpr uint64_t bit(int capability) {
  return uint64_t{1} << capability;
}

// What the kernel itself gives and takes with the file-system user id 0.
constexpr uint64_t ON_FILES = bit(CAP_CHOWN) | bit(CAP_DAC_OVERRIDE) | bit(CAP_DAC_READ_SEARCH) |
                              bit(CAP_FOWNER) | bit(CAP_FSETID) | bit(CAP_LINUX_IMMUTABLE);
constexpr uint64_t TO_SWITCH = bit(CAP_SETUID) | bit(CAP_SETGID);

constexpr uint32_t REFUSED = 0xffffffff;  // of setfsuid(2), for an id that nobody has
constexpr int WORD_BITS = 32;

struct Capabilities {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
};

int failure() {
  return -(errno != 0 ? errno : EIO);
}

// What the thread is permitted and hands on, asked once for each: nothing in this process gives
// that away. Where something has, the kernel refuses to set more than is left.
const Capabilities* capabilitiesOfThread() {
  thread_local bool known = false;
  thread_local Capabilities capabilities;
  if (!known) known = syscall(SYS_capget, &capabilities.header, capabilities.data.data()) == 0;
  return known ? &capabilities : nullptr;
}

// What is in effect: what the thread has put there last, or its maker before it was made.
uint64_t& inEffect() {
  thread_local uint64_t now = [] {
    const Capabilities* first = capabilitiesOfThread();
    if (first == nullptr) return uint64_t{0};
    return first->data[0].effective | uint64_t{first->data[1].effective} << WORD_BITS;
  }();
  return now;
}

// Puts exactly these in effect, as far as they are permitted.
int putInEffect(const Capabilities& permitted, uint64_t wanted) {
  Capabilities now = permitted;
  now.data[0].effective = static_cast<uint32_t>(wanted) & now.data[0].permitted;
  now.data[1].effective = static_cast<uint32_t>(wanted >> WORD_BITS) & now.data[1].permitted;
  return syscall(SYS_capset, &now.header, now.data.data()) == 0 ? 0 : failure();
}

int setEffective(uint64_t wanted) {
  const Capabilities* permitted = capabilitiesOfThread();
  if (permitted == nullptr) return failure();
  uint64_t& current = inEffect();
  if (const int error = putInEffect(*permitted, wanted); error != 0) return error;
  current = wanted;
  return 0;
}

// Whether the thread has a guest's identity, of which inEffect() knows nothing.
bool& isGuest() {
  thread_local bool guest = false;
  return guest;
}

// The groups of the thread.
std::vector<uint32_t> groupsOfThread() {
  const long count = syscall(SYS_getgroups, 0, nullptr);
  std::vector<uint32_t> all(count > 0 ? static_cast<size_t>(count) : 0);
  if (count > 0) syscall(SYS_getgroups, count, all.data());
  return all;
}

// The process's own groups, as they were when the library was loaded.
const std::vector<uint32_t>& ownGroups() {
  static const std::vector<uint32_t> groups = groupsOfThread();
  return groups;
}

// The raw call: that of the C library would change the groups of all threads. The kernel answers an
// id that the thread may not take with silence, so each is read back.
int setIds(uint32_t uid, uint32_t gid, std::span<const uint32_t> groups) {
  if (syscall(SYS_setgroups, groups.size(), groups.data()) != 0) return failure();
  setfsgid(gid);
  setfsuid(uid);
  const bool taken = static_cast<uint32_t>(setfsgid(REFUSED)) == gid &&
                     static_cast<uint32_t>(setfsuid(REFUSED)) == uid;
  return taken ? 0 : -EPERM;
}

}  // namespace

int confine() {
  ownGroups();
  return setEffective(ON_FILES);
}

int confineToData() {
  return setEffective(bit(CAP_DAC_OVERRIDE) | bit(CAP_DAC_READ_SEARCH));
}

int actAs(uint32_t uid, uint32_t gid, std::span<const uint32_t> groups, bool superuser) {
  if (const int error = setEffective(ON_FILES | TO_SWITCH); error != 0) return error;
  int error = setIds(uid, gid, groups);
  if (error == 0) error = setEffective(superuser ? ON_FILES : 0);
  if (error != 0) actAsService(false);
  return error;
}

int actAsService(bool administrator) {
  if (const int error = setEffective(TO_SWITCH); error != 0) return error;
  if (const int error = setIds(geteuid(), getegid(), ownGroups()); error != 0) return error;
  return administer(administrator);
}

int administer(bool effective) {
  return setEffective(ON_FILES | (effective ? bit(CAP_SYS_ADMIN) : 0));
}

int keep(Before& before) {
  Capabilities now;
  if (syscall(SYS_capget, &now.header, now.data.data()) != 0) return failure();
  before.effective = uint64_t{now.data[1].effective} << WORD_BITS | now.data[0].effective;
  before.gid = static_cast<uint32_t>(setfsgid(REFUSED));
  before.uid = static_cast<uint32_t>(setfsuid(REFUSED));
  before.groups = groupsOfThread();
  return 0;
}

int assume(uint32_t uid, uint32_t gid, std::span<const uint32_t> groups, const Before& before) {
  Capabilities now;
  if (syscall(SYS_capget, &now.header, now.data.data()) != 0) return failure();
  int error = putInEffect(now, TO_SWITCH);
  if (error == 0) error = setIds(uid, gid, groups);
  if (error == 0) error = putInEffect(now, 0);
  if (error != 0 && resume(before) != 0) return -ENOTRECOVERABLE;
  isGuest() = error == 0;
  return error;
}

int resume(const Before& before) noexcept try {
  Capabilities now;
  if (syscall(SYS_capget, &now.header, now.data.data()) != 0) return failure();
  if (const int error = putInEffect(now, TO_SWITCH); error != 0) return error;
  if (groupsOfThread() != before.groups || static_cast<uint32_t>(setfsgid(REFUSED)) != before.gid ||
      static_cast<uint32_t>(setfsuid(REFUSED)) != before.uid) {
    if (const int error = setIds(before.uid, before.gid, before.groups); error != 0) return error;
  }
  isGuest() = false;
  return putInEffect(now, before.effective);
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

Looking::Looking() : before_(isGuest() ? 0 : inEffect()) {
  if (!isGuest()) setEffective(before_ | bit(CAP_DAC_READ_SEARCH) | bit(CAP_SYS_ADMIN));
}

Looking::~Looking() {
  if (isGuest()) return;
  const int kept = errno;
  // Capabilities that cannot be given up would be the next request's.
  if (setEffective(before_) != 0) abort();
  errno = kept;
}

}  // namespace zolt::hdfs
