// The user and group databases and the identity of a thread, interposed.
#include <grp.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "faults.h"
#include "injector.h"
#include "walk.h"

using faults::Call;

namespace {

// A user, or a group with its id as gid.
struct Account {
  std::string name;
  unsigned uid;
  unsigned gid;
  size_t bytes;
};

thread_local std::vector<Account> users;
thread_local std::vector<Account> groups;
thread_local long entrySize = 0;
thread_local int groupCount = 0;
thread_local unsigned long lastBuffer = 0;
thread_local int slowness = 0;  // milliseconds

void delay() {
  if (slowness == 0) return;
  const timespec time{slowness / 1000, slowness % 1000 * 1000000L};
  nanosleep(&time, nullptr);
}

// What a lookup that fails returns: not the error, which is in errno.
constexpr int FAILED = 255;

// A thread's own too: to ThreadSanitizer, what a lookup answers has been written by it.
thread_local char nothing[] = "";
thread_local char* nobody[] = {nullptr};

template <class Matches>
const Account* find(const std::vector<Account>& accounts, const Matches& matches) {
  const auto found = std::find_if(accounts.begin(), accounts.end(), matches);
  return found != accounts.end() ? &*found : nullptr;
}

bool hasRoom(const Account& account, size_t size) {
  if (size >= std::max(account.bytes, account.name.size() + 1)) return true;
  errno = ERANGE;
  return false;
}

int give(const Account& account, passwd* entry, char* buffer, size_t size, passwd** found) {
  if (!hasRoom(account, size)) return FAILED;
  entry->pw_name = std::strcpy(buffer, account.name.c_str());
  entry->pw_passwd = entry->pw_gecos = entry->pw_dir = entry->pw_shell = nothing;
  entry->pw_uid = account.uid;
  entry->pw_gid = account.gid;
  *found = entry;
  return 0;
}

int give(const Account& account, group* entry, char* buffer, size_t size, group** found) {
  if (!hasRoom(account, size)) return FAILED;
  entry->gr_name = std::strcpy(buffer, account.name.c_str());
  entry->gr_passwd = nothing;
  entry->gr_mem = nobody;
  entry->gr_gid = account.gid;
  *found = entry;
  return 0;
}

// What all four lookups do: count, fail, answer from the thread's own accounts, or pass on.
template <class Entry, class Matches, class Real>
int look(Call call, const std::vector<Account>& accounts, const Matches& matches, const Real& real,
         Entry* entry, char* buffer, size_t size, Entry** found, const void* caller) {
  lastBuffer = size;
  delay();
  if (faults::fails(call, caller)) return FAILED;
  if (faults::alteration() == faults::Altered::NONE) return 0;  // no such entry
  const Account* own = find(accounts, matches);
  return own != nullptr ? give(*own, entry, buffer, size, found) : real();
}

}  // namespace

void zolt_fault_user(const char* name, unsigned uid, unsigned gid, unsigned long bytes) {
  if (name == nullptr) {
    users.clear();
  } else {
    users.push_back({name, uid, gid, bytes});
  }
}

void zolt_fault_group(const char* name, unsigned gid, unsigned long bytes) {
  if (name == nullptr) {
    groups.clear();
  } else {
    groups.push_back({name, 0, gid, bytes});
  }
}

void zolt_fault_entry_size(long size) {
  entrySize = size;
}
unsigned long zolt_fault_last_buffer(void) {
  return lastBuffer;
}
void zolt_fault_slow_lookups(int milliseconds) {
  slowness = milliseconds;
}
void zolt_fault_group_count(int count) {
  groupCount = count;
}

extern "C" {

int getpwuid_r(uid_t uid, passwd* entry, char* buffer, size_t size, passwd** found) {
  static auto* real = faults::next<int(uid_t, passwd*, char*, size_t, passwd**)>("getpwuid_r");
  return look(
      Call::getpwuid_r, users, [=](const Account& user) { return user.uid == uid; },
      [=] { return real(uid, entry, buffer, size, found); }, entry, buffer, size, found,
      __builtin_return_address(0));
}

int getpwnam_r(const char* name, passwd* entry, char* buffer, size_t size, passwd** found) {
  static auto* real =
      faults::next<int(const char*, passwd*, char*, size_t, passwd**)>("getpwnam_r");
  return look(
      Call::getpwnam_r, users, [=](const Account& user) { return user.name == name; },
      [=] { return real(name, entry, buffer, size, found); }, entry, buffer, size, found,
      __builtin_return_address(0));
}

int getgrgid_r(gid_t gid, group* entry, char* buffer, size_t size, group** found) {
  static auto* real = faults::next<int(gid_t, group*, char*, size_t, group**)>("getgrgid_r");
  return look(
      Call::getgrgid_r, groups, [=](const Account& group) { return group.gid == gid; },
      [=] { return real(gid, entry, buffer, size, found); }, entry, buffer, size, found,
      __builtin_return_address(0));
}

int getgrnam_r(const char* name, group* entry, char* buffer, size_t size, group** found) {
  static auto* real = faults::next<int(const char*, group*, char*, size_t, group**)>("getgrnam_r");
  return look(
      Call::getgrnam_r, groups, [=](const Account& group) { return group.name == name; },
      [=] { return real(name, entry, buffer, size, found); }, entry, buffer, size, found,
      __builtin_return_address(0));
}

// By which libacl asks for the names in its texts.
passwd* getpwuid(uid_t uid) {
  static auto* real = faults::next<passwd*(uid_t)>("getpwuid");
  delay();
  return real(uid);
}

long sysconf(int key) noexcept {
  static auto* real = faults::next<long(int)>("sysconf");
  const bool ours = key == _SC_GETPW_R_SIZE_MAX || key == _SC_GETGR_R_SIZE_MAX;
  if (ours && faults::fails(Call::sysconf)) return -1;
  return ours && entrySize != 0 ? entrySize : real(key);
}

int getgrouplist(const char* user, gid_t gid, gid_t* list, int* count) {
  static auto* real = faults::next<int(const char*, gid_t, gid_t*, int*)>("getgrouplist");
  if (faults::fails(Call::getgrouplist)) return -1;
  if (faults::alteration() == faults::Altered::ONE_MORE) {  // one more than there is room for
    ++*count;
    return -1;
  }
  if (groupCount == 0) return real(user, gid, list, count);
  const int room = *count;
  *count = groupCount;
  if (groupCount > room) return -1;
  list[0] = gid;
  for (int i = 1; i < groupCount; ++i)
    list[i] = 100000 + static_cast<gid_t>(i);
  return groupCount;
}

int getgroups(int size, gid_t* list) noexcept {
  static auto* real = faults::next<int(int, gid_t*)>("getgroups");
  return faults::fails(Call::getgroups) ? -1 : real(size, list);
}

int setgroups(size_t size, const gid_t* list) noexcept {
  static auto* real = faults::next<int(size_t, const gid_t*)>("setgroups");
  return faults::fails(Call::setgroups) ? -1 : real(size, list);
}

int setfsuid(uid_t uid) noexcept {
  static auto* real = faults::next<int(uid_t)>("setfsuid");
  return faults::fails(Call::setfsuid) ? -1 : real(uid);
}

int setfsgid(gid_t gid) noexcept {
  static auto* real = faults::next<int(gid_t)>("setfsgid");
  return faults::fails(Call::setfsgid) ? -1 : real(gid);
}

long syscall(long number, ...) noexcept {
  // Not a guarded static: what waits for a guard may itself come here.
  static constinit std::atomic<long (*)(long, ...)> real = nullptr;
  if (real == nullptr) real = faults::next<long(long, ...)>("syscall");
  if (number == SYS_setgroups && faults::fails(Call::syscall_setgroups)) return -1;
  va_list list;
  va_start(list, number);
  long argument[6];
  for (long& each : argument)
    each = va_arg(list, long);
  va_end(list);
  return real.load()(number, argument[0], argument[1], argument[2], argument[3], argument[4],
                     argument[5]);
}

}  // extern "C"
