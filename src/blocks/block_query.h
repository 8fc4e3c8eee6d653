// Where the blocks of a byte range of an open file lie.
//
// The file system keeps no HDFS blocks: a file is a sequence of file-system blocks, each on one or
// more nodes, and an HDFS block is a group of them. The answer is an array of 32-bit words: for
// each block `nreplica` node numbers, then `nreplica` second values.
#pragma once

#include <cstdint>
#include <utility>

#include "base/buffer.h"

namespace zolt {

/// The range asked for and the summary of the answer. Sizes and positions are in bytes.
struct location {
  uint64_t offset;     // first byte of the range
  uint64_t length;     // of the range
  uint64_t blocksize;  // of the blocks in the answer; for some queries also of those asked for
  uint32_t nblock;     // blocks written
  uint32_t nreplica;   // replicas per block
};

/// With the file's facts, which the caller fills in.
struct locationplus : location {
  uint64_t filelen;
  uint64_t blksize;  // the file system's block size for the file (st_blksize)
  uint64_t inode;
  bool isRegular;
};

/// Selects the query. Any other value may come from Java, and is answered with an error line and no
/// blocks.
enum StorageType : int32_t {
  FS_BLOCKS = 0,     // the file system's blocks, in the file system's own block size
  SIZES_ONLY = 1,    // no locations: HDFS block size and replica count
  HDFS_BLOCKS = 2,   // the location map as the file system counts it in HDFS blocks
  RANKED_NODES = 3,  // for each HDFS block the nodes with most of its file-system blocks
};

/// The HDFS block size: block group factor times loc.blocksize, which on entry is the file system's
/// block size; for a file without a factor defaultBlockSize, rounded up to a multiple of it. Also
/// loc.nreplica. 0, or -1 with errno: EBADF for a negative descriptor, EINVAL for a block size of
/// 0, else the client's.
int getBlkBGF(int fd, location& loc);

/// The location map of the range, counted in loc.blocksize; when that is 0, in the file system's
/// own block size, which then becomes loc.blocksize. The range is widened to whole blocks; an empty
/// one of a file with data stands for the block that holds its offset.
///
/// 0, or -1 with errno: EBADF for a negative descriptor, EIO for an impossible reply, else the
/// client's; then nblock and nreplica are 0. std::overflow_error when the words do not fit. In both
/// cases the words of earlier replies stay written. A reply of no blocks ends the walk.
int getBlkLocation(int fd, locationplus& loc, Buffer<int>& out);

/// One answer for each HDFS block of loc.blocksize bytes in the range: the nodes that hold most of
/// its file-system blocks (of loc.blksize bytes), then how many each holds, -1 where there are
/// fewer nodes than replicas. loc.blocksize becomes a multiple of loc.blksize. The same results;
/// EINVAL when either size, or their quotient, is 0.
int getBlkLocation_sort(int fd, locationplus& loc, Buffer<int>& out);

/// Clamps the range to the file and runs the query of that type. 0 also for what is no regular file
/// and for an unknown type, with no blocks; else a positive errno. std::overflow_error as above.
int getBlkLocationInt(int fd, StorageType type, locationplus& loc, Buffer<int>& out);

/// Orders by count, largest first.
bool count_greater(const std::pair<int, int>& a, const std::pair<int, int>& b);

}  // namespace zolt
