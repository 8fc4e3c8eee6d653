package zolt.hdfs.namenode;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;

/**
 * Hadoop's limits of the blocks of a file: each costs memory, a signature and place in an answer, whether or not there is
 * a byte in it.
 *
 * @param leastSize bytes of a block of a new file
 * @param most blocks of a file
 */
record BlockLimits(long leastSize, long most) {
    static BlockLimits of(Configuration conf) {
        return new BlockLimits(
                conf.getLongBytes(DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY,
                        DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_DEFAULT),
                Math.max(1, conf.getLong(DFSConfigKeys.DFS_NAMENODE_MAX_BLOCKS_PER_FILE_KEY,
                        DFSConfigKeys.DFS_NAMENODE_MAX_BLOCKS_PER_FILE_DEFAULT)));
    }

    void checkSize(long blockSize) throws IOException {
        if (blockSize < leastSize) {
            throw new IOException("Specified block size is less than configured minimum value ("
                    + DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY + "): " + blockSize + " < " + leastSize);
        }
    }

    /** @param sequence the number of a writer's next block, from 0 */
    void checkNumber(int sequence) throws IOException {
        if (sequence >= most) {
            throw new IOException("File has reached the limit on maximum number of blocks ("
                    + DFSConfigKeys.DFS_NAMENODE_MAX_BLOCKS_PER_FILE_KEY + "): " + sequence + " >= " + most);
        }
    }

    /** The size of the blocks that a file is cut into to be read: its own, or twice that until there are not too many. */
    long sizeToRead(long fileSize, long blockSize) {
        long size = blockSize;
        while (fileSize / size >= most) {
            size *= 2;
        }
        return size;
    }
}
