#include "blocks/block_locations.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "base/unique_fd.h"
#include "status/stat.h"

namespace zolt {

namespace {

constexpr const char* NATIVE = ZOLT_NATIVE(getBlockLocationsNative);

// What of a status record matters here.
struct StatusFacts {
  uint64_t inode;
  uint64_t filelen;
  uint64_t uidAndGid;
  uint32_t mode;
  uint32_t blksize;
};
static_assert(offsetof(StatusFacts, inode) == 0);
static_assert(offsetof(StatusFacts, filelen) == 8);
static_assert(offsetof(StatusFacts, mode) == 24);
static_assert(offsetof(StatusFacts, blksize) == 28);

void takeFacts(const char* status, locationplus& loc) {
  StatusFacts facts;
  std::memcpy(&facts, status, sizeof facts);
  loc.inode = facts.inode;
  loc.filelen = facts.filelen;
  loc.isRegular = S_ISREG(facts.mode);
  loc.blksize = facts.blksize;
}

int takeFacts(const std::string& path, bool followLink, locationplus& loc) {
  struct stat st;
  const int error = getStat(path.c_str(), followLink, st);
  if (error != 0) return error;
  loc.inode = st.st_ino;
  loc.filelen = static_cast<uint64_t>(st.st_size);
  loc.isRegular = S_ISREG(st.st_mode);
  loc.blksize = static_cast<uint64_t>(st.st_blksize);
  return 0;
}

void wrap(const std::optional<LentMemory>& locations, Buffer<int>& out) {
  if (!locations) {
    out.setBuffer(nullptr, 0);
    return;
  }
  if (locations->bytes % sizeof(int) != 0) {
    throw std::length_error("Direct ByteBuffer length error: length " +
                            std::to_string(locations->bytes) + " buffer type size " +
                            std::to_string(sizeof(int)));
  }
  // The words may lie at any address: they are only ever copied in.
  out.setBuffer(reinterpret_cast<int*>(locations->address), locations->bytes / sizeof(int));
}

int locate(const std::string& path, StorageType type, bool followLink, locationplus& loc,
           Buffer<int>& out) {
  const UniqueFd fd = openToRead(path.c_str(), followLink ? 0 : O_NOFOLLOW);
  if (fd.get() < 0) {
    const int error = errnoOfFailure();
    ZOLT_ERROR_AS(NATIVE, "open failed with " << error);
    return error;
  }
  const int error = getBlkLocationInt(fd.get(), type, loc, out);
  if (error == 0) out.fillRest(-1);
  return error;
}

int locateRange(const std::string& path, StorageType type, bool followLink, int64_t offset,
                int64_t length, locationplus& loc, const std::optional<LentMemory>& locations) {
  std::array<int, 6> unwanted;  // room for one block of three replicas
  Buffer<int> out;
  if (offset == 0 && length == 0) {
    out.setBuffer(unwanted.data(), unwanted.size());
  } else {
    wrap(locations, out);
  }
  loc.offset = static_cast<uint64_t>(offset);
  loc.length = length < 0 ? loc.filelen : static_cast<uint64_t>(length);
  return locate(path, type, followLink, loc, out);
}

}  // namespace

int getBlockLocations(const std::string& path, StorageType type, bool followLink, int64_t offset,
                      int64_t length, std::optional<LentMemory> status,
                      std::optional<LentMemory> locations) {
  // What Java may not pass is refused whatever the file is, and before anything of it is looked at.
  if (status && status->address == nullptr) return EINVAL;
  if (locations && locations->address == nullptr) return EINVAL;
  if (offset < 0) return EINVAL;

  locationplus loc{};
  std::optional<Buffer<char>> header;
  if (status) {
    header.emplace().setBuffer(status->address, status->bytes);
    header->seek(BLOCK_HEADER_AT);
    takeFacts(status->address, loc);
  } else if (const int error = takeFacts(path, followLink, loc); error != 0) {
    return error;
  }
  ZOLT_DEBUG_AS(NATIVE, joined(" ", path, "inode", loc.inode, "offset", offset, "length", length,
                               "filelen", loc.filelen));
  if (loc.isRegular) {
    const int error = locateRange(path, type, followLink, offset, length, loc, locations);
    if (error != 0) return error;
  }
  if (header) header->store(loc.blocksize).store(loc.nreplica);
  return 0;
}

}  // namespace zolt
