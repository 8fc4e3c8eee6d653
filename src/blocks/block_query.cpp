#include "blocks/block_query.h"

#include <algorithm>
#include <cerrno>

#include "base/settings.h"
#include "blocks/location_walk.h"
#include "blocks/node_counts.h"
#include "placement/directives.h"

namespace zolt {

namespace {

// Whom the log lines speak for.
constexpr const char* BLOCK_BGF = "getBlkBGF";
constexpr const char* BLOCKS = "getBlkLocation";
constexpr const char* RANKING = "getBlkLocation_sort";

Errno readBlockSize(int fd, location& loc) {
  if (fd < 0) return Errno(EBADF);
  const uint64_t fsblk = loc.blocksize;
  loc.nblock = 0;
  loc.nreplica = 1;
  loc.blocksize = 0;
  if (fsblk == 0) return Errno(EINVAL);

  BgfRequest request{headerFor<BgfRequest>(), {}, readBgfRecord()};
  request.replication.length = sizeof request.replication;
  request.replication.type = ZOLT_READ_REPLICATION;
  if (const Errno error = ask(zolt_fcntl, fd, request, Failing::NEGATIVE)) return error;

  if (request.attribute.status != 0) {
    loc.blocksize = defaultBlockSize;
    ZOLT_DEBUG_AS(BLOCK_BGF, "bgf is not set, uses default block size: " << loc.blocksize);
  } else {
    const int bgf = bgfIn(request.attribute);
    ZOLT_DEBUG_AS(BLOCK_BGF, "bgf: " << bgf);
    loc.blocksize = static_cast<uint64_t>(int64_t{bgf}) * fsblk;
  }
  if (const uint64_t excess = loc.blocksize % fsblk; excess != 0) {
    loc.blocksize += fsblk - excess;
    ZOLT_DEBUG_AS(BLOCK_BGF,
                  "fs blocksize " << fsblk << " returns aligned blocksize " << loc.blocksize);
  }
  loc.nreplica = request.replication.dataReplicas;
  return {};
}

Errno readBlocks(int fd, locationplus& loc, Buffer<int>& out) {
  loc.nblock = 0;
  loc.nreplica = 0;
  if (fd < 0) return Errno(EBADF);

  LocationWalk walk(fd, loc.filelen, loc.offset, loc.length);
  if (loc.blocksize != 0) walk.align(loc.blocksize);
  walk.coverOffset();
  uint32_t blocks = 0;
  do {
    if (const Errno error = walk.read()) return error;
    const int64_t metaBlockSize = walk.metaBlockSize();
    if (walk.skip() == 0) {
      if (metaBlockSize >= 1) {
        loc.blocksize = static_cast<uint64_t>(metaBlockSize);
        walk.align(loc.blocksize);
      } else if (walk.blocks() != 0) {  // without blocks there is nothing to count
        return Errno(EIO);
      }
    } else if (walk.skip() != static_cast<uint64_t>(metaBlockSize)) {
      ZOLT_DEBUG_AS(BLOCKS,
                    "skipfactor(" << walk.skip() << ") != metaBlockSize(" << metaBlockSize << ")");
    }
    walk.logReply(BLOCKS);
    const auto replies =
        static_cast<unsigned long>(walk.replicas()) * static_cast<unsigned long>(walk.blocks());
    out.append(walk.words(), 2 * replies);
    blocks += static_cast<uint32_t>(walk.blocks());
  } while (walk.advance());
  loc.nblock = blocks;
  loc.nreplica = static_cast<uint32_t>(walk.replicas());
  return {};
}

Errno rankNodes(int fd, locationplus& loc, Buffer<int>& out) {
  const uint64_t skip = loc.blksize;
  if (skip == 0) return Errno(EINVAL);
  if (loc.blocksize == 0) {
    ZOLT_WARN_AS(RANKING, "input blocksize=" << loc.blocksize << " fs blksize=" << skip
                                             << " inode=" << loc.inode);
    return Errno(EINVAL);
  }
  loc.nblock = 0;
  loc.nreplica = 0;
  loc.blocksize -= loc.blocksize % skip;
  const uint64_t group = loc.blocksize / skip;
  if (group == 0) return Errno(EINVAL);
  if (fd < 0) return Errno(EBADF);

  LocationWalk walk(fd, loc.filelen, loc.offset, loc.length);
  walk.align(skip);
  NodeCounts nodes;
  uint32_t emitted = 0;
  do {
    if (const Errno error = walk.read()) return error;
    walk.logReply(RANKING);
    // Every reply begins a group of its own, but what the last one left uncounted is carried into
    // it: a reply that ends inside a group shifts the groups of the next.
    const int32_t* words = walk.words();
    for (auto left = static_cast<uint64_t>(walk.blocks()); left != 0;) {
      const uint64_t blocks = std::min(left, group);
      nodes.add(words, blocks, walk.replicas());
      left -= blocks;
      if (blocks != group) break;
      words += std::ptrdiff_t{2} * walk.replicas() * static_cast<std::ptrdiff_t>(blocks);
      nodes.emit(walk.replicas(), out);
      ++emitted;
    }
  } while (walk.advance());
  if (!nodes.empty()) {
    nodes.emit(walk.replicas(), out);
    ++emitted;
  }
  loc.nreplica = static_cast<uint32_t>(walk.replicas());
  loc.nblock = emitted;
  ZOLT_DEBUG_AS(RANKING, "inode=" << loc.inode << " fs blksize=" << skip
                                  << " hdfs blksize=" << loc.blocksize << " group blknum=" << group
                                  << " blknum=" << loc.nblock);
  return {};
}

Errno readSizes(int fd, locationplus& loc, Buffer<int>& out) {
  const Errno error = readBlockSize(fd, loc);
  loc.nreplica = std::max(static_cast<uint32_t>(defaultReplication), loc.nreplica);
  out.fillRest(-1);
  return error;
}

using LocationQuery = Errno (*)(int fd, locationplus& loc, Buffer<int>& out);

Errno readHdfsBlocks(int fd, locationplus& loc, Buffer<int>& out, LocationQuery query) {
  const Errno error = readBlockSize(fd, loc);
  return !error && loc.length != 0 ? query(fd, loc, out) : error;
}

}  // namespace

int getBlkBGF(int fd, location& loc) {
  return readBlockSize(fd, loc).asSystemCall();
}

int getBlkLocation(int fd, locationplus& loc, Buffer<int>& out) {
  return readBlocks(fd, loc, out).asSystemCall();
}

int getBlkLocation_sort(int fd, locationplus& loc, Buffer<int>& out) {
  return rankNodes(fd, loc, out).asSystemCall();
}

int getBlkLocationInt(int fd, StorageType type, locationplus& loc, Buffer<int>& out) {
  const uint64_t room = loc.offset < loc.filelen ? loc.filelen - loc.offset : 0;
  loc.length = std::min(loc.length, room);
  loc.nblock = 0;
  loc.nreplica = 0;
  loc.blocksize = loc.blksize;
  if (!loc.isRegular) return 0;

  Errno error;
  switch (type) {
    case FS_BLOCKS:
      loc.blocksize = 0;
      error = readBlocks(fd, loc, out);
      break;
    case SIZES_ONLY:
      error = readSizes(fd, loc, out);
      break;
    case HDFS_BLOCKS:
      error = readHdfsBlocks(fd, loc, out, readBlocks);
      break;
    case RANKED_NODES:
      error = readHdfsBlocks(fd, loc, out, rankNodes);
      break;
    default:
      ZOLT_ERROR("Unknown storage type " << type);
  }
  if (error) {
    ZOLT_ERROR("failed to get extended stat for " << fd);
    return error.value();
  }
  if (loc.nblock == 0 && loc.filelen != 0) {
    ZOLT_DEBUG("No location map returned. ret=0, StorageType="
               << type << ", inode=" << loc.inode << ", block.offset=" << loc.offset
               << ", block.length=" << loc.length << ", block.blocksize=" << loc.blocksize
               << ", block.nreplica=" << loc.nreplica << ", block.nblock=" << loc.nblock);
  }
  return 0;
}

}  // namespace zolt
