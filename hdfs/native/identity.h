// The identity of the calling thread, and the capabilities that it has in effect.
//
// The kernel takes the capabilities on files from a thread whose file-system user id leaves 0, and
// gives them back (capabilities(7), "Effect of user ID changes on capabilities"); all others stay
// as they are. A thread that acts for a caller must have none: so those that the switch itself
// needs, or one look at a file's settings, are raised for its length only.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zolt::hdfs {

/// Leaves the calling thread the capabilities on files in effect, and no other. 0 or -errno.
int confine();
int confineToData();

/// Switches the thread to a caller's ids and groups, with nothing in effect, or to a superuser with
/// the capabilities on files. 0 or -errno; after a failure the thread has the service's identity
/// again.
int actAs(uint32_t uid, uint32_t gid, std::span<const uint32_t> groups, bool superuser);

/// What a thread had before it took on a guest's identity.
struct Before {
  uint32_t uid = 0;
  uint32_t gid = 0;
  uint64_t effective = 0;
  std::vector<uint32_t> groups;
};

/// What the thread has now. 0 or -errno.
int keep(Before& before);

/// Switches the thread to a user's ids and groups, with no capability in effect, in a process that
/// is no service. `before` is what keep() has answered. 0 or -errno; after a failure the thread has
/// all of that again, or the answer is -ENOTRECOVERABLE.
int assume(uint32_t uid, uint32_t gid, std::span<const uint32_t> groups, const Before& before);

/// Gives the thread back what it had. 0 or -errno.
int resume(const Before& before) noexcept;

/// Switches the thread back to the process's ids and groups, with the capabilities on files in
/// effect, and CAP_SYS_ADMIN where it is asked for. 0 or -errno.
int actAsService(bool administrator);

/// Puts CAP_SYS_ADMIN in effect or out of effect. 0 or -errno.
int administer(bool effective);

/// For as long as it lives the thread, whoever it acts for but a guest, may open every file to read
/// it and see what only an administrator sees of it; its ids stay. Where a file system goes by ids
/// alone that gives no right, and the service has to ask as itself.
class Looking {
 public:
  Looking();
  ~Looking();
  Looking(const Looking&) = delete;
  Looking& operator=(const Looking&) = delete;

 private:
  uint64_t before_;
};

}  // namespace zolt::hdfs
