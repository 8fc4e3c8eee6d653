package zolt.hdfs.namenode;

import zolt.hdfs.block.ReadBlock;

/** A closed file, cut into blocks: what it is made of follows from its size alone. */
record FileBlocks(long inode, int generation, long size, long blockSize) {
    /** Blocks begin where a DataNode can say so. */
    static FileBlocks of(long inode, int generation, long size, long blockSize, BlockLimits limits) {
        long units = Math.max(1, (blockSize + ReadBlock.UNIT - 1) / ReadBlock.UNIT);
        return new FileBlocks(inode, generation, size, limits.sizeToRead(size, units * ReadBlock.UNIT));
    }

    int indexOf(long offset) {
        return (int) (offset / blockSize);
    }

    ReadBlock block(int index) {
        return new ReadBlock(inode, index, generation, blockSize);
    }
}
