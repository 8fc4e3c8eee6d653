#include "status/file_status.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <climits>

#include "base/logger2.h"
#include "base/settings.h"
#include "base/unique_fd.h"
#include "identity/fs_account.h"
#include "identity/groups.h"
#include "placement/replication.h"
#include "status/failed_path.h"
#include "status/stat.h"
#include "status/status_record.h"
#include "xattr/xattr.h"

namespace zolt {

namespace {

// Whom the log lines speak for.
constexpr const char* FULL = ZOLT_NATIVE(getFileStatusNative);
constexpr const char* FAST = ZOLT_NATIVE(getFileStatusFastNative);
constexpr const char* CHANGED = ZOLT_NATIVE(isCMTimeChangedNative);

FileTime timeOf(const zolt_timestamp64& time) {
  return {time.seconds, time.nanoseconds};
}

FileTime timeOf(const timespec& time) {
  return {time.tv_sec, time.tv_nsec};
}

// For log lines, in one piece.
std::string textOf(const FileTime& time) {
  return std::to_string(time.seconds) + "," + std::to_string(time.nanoseconds);
}

// Whether the thread's own identity may stat the path.
Errno checkAsCaller(const char* path, bool followLink) {
  struct stat st;
  if ((followLink ? stat(path, &st) : lstat(path, &st)) == 0) return {};
  const auto error = Errno::ofFailure();
  if (error == EACCES) dump_gid("getStat error");
  ZOLT_DEBUG_AS(
      FULL, joined(" ", "stat failed with", error.value(), "for", path, "followLink", followLink));
  return reportedStatError(error);
}

Errno checkCapacity(const StatusBuffer& buffer, const char* native) {
  if (buffer.capacity >= sizeof(StatusRecord)) return {};
  ZOLT_ERROR_AS(native, joined(" ", "Direct ByteBuffer length error: length", buffer.capacity,
                               "type size", sizeof(StatusRecord)));
  return Errno(EINVAL);
}

Errno setBlockSize(const char* path, int blockSize, int bgf, StatusRecord& record) {
  if (bgf < 0) {
    const Errno error(bgf != INT_MIN ? -bgf : EIO);
    ZOLT_ERROR_AS(FULL, joined(" ", "getBGF faied with", error.value(), "for", path));
    return error;
  }
  if (bgf == 0 && blockSize <= 0) return Errno(EIO);
  record.blockSize = hdfsBlockSize(blockSize, bgf);
  return {};
}

Errno setLeaseLength(const char* path, int fd, StatusRecord& record) {
  const ssize_t length = fgetxattr(fd, USER_LEASE_HOLDER, nullptr, 0);
  if (length >= 0) {
    record.leaseLength = static_cast<uint16_t>(length);
    return {};
  }
  const auto error = Errno::ofFailure();
  if (error == ENODATA) return {};
  ZOLT_ERROR_AS(FULL, joined(" ", "fgetxattr faied with", error.value(), "for", path));
  return error;
}

void traceStatus(const char* path, const StatusRecord& record, int bgf, const char* native) {
  ZOLT_TRACE_AS(native, joined(" ", "path:", path, "ino:", record.inode, "size:", record.size,
                               "mode", record.mode, "uid:", record.uid, "gid", record.gid, "mtime:",
                               textOf(timeOf(record.mtime)), "ctime:", textOf(timeOf(record.ctime)),
                               "blocksize", record.blockSize, "rep", record.replication, "acl",
                               record.acl, "lease", record.leaseLength, "bgf", bgf));
}

// Everything of the full form once the file is open with the superuser's rights.
Errno readStatus(const char* path, int fd, bool followLink, bool withLease, const FileTime& ctime,
                 const FileTime& mtime, const StatusBuffer& buffer, bool& written) {
  zolt_iattr64 attr;
  if (const Errno error{getStatX(fd, attr)}) {
    getFailedPath(path, followLink);
    return error;
  }
  if (!timeOf(attr.ia_mtime).laterThan(mtime) || !timeOf(attr.ia_ctime).laterThan(ctime)) {
    ZOLT_TRACE_AS(FULL, joined(" ", "not changed:", path, "mtime:", textOf(timeOf(attr.ia_mtime)),
                               "ctime:", textOf(timeOf(attr.ia_ctime))));
    return {};
  }
  if (const Errno error = checkCapacity(buffer, FULL)) return error;

  StatusRecord record = commonStatus(attr);
  int bgf = 0;
  Errno error;
  if (S_ISREG(record.mode)) {
    record.replication = attr.ia_replication;
    bgf = getBGF(fd);
    error = setBlockSize(path, attr.ia_blocksize, bgf, record);
    if (!error && withLease) error = setLeaseLength(path, fd, record);
  }
  storeStatus(record, buffer.address);
  if (error) return error;
  traceStatus(path, record, bgf, FULL);
  written = true;
  return {};
}

}  // namespace

uint32_t hdfsBlockSize(int blockSize, int bgf) {
  const auto unit = static_cast<uint32_t>(blockSize);
  if (bgf > 0) return unit * static_cast<uint32_t>(bgf);
  return static_cast<uint32_t>((defaultBlockSize + unit - 1) / unit * unit);
}

Errno getFileStatus(const char* path, bool followLink, bool withLease, const FileTime& ctime,
                    const FileTime& mtime, const StatusBuffer& buffer, bool& written) {
  written = false;
  if (!alwaysSuper.load(std::memory_order_relaxed)) {
    if (const Errno error = checkAsCaller(path, followLink)) return error;
  }
  const FSAccount superuser{FSAccount::Superuser{.askedBy = FULL}};
  UniqueFd file;
  if (const Errno error = openToRead(path, followLink ? 0 : O_NOFOLLOW, file)) {
    ZOLT_DEBUG_AS(FULL, joined(" ", "open failed with", error.value(), "for", path));
    return error;
  }
  return readStatus(path, file.get(), followLink, withLease, ctime, mtime, buffer, written);
}

Errno getFileStatusFast(const char* path, bool followLink, const FileTime& ctime,
                        const StatusBuffer& buffer, bool& written) {
  written = false;
  zolt_iattr64 attr;
  if (const Errno error{getStatX(path, attr)}) {
    getFailedPath(path, followLink);
    return error;
  }
  if (!timeOf(attr.ia_ctime).laterThan(ctime)) return {};
  if (const Errno error = checkCapacity(buffer, FAST)) return error;

  const StatusRecord record = commonStatus(attr);
  storeFastStatus(record, buffer.address);
  traceStatus(path, record, 0, FAST);
  written = true;
  return {};
}

Errno isCMTimeChanged(const char* path, bool followLink, const FileTime& ctime,
                      const FileTime& mtime, bool& changed) {
  struct stat st;
  const Errno error{getStat(path, followLink, st)};
  if (!error) {
    changed = timeOf(st.st_ctim).laterThan(ctime) || timeOf(st.st_mtim).laterThan(mtime);
    if (changed) {
      ZOLT_TRACE_AS(CHANGED, joined(" ", "path:", path, "mtime:", textOf(timeOf(st.st_mtim)),
                                    "ctime:", textOf(timeOf(st.st_ctim))));
    }
  }
  return error;
}

}  // namespace zolt
