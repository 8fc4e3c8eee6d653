// The hot paths of the core, each called a number of times between two marks that callgrind turns
// into a count of instructions. The file system's client is a stub here, and the directories lie in
// memory, so that what is counted is the library and the C library under it.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "acl/acl.h"
#include "acl/file_acl.h"
#include "base/logger2.h"
#include "blocks/block_query.h"
#include "dirents/listing.h"
#include "identity/fs_account.h"
#include "status/file_status.h"
#include "status/links.h"
#include "status/setters.h"
#include "status/stat.h"
#include "xattr/lease.h"
#include "xattr/xattr.h"

namespace {

constexpr int CALLS = 20;
constexpr int ENTRIES = 1000;
constexpr int COPIES = 3;
constexpr int REPLY_BLOCKS = ZOLT_LOCATION_ENTRIES / COPIES;

int nodes = 6;  // that the stub's blocks lie on

}  // namespace

// The directories of this process are old at once, as a NameNode's are.
extern "C" time_t time(time_t* seconds) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (seconds != nullptr) *seconds = now.tv_sec + 100;
  return now.tv_sec + 100;
}

int zolt_stat_x(const char* /*path*/, unsigned int* /*mask*/, zolt_iattr64* buffer, size_t) {
  buffer->ia_version = ZOLT_IATTR_VERSION;
  buffer->ia_reclen = ZOLT_IATTR_RECLEN;
  buffer->ia_mode = S_IFREG | 0644;
  buffer->ia_ctime.seconds = 1000;
  buffer->ia_mtime.seconds = 1000;
  buffer->ia_blocksize = 4096;
  return 0;
}

int zolt_fstat_x(int /*fd*/, unsigned int* mask, zolt_iattr64* buffer, size_t length) {
  return zolt_stat_x(nullptr, mask, buffer, length);
}

int zolt_fcntl(int /*fd*/, void* request) {
  zolt_request_header header;
  memcpy(&header, request, sizeof header);
  if (header.length < sizeof(zolt_location_record)) return 0;
  auto* record = reinterpret_cast<zolt_location_record*>(static_cast<char*>(request) +
                                                         sizeof(zolt_request_header));
  record->replicas = COPIES;
  record->blocks = REPLY_BLOCKS;
  record->metaBlockSizeHalf[0] = 4096;
  for (int block = 0; block < REPLY_BLOCKS; ++block) {
    for (int copy = 0; copy < COPIES; ++copy)
      record->words[2 * COPIES * block + copy] = (7 * block + copy) % nodes;
  }
  return 0;
}

int zolt_restripe_file(int /*fd*/, void* /*request*/) {
  return 0;
}

namespace {

// Once before it counts, so that what is resolved and allocated only once is not in it. Each loop
// is a function of its own: inlined, the registers that its neighbours leave it would count too.
template <class Call>
[[gnu::noinline]] void count(const char* name, const Call& call) {
  call();
  CALLGRIND_ZERO_STATS;
  for (int i = 0; i < CALLS; ++i)
    call();
  CALLGRIND_DUMP_STATS_AT(name);
}

#define TEN(site) site site site site site site site site site site
#define SITE                                                \
  ZOLT_TRACE("path " << path << " number " << path.size()); \
  asm volatile("" ::: "memory");
#define COMPARE                                                      \
  if (zolt::logger2::currentLevel <= zolt::LOG_TRACE) [[unlikely]] { \
    never(path);                                                     \
  }                                                                  \
  asm volatile("" ::: "memory");

[[gnu::cold, gnu::noinline]] void never(const std::string& path) {
  puts(path.c_str());
}

// Of ten and of twenty, so that their difference is ten of them and nothing else.
[[gnu::noinline]] void tenSites(const std::string& path) {
  TEN(SITE)
}
[[gnu::noinline]] void twentySites(const std::string& path) {
  TEN(SITE) TEN(SITE)
}
[[gnu::noinline]] void tenCompares(const std::string& path) {
  TEN(COMPARE)
}
[[gnu::noinline]] void twentyCompares(const std::string& path) {
  TEN(COMPARE) TEN(COMPARE)
}

void countStatus(const std::string& path) {
  char bytes[88];
  const zolt::StatusBuffer buffer{static_cast<char*>(bytes), sizeof bytes};
  bool written = false;
  count("fast status, changed", [&] {
    std::ignore = zolt::getFileStatusFast(path.c_str(), true, {0, 0}, buffer, written);
  });
  count("fast status, unchanged", [&] {
    std::ignore = zolt::getFileStatusFast(path.c_str(), true, {2000, 0}, buffer, written);
  });
  count("full status", [&] {
    std::ignore = zolt::getFileStatus(path.c_str(), true, true, {0, 0}, {0, 0}, buffer, written);
  });
  count("stat", [&] {
    struct stat st;
    zolt::getStat(path.c_str(), true, st);
  });
  count("isCMTimeChanged", [&] {
    bool changed = false;
    std::ignore = zolt::isCMTimeChanged(path.c_str(), true, {LONG_MAX, 0}, {LONG_MAX, 0}, changed);
  });
  count("setPermission", [&] { std::ignore = zolt::setPermission(path.c_str(), 0644); });
  count("setTimes", [&] { std::ignore = zolt::setTimes(path.c_str(), 1500, 1500); });
  count("set ids", [] { const zolt::FSAccount daemon{zolt::FSAccount::DaemonAtEnd()}; });
}

void countListings(const std::string& directory) {
  for (const size_t size : {size_t{4} << 10, size_t{64} << 10}) {
    std::vector<char> memory(size);
    const std::string name = "listing of 1000, " + std::to_string(size >> 10) + " KiB";
    count(name.c_str(), [&] {
      bool more = false;
      do {
        zolt::Buffer<char> out;
        out.setBuffer(memory.data(), memory.size());
        zolt::getDirents(directory, out, false, more).orThrow();
      } while (more);
    });
  }
  count("count of 1000", [&] {
    int found = 0;
    std::ignore = zolt::getDirentCount(directory, found);
  });
}

void countAttributes(const std::string& path) {
  const std::string value(32, 'v');
  count("setxattr",
        [&] { zolt::zolt_setxattr(path.c_str(), false, "user.a", value.data(), value.size(), 0); });
  count("getxattr", [&] {
    zolt::XattrValue read;
    std::ignore = zolt::readXattr(path.c_str(), false, "user.a", read);
  });
  std::ignore = zolt::setLease(path.c_str(), true, value, 1, [] {});
  count("lease read", [&] {
    zolt::XattrValue holder;
    std::ignore = zolt::getLease(path.c_str(), true, 64, LONG_MAX, 1, holder);
  });
  count("listxattr", [&] {
    char* list = nullptr;
    zolt::zolt_listxattrs(path.c_str(), false, &list);
    delete[] list;
  });
}

void countBlocks() {
  std::vector<int> words(size_t{2} * COPIES * REPLY_BLOCKS);
  const auto ask = [&](int (*query)(int, zolt::locationplus&, zolt::Buffer<int>&)) {
    zolt::locationplus loc{};
    loc.length = loc.filelen = uint64_t{4096} * REPLY_BLOCKS;
    loc.blksize = 4096;
    loc.blocksize = 16 * loc.blksize;
    loc.isRegular = true;
    if (query == zolt::getBlkLocation) loc.blocksize = loc.blksize;
    zolt::Buffer<int> out;
    out.setBuffer(words.data(), words.size());
    query(3, loc, out);
  };
  count("2688 blocks", [&] { ask(zolt::getBlkLocation); });
  for (const int number : {6, 100}) {
    nodes = number;
    const std::string name = "2688 blocks in groups, " + std::to_string(number) + " nodes";
    count(name.c_str(), [&] { ask(zolt::getBlkLocation_sort); });
  }
}

void countAcl(const std::string& path) {
  zolt::ACLUtil::init();
  count("ACL status, plain", [&] {
    std::string bytes;
    zolt::aclStatus(path, false, bytes).orThrow();
  });
  zolt::ACL list(path, ACL_TYPE_ACCESS);
  for (int id = 5000; id < 5006; ++id) {
    zolt::ACL::Entry entry(list);
    entry.set_tag(ACL_USER);
    entry.set_qualifier(&id);
    entry.set_perm(4);
  }
  list.set_file(path, true);
  count("ACL status, 10 entries", [&] {
    std::string bytes;
    zolt::aclStatus(path, false, bytes).orThrow();
  });
}

}  // namespace

[[gnu::visibility("default")]] int zoltCount();

int zoltCount() {
  zolt::logger2::currentLevel = zolt::LOG_OFF;
  char folder[] = "/dev/shm/zolt-counts-XXXXXX";
  if (mkdtemp(static_cast<char*>(folder)) == nullptr) return 1;
  const std::string root(static_cast<const char*>(folder));
  const std::string path = root + "/file";
  const std::string directory = root + "/directory";
  std::ofstream(path) << "data";
  if (mkdir(directory.c_str(), 0700) != 0) return 1;
  std::vector<std::string> entries;
  for (int i = 0; i < ENTRIES; ++i) {
    entries.push_back(directory + "/part-" + std::to_string(i));
    std::ofstream{entries.back()};
  }

  count("10 log sites that are off", [&] { tenSites(path); });
  count("20 log sites that are off", [&] { twentySites(path); });
  count("10 compares", [&] { tenCompares(path); });
  count("20 compares", [&] { twentyCompares(path); });
  countStatus(path);
  countListings(directory);
  countAttributes(path);
  countBlocks();
  countAcl(path);

  entries.insert(entries.end(), {path, directory, root});
  for (const std::string& entry : entries)
    std::remove(entry.c_str());
  return 0;
}
