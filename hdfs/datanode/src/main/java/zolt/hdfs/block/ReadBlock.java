package zolt.hdfs.block;

/**
 * A block of a file, for reading. Id and generation stamp say all that a DataNode needs to find its bytes, so that
 * nobody keeps a list of blocks: the id names inode and block, the stamp the generation of the inode, without
 * which the number might by now belong to another file, and the size of the file's blocks.
 *
 * @param inode the inode of the file
 * @param index the number of the block in the file, from 0
 * @param generation the generation of the inode, all 32 bits of it; 0 where the file system tells none
 * @param blockSize the size of the file's blocks in bytes: a multiple of 4 KiB up to 8 TiB
 */
public record ReadBlock(long inode, int index, int generation, long blockSize) {
    /** What a block size is a multiple of. */
    public static final int UNIT = 4096;

    private static final int UNIT_BITS = 12;
    private static final int SIZE_BITS = 31;

    /** Checks that the values fit; {@link IllegalArgumentException} says which does not. */
    public ReadBlock {
        Packing.pack(inode, index);
        if (blockSize <= 0 || blockSize % UNIT != 0 || blockSize >>> UNIT_BITS + SIZE_BITS != 0) {
            throw new IllegalArgumentException("A block size is a multiple of 4096 below 8 TiB, not " + blockSize);
        }
    }

    /**
     * The block that an id and a stamp name.
     *
     * @throws IllegalArgumentException when they name none
     */
    public static ReadBlock of(long id, long stamp) {
        if (id < 0 || isWriting(id) || stamp < 0) {
            throw new IllegalArgumentException("Not a block for reading: " + id + ", " + stamp);
        }
        ReadBlock block = new ReadBlock(Packing.inode(id), Packing.number(id), (int) (stamp >>> SIZE_BITS),
                (stamp & (1L << SIZE_BITS) - 1) << UNIT_BITS);
        Packing.requireOnlyName(id, block.id());
        return block;
    }

    /** Whether an id is one for writing. */
    public static boolean isWriting(long id) {
        return (id & Packing.WRITING) != 0;
    }

    /** The block id. */
    public long id() {
        return Packing.pack(inode, index);
    }

    /** The generation stamp. */
    public long stamp() {
        return Integer.toUnsignedLong(generation) << SIZE_BITS | blockSize >>> UNIT_BITS;
    }

    /** Where the block starts in the file. */
    public long start() {
        return index * blockSize;
    }

    /** How much of the block a file of a size has. */
    public long lengthIn(long fileSize) {
        return Math.max(0, Math.min(blockSize, fileSize - start()));
    }
}
