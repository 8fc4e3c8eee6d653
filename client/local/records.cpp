#include "records.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "attributes.h"
#include "kept.h"
#include "locations.h"
#include "zolt.h"

namespace zolt_local {

namespace {

using namespace zolt_client;

int fail(int error) {
  errno = error;
  return -1;
}

int statRegular(int fd, struct stat& st) {
  if (fstat(fd, &st) != 0) return -1;
  return S_ISREG(st.st_mode) ? 0 : fail(EINVAL);
}

// What requests begin with that look at the data of a file.
int readRegular(int fd, struct stat& st, Replication& replication) {
  if (statRegular(fd, st) != 0) return -1;
  const File file(fd);
  return replicationOf(file, marksOf(file, st), cluster(), replication);
}

// What is going to be written in part is not taken from memory.
int readToWrite(int fd, Replication& replication) {
  struct stat st;
  if (statRegular(fd, st) != 0) return -1;
  return replicationOf(File(fd), MAY_KEEP_REPLICATION, cluster(), replication);
}

// Replication

int readReplication(int fd, char* memory) {
  struct stat st;
  Replication replication{};
  if (readRegular(fd, st, replication) != 0) return -1;
  zolt_replication_record record;
  load(record, memory);
  record.dataReplicas = replication.wanted;
  store(record, memory);
  return 0;
}

int setReplication(int fd, char* memory) {
  Replication replication{};
  if (readToWrite(fd, replication) != 0) return -1;
  zolt_set_replication_record record;
  load(record, memory);
  replication.wanted = static_cast<uint8_t>(record.dataReplicas);
  return writeReplication(fd, replication);
}

int restripe(int fd, char* /*memory*/) {
  Replication replication{};
  if (readToWrite(fd, replication) != 0) return -1;
  replication.placed = replication.wanted;
  return writeReplication(fd, replication);
}

// Attributes

int readAttribute(int fd, char* memory) {
  struct stat st;
  if (fstat(fd, &st) != 0) return -1;
  zolt_attribute_record record;
  load(record, memory);
  const File file(fd);
  const ssize_t length = readKept(file, marksOf(file, st), BGF, record.value, record.valueLength);
  if (length < 0) return -1;
  record.status = length > 0 ? 0 : ENODATA;
  store(record, memory);
  return 0;
}

int writeAttribute(int fd, char* memory) {
  zolt_attribute_record record;
  load(record, memory);
  if (writeKept(fd, BGF, record.value, record.valueLength) != 0) return -1;
  record.status = 0;
  store(record, memory);
  return 0;
}

// Locations

int readLocations(int fd, char* memory) {
  struct stat st;
  Replication replication{};
  if (readRegular(fd, st, replication) != 0) return -1;
  zolt_location_record record;
  load(record, memory);
  const Layout layout{
      st.st_ino, static_cast<uint64_t>(st.st_size),
      static_cast<uint64_t>(blockSizeOf(st, cluster())),
      std::min(static_cast<uint32_t>(cluster().nodes), uint32_t{replication.placed})};
  const Extent extent = extentOf(layout, {record.offset, record.range, record.skipFactor});
  record.replicas = extent.copies;
  record.blocks = extent.blocks;
  // The file system's own, whatever the request has it count in.
  static_assert(sizeof layout.blockSize == sizeof record.metaBlockSizeHalf);
  memcpy(record.metaBlockSizeHalf, &layout.blockSize, sizeof layout.blockSize);
  store(record, memory);
  writeWords(extent, memory + offsetof(zolt_location_record, words),
             [&layout](uint64_t start, int32_t copy) {
               return nodeOf(cluster(), layout.inode, start / layout.blockSize,
                             static_cast<uint32_t>(copy));
             });
  return 0;
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

}  // namespace zolt_local
