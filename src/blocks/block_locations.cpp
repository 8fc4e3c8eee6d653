#include "blocks/block_locations.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "base/unique_fd.h"
#include "status/stat.h"
#include "status/status_record.h"

namespace zolt {

namespace {

static_assert(BLOCK_HEADER_AT > sizeof(StatusRecord));

constexpr const char* QUERY = ZOLT_NATIVE(getBlockLocationsNative);

void takeFacts(const char* status, locationplus& loc) {
  StatusRecord record;
  std::memcpy(&record, status, sizeof record);
  loc.inode = record.inode;
  loc.filelen = static_cast<uint64_t>(record.size);
  loc.isRegular = S_ISREG(record.mode);
  loc.blksize = record.blockSize;
}

Errno askFacts(const std::string& path, bool followLink, locationplus& loc) {
  struct stat st;
  if (const Errno error{getStat(path.c_str(), followLink, st)}) return error;
  loc.inode = st.st_ino;
  loc.filelen = static_cast<uint64_t>(st.st_size);
  loc.isRegular = S_ISREG(st.st_mode);
  loc.blksize = static_cast<uint64_t>(st.st_blksize);
  return {};
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

Errno locate(const std::string& path, StorageType type, bool followLink, locationplus& loc,
             Buffer<int>& out) {
  UniqueFd file;
  if (const Errno error = openToRead(path.c_str(), followLink ? 0 : O_NOFOLLOW, file)) {
    ZOLT_ERROR_AS(QUERY, "open failed with " << error.value());
    return error;
  }
  const Errno error(getBlkLocationInt(file.get(), type, loc, out));
  if (!error) out.fillRest(-1);
  return error;
}

Errno locateRange(const std::string& path, StorageType type, bool followLink, int64_t offset,
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

Errno getBlockLocations(const std::string& path, StorageType type, bool followLink, int64_t offset,
                        int64_t length, std::optional<LentMemory> status,
                        std::optional<LentMemory> locations) {
  // What Java may not pass is refused whatever the file is, and before anything of it is looked at.
  if (status && status->address == nullptr) return Errno(EINVAL);
  if (locations && locations->address == nullptr) return Errno(EINVAL);
  if (offset < 0) return Errno(EINVAL);

  locationplus loc{};
  std::optional<Buffer<char>> header;
  if (status) {
    header.emplace().setBuffer(status->address, status->bytes);
    header->seek(BLOCK_HEADER_AT);
    takeFacts(status->address, loc);
  } else if (const Errno error = askFacts(path, followLink, loc)) {
    return error;
  }
  ZOLT_DEBUG_AS(QUERY, joined(" ", path, "inode", loc.inode, "offset", offset, "length", length,
                              "filelen", loc.filelen));
  if (loc.isRegular) {
    const Errno error = locateRange(path, type, followLink, offset, length, loc, locations);
    if (error) return error;
  }
  if (header) header->store(loc.blocksize).store(loc.nreplica);
  return {};
}

}  // namespace zolt
