// The identity that the kernel has for a thread, as /proc tells it.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace zolt::test {

struct ThreadIdentity {
  uint32_t fsuid = 0;
  uint32_t fsgid = 0;
  std::vector<uint32_t> groups;

  friend bool operator==(const ThreadIdentity& one, const ThreadIdentity& other) {
    return one.fsuid == other.fsuid && one.fsgid == other.fsgid && one.groups == other.groups;
  }
  friend std::ostream& operator<<(std::ostream& out, const ThreadIdentity& identity) {
    out << identity.fsuid << ":" << identity.fsgid << " groups";
    for (const uint32_t group : identity.groups)
      out << " " << group;
    return out;
  }
};

inline ThreadIdentity identityOf(pid_t thread) {
  ThreadIdentity identity;
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    std::istringstream fields(line);
    std::string key;
    uint32_t real = 0;
    uint32_t effective = 0;
    uint32_t saved = 0;
    fields >> key;
    if (key == "Uid:") fields >> real >> effective >> saved >> identity.fsuid;
    if (key == "Gid:") fields >> real >> effective >> saved >> identity.fsgid;
    uint32_t group = 0;
    while (key == "Groups:" && fields >> group)
      identity.groups.push_back(group);
  }
  return identity;
}

/// gettid(2), for which GLIBC has a function since 2.30.
inline pid_t threadId() {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

inline ThreadIdentity identity() {
  return identityOf(threadId());
}

/// Runs a body on a thread of its own, since groups that it sets stay with the thread.
inline void onThread(const std::function<void()>& body) {
  std::thread(body).join();
}

}  // namespace zolt::test
