#include "records.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <vector>

#include "layout.h"
#include "locations.h"
#include "log.h"
#include "map_keeper.h"

namespace zolt_cephfs {

namespace {

using namespace zolt_client;

constexpr const char* BGF = "user.zolt.BGF";

int fail(int error) {
  errno = error;
  return -1;
}

// What the user is refused for a reason that the errno does not tell.
int refuse(int error, const struct stat& st, const std::string& why) {
  log("inode " + std::to_string(st.st_ino) + ": " + why);
  return fail(error);
}

int readRegular(int fd, struct stat& st, FileLayout& layout) {
  if (fstat(fd, &st) != 0) return -1;
  return S_ISREG(st.st_mode) ? readLayout(File(fd), layout) : fail(EINVAL);
}

// A pool, and the map that has it; null and errno when there is none.
struct PoolInMap {
  std::shared_ptr<const OsdMap> map;
  const Pool* pool;
};

PoolInMap poolOf(const FileLayout& layout) {
  for (const bool anew : {false, true}) {
    const auto map = anew ? theKeeper().newest() : theKeeper().map();
    if (!map) return {};
    if (const Pool* pool = map->pool(layout.pool)) return {map, pool};
  }
  log("the cluster has no pool \"" + layout.pool + "\", or hashes its objects in a way of its own");
  errno = EIO;
  return {};
}

// Replication

int readReplication(int fd, char* memory) {
  struct stat st;
  FileLayout layout;
  if (readRegular(fd, st, layout) != 0) return -1;
  const PoolInMap found = poolOf(layout);
  if (found.pool == nullptr) return -1;
  zolt_replication_record record;
  load(record, memory);
  record.dataReplicas = found.pool->copies();
  store(record, memory);
  return 0;
}

// The pool of the same file system with so many copies that has been there for longest.
const Pool* poolWith(int32_t copies, const PoolInMap& present) {
  const Pool* best = nullptr;
  for (const auto& each : present.map->pools) {
    const Pool::Facts& facts = each->facts();
    if (facts.fileSystem.empty() || facts.fileSystem != present.pool->facts().fileSystem ||
        facts.isErasure || each->copies() != copies)
      continue;
    if (best == nullptr || facts.id < best->facts().id) best = each.get();
  }
  return best;
}

// Whether the last call that found no pool was about another epoch or number: a job asks for each
// of its files.
bool isNews(uint64_t epoch, int32_t copies) {
  static std::atomic<uint64_t> last{0};
  const uint64_t now = epoch << 32 | static_cast<uint32_t>(copies);
  return last.exchange(now) != now;
}

// CephFS keeps copies by pool, and the data of a file stays in the pool that it was written to.
int setReplication(int fd, char* memory) {
  zolt_set_replication_record record;
  load(record, memory);
  struct stat st;
  FileLayout layout;
  if (fstat(fd, &st) != 0) return -1;
  if (!S_ISREG(st.st_mode)) return fail(EINVAL);
  if (faccessat(fd, "", W_OK, AT_EACCESS | AT_EMPTY_PATH) != 0) return -1;
  if (readLayout(File(fd), layout) != 0) return -1;
  const PoolInMap present = poolOf(layout);
  if (present.pool == nullptr) return -1;
  if (present.pool->copies() == record.dataReplicas) return 0;
  const std::string wanted = std::to_string(record.dataReplicas) + " copies: ";
  if (st.st_size != 0)
    return refuse(EOPNOTSUPP, st, wanted + "data stays in its pool, " + layout.pool);
  const Pool* pool = poolWith(record.dataReplicas, present);
  if (pool == nullptr) {
    if (!isNews(present.map->epoch, record.dataReplicas)) return fail(EOPNOTSUPP);
    return refuse(EOPNOTSUPP, st,
                  wanted + "no data pool of the file system \"" + present.pool->facts().fileSystem +
                      "\" keeps so many");
  }
  const std::string& name = pool->facts().name;
  if (fsetxattr(fd, "ceph.file.layout.pool", name.data(), name.size(), 0) == 0) return 0;
  // The file has been written to and emptied again.
  if (errno == ENOTEMPTY)
    return refuse(EOPNOTSUPP, st, wanted + "it has had data in " + layout.pool);
  return -1;
}

// Data is where its pool says, always.
int restripe(int fd, char* /*memory*/) {
  struct stat st;
  if (fstat(fd, &st) != 0) return -1;
  return S_ISREG(st.st_mode) ? 0 : fail(EINVAL);
}

// Attributes

int readAttribute(int fd, char* memory) {
  zolt_attribute_record record;
  load(record, memory);
  const ssize_t length = fgetxattr(fd, BGF, record.value, record.valueLength);
  if (length < 0 && errno != ENODATA && errno != EOPNOTSUPP) return -1;
  record.status = length > 0 ? 0 : ENODATA;
  store(record, memory);
  return 0;
}

int writeAttribute(int fd, char* memory) {
  zolt_attribute_record record;
  load(record, memory);
  if (fsetxattr(fd, BGF, record.value, record.valueLength, 0) != 0) return -1;
  record.status = 0;
  store(record, memory);
  return 0;
}

// Locations

// The group of each block that is described.
std::vector<uint32_t> groupsOf(const Extent& extent, const struct stat& st,
                               const FileLayout& layout, const Pool& pool) {
  std::vector<uint32_t> groups;
  groups.reserve(static_cast<size_t>(extent.blocks));
  ObjectNames names(st.st_ino, layout.nameSpace);
  uint64_t last = ~uint64_t{0};
  for (int32_t i = 0; i < extent.blocks; ++i) {
    const uint64_t object =
        layout.objectAt((extent.first + static_cast<uint64_t>(i)) * extent.step);
    groups.push_back(object == last ? groups.back() : pool.groupOfObject(names.of(object)));
    last = object;
  }
  return groups;
}

// A map that knows all the groups; false with errno where one was never known.
bool findGroups(const Pool& pool, const std::vector<uint32_t>& groups, PoolInMap& out) {
  errno = 0;
  out.map = theKeeper().mapWith(pool.facts().id, groups);
  out.pool = out.map ? out.map->pool(pool.facts().id) : nullptr;
  if (out.pool == nullptr || out.pool->facts() != pool.facts()) return true;  // begin anew
  const bool areKnown =
      std::ranges::all_of(groups, [&](uint32_t group) { return out.pool->epochOf(group) != 0; });
  if (!areKnown && errno == 0) errno = EIO;
  return areKnown;
}

int readLocations(int fd, char* memory) {
  struct stat st;
  FileLayout file;
  if (readRegular(fd, st, file) != 0) return -1;
  zolt_location_record record;
  load(record, memory);
  // A pool may get more groups, or more copies, between two answers.
  constexpr int TRIES = 4;
  for (int i = 0; i < TRIES; ++i) {
    const PoolInMap before = poolOf(file);
    if (before.pool == nullptr) return -1;
    const Layout layout{st.st_ino, static_cast<uint64_t>(st.st_size), file.stripeUnit,
                        before.pool->facts().size};
    const Extent extent = extentOf(layout, {record.offset, record.range, record.skipFactor});
    const std::vector<uint32_t> groups = groupsOf(extent, st, file, *before.pool);
    PoolInMap found;
    if (!findGroups(*before.pool, groups, found)) return -1;
    if (found.pool == nullptr || found.pool->facts() != before.pool->facts()) continue;
    record.replicas = extent.copies;
    record.blocks = extent.blocks;
    memcpy(record.metaBlockSizeHalf, &file.stripeUnit, sizeof record.metaBlockSizeHalf);
    store(record, memory);
    writeWords(extent, memory + offsetof(zolt_location_record, words),
               [&](uint64_t start, int32_t copy) {
                 const uint32_t group = groups[start / extent.step - extent.first];
                 return found.pool->nodesOf(group)[static_cast<size_t>(copy)];
               });
    return 0;
  }
  return fail(EAGAIN);
}

}  // namespace

constinit const Acts ACTS{
    .setReplication = setReplication,
    .readReplication = readReplication,
    .readLocations = readLocations,
    .readAttribute = readAttribute,
    .writeAttribute = writeAttribute,
    .restripe = restripe,
};

}  // namespace zolt_cephfs
