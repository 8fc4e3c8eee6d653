#include "identity/names.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "base/logger2.h"

namespace zolt {

namespace {

// What the two databases differ in; the advice ends every message about an entry.
template <class Entry>
struct Database;

template <>
struct Database<passwd> {
  static constexpr int SIZE_KEY = _SC_GETPW_R_SIZE_MAX;
  static constexpr const char* BUFFER = "pwdbufsize";
  static constexpr const char* ADVICE =
      "\", create the user on all kolvane nodes with the same uid and try it again!";
};

template <>
struct Database<group> {
  static constexpr int SIZE_KEY = _SC_GETGR_R_SIZE_MAX;
  static constexpr const char* BUFFER = "grpbufsize";
  static constexpr const char* ADVICE =
      "\", create the group on all kolvane nodes with the same gid and try it again!";
};

// How the messages about one key begin.
struct Wording {
  const char* unknown;
  const char* failed;
};

struct Free {
  void operator()(char* memory) const noexcept { std::free(memory); }
};

size_t firstBufferSize(int key) {
  const long size = sysconf(key);
  return size > 0 ? static_cast<size_t>(size) : 16384;
}

// Hands the entry that `lookup` finds to `take`.
template <class Entry, class Lookup, class Take>
Failure find(std::string_view key, const Wording& wording, const Lookup& lookup, const Take& take) {
  using Db = Database<Entry>;
  const auto message = [key](const char* beginning) {
    return std::string(beginning) + "\"" + std::string(key) + Db::ADVICE;
  };
  for (size_t size = firstBufferSize(Db::SIZE_KEY);; size *= 2) {
    const std::unique_ptr<char, Free> buffer(static_cast<char*>(std::calloc(size, 1)));
    if (buffer == nullptr) {
      return IOException("new failed, " + std::string(Db::BUFFER) + " = " + std::to_string(size),
                         ENOMEM);
    }
    Entry entry{};
    Entry* found = nullptr;
    errno = 0;
    if (lookup(&entry, buffer.get(), size, &found) == 0) {
      if (found == nullptr) return IOException(message(wording.unknown), EINVAL);
      take(*found);
      return {};
    }
    const int error = errno;
    if (error == ERANGE) continue;
    if (error == 0) return {};
    return IOException(message(wording.failed), error);
  }
}

}  // namespace

Failure uid_to_usrname(uint32_t uid, std::string& name) {
  Failure failure = find<passwd>(
      std::to_string(uid), {"Unknown uid ", "getpwuid_r() failed with uid "},
      [uid](passwd* entry, char* buffer, size_t size, passwd** found) {
        return getpwuid_r(uid, entry, buffer, size, found);
      },
      [&name](const passwd& entry) { name = entry.pw_name; });
  if (failure) ZOLT_WARN(failure->what());
  return failure;
}

Failure gid_to_grpname(uint32_t gid, std::string& name) {
  Failure failure = find<group>(
      std::to_string(gid), {"Unknown gid ", "getgrgid_r() failed with gid "},
      [gid](group* entry, char* buffer, size_t size, group** found) {
        return getgrgid_r(gid, entry, buffer, size, found);
      },
      [&name](const group& entry) { name = entry.gr_name; });
  if (failure) ZOLT_WARN(failure->what());
  return failure;
}

Failure username_to_uidgid(const std::string& name, uint32_t& uid, uint32_t& gid) {
  Failure failure = find<passwd>(
      name, {"Unknown user ", "getpwnam_r() failed: Unknown user "},
      [&name](passwd* entry, char* buffer, size_t size, passwd** found) {
        return getpwnam_r(name.c_str(), entry, buffer, size, found);
      },
      [&uid, &gid](const passwd& entry) {
        uid = entry.pw_uid;
        gid = entry.pw_gid;
      });
  if (failure) ZOLT_WARN(failure->what());
  return failure;
}

Failure grpname_to_gid(const std::string& name, uint32_t& gid) {
  Failure failure = find<group>(
      name, {"Unknown group ", "getgrnam_r() failed: Unknown group "},
      [&name](group* entry, char* buffer, size_t size, group** found) {
        return getgrnam_r(name.c_str(), entry, buffer, size, found);
      },
      [&gid](const group& entry) { gid = entry.gr_gid; });
  if (failure) ZOLT_WARN(failure->what());
  return failure;
}

}  // namespace zolt
