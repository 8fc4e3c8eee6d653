// FSAccount: the file-system identity of the calling thread, switched for the length of a scope.
//
// The kernel checks file access against the thread's fsuid, fsgid and supplementary groups
// (credentials(7)); other threads keep theirs. A switch and its end belong on one thread, and inner
// switches end before outer ones. The end restores the two ids; the groups stay as the last switch
// set them.
//
// While alwaysSuper (base/settings.h) is set, nothing is switched and nothing restored.
#pragma once

#include <cstdint>
#include <string>

namespace zolt {

class FSAccount {
 public:
  /// The identity of the service itself: the process's effective ids at load.
  static uint32_t daemonUid;
  static uint32_t daemonGid;

  /// Switches to a user's ids, and to the user's groups unless the primary group is the service's
  /// own. A user that cannot be looked up gets the ids of "nobody", and the groups of the name as
  /// given. IOException of the lookup of "nobody", of setgroups and of setfsid; the thread then has
  /// the ids it came with.
  explicit FSAccount(const std::string& user);

  /// Switches to the superuser: ids 0, and root's groups unless the service's own group is 0.
  /// IOException of setgroups and of setfsid; the thread then has the ids it came with. `askedBy`
  /// is whom the log line of a missing name of root speaks for.
  struct Superuser {
    const char* askedBy;
  };
  explicit FSAccount(Superuser superuser);

  /// Switches nothing yet; at the end of the scope the thread will have the service's identity.
  struct DaemonAtEnd {};
  explicit FSAccount(DaemonAtEnd) noexcept {}

  /// Restores; a failure is only logged.
  ~FSAccount();
  FSAccount(const FSAccount&) = delete;
  FSAccount& operator=(const FSAccount&) = delete;

  /// Switches the thread's ids, the user first, and keeps the previous ones for restoring.
  /// IOException with errno, logged at warn, when the system call is refused outright (all bits of
  /// the answer set, as a filter makes it answer); the kernel itself ignores an id that the thread
  /// may not take, and says nothing (setfsuid(2)).
  void setfsid(uint32_t uid, uint32_t gid);

  /// Ends a switch on the heap before its destructor would: restores, and frees. IOException of
  /// setfsid; the memory is freed all the same.
  static void end(FSAccount* account);

  /// Frees without restoring.
  struct FreeOnly {
    void operator()(FSAccount* memory) const noexcept;
  };

 private:
  void restore();

  uint32_t savedFsuid_ = daemonUid;
  uint32_t savedFsgid_ = daemonGid;
};
static_assert(sizeof(FSAccount) == 2 * sizeof(uint32_t));

}  // namespace zolt
