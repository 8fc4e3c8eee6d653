#include "status/failed_path.h"

#include <libgen.h>
#include <linux/limits.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "acl/acl.h"
#include "base/io_exception.h"
#include "base/logger2.h"
#include "identity/fs_account.h"
#include "identity/names.h"
#include "status/stat.h"

namespace zolt {

namespace {

constexpr const char* WALK = "getFailedPathInt";

// No call takes a path of PATH_MAX bytes, its terminator included, so what is longer is passed over
// at once: its components, each reported with all before it, could fill the memory.
std::string parentOf(std::string path) {
  const size_t cut = path.rfind('/', PATH_MAX - 1);
  if (path.size() < PATH_MAX || cut == std::string::npos) return dirname(path.data());
  path.resize(std::max(cut, size_t{1}));
  return path;
}

std::string ownerName(uid_t uid) {
  std::string name;
  if (uid_to_usrname(uid, name)) ZOLT_WARN_AS(WALK, "Unable to map uid to name for uid: " << uid);
  return name.empty() ? std::to_string(uid) : name;
}

std::string groupName(gid_t gid) {
  std::string name;
  if (gid_to_grpname(gid, name)) ZOLT_WARN_AS(WALK, "Unable to map gid to name for gid: " << gid);
  return name.empty() ? std::to_string(gid) : name;
}

std::string aclText(const std::string& path, unsigned type) {
  try {
    return ACL(path, type).dump();
  } catch (const IOException& error) {
    return std::string("ACL error:") + error.what();
  }
}

void addBlock(const std::string& path, const struct stat& st, std::ostream& report) {
  report << "\n"
         << path << " ino:" << st.st_ino << " owner:" << ownerName(st.st_uid)
         << " group:" << groupName(st.st_gid) << " mode:" << std::oct << st.st_mode << std::dec
         << " ctime: " << st.st_ctim.tv_sec << "," << st.st_ctim.tv_nsec
         << " mtime: " << st.st_mtim.tv_sec << "," << st.st_mtim.tv_nsec
         << " ACLs: " << aclText(path, ACL_TYPE_ACCESS);
  if (S_ISDIR(st.st_mode)) report << " " << aclText(path, ACL_TYPE_DEFAULT);
}

}  // namespace

std::string getFailedPathInt(const char* path, const char* stop, bool followLink, struct stat& st,
                             bool verbose) {
  Fmt report(nullptr);
  std::string current = path != nullptr ? path : "";
  while (path != nullptr && current != stop && current != "/") {
    const bool failed = getStat(current.c_str(), followLink, st) != 0;
    if (verbose || !failed) addBlock(current, st, report);
    if (!verbose && !failed) break;
    std::string parent = parentOf(current);
    if (parent == current) break;
    current = std::move(parent);
  }
  if (!verbose) report << "\n@@@fails @" << (path != nullptr ? current.c_str() : "null");
  ZOLT_DEBUG(report.str());
  return current;
}

void getFailedPath(const char* path, bool followLink) noexcept {
  if (logger2::currentLevel > LOG_TRACE) return;
  try {
    struct stat st {};
    const std::string stop = getFailedPathInt(path, "/", followLink, st, false);
    const FSAccount daemon{FSAccount::DaemonAtEnd()};
    // It ends without a switch of its own: the daemon's is the one switch back.
    const std::unique_ptr<FSAccount, FSAccount::FreeOnly> superuser(
        new FSAccount(FSAccount::Superuser{.askedBy = "getFailedPath"}));
    getFailedPathInt(path, stop.c_str(), followLink, st, true);
  } catch (const std::exception& error) {
    ZOLT_DEBUG("fails @" << orNull(path) << " error:" << orNull(error.what()));
  }
}

}  // namespace zolt
