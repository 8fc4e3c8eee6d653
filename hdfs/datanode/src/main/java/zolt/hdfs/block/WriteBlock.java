package zolt.hdfs.block;

/**
 * A block that a client writes. The id names the inode and the place of the block in the client's session; the
 * generation stamp carries where in the file the block starts, at any byte, and how often its pipeline
 * was recovered: a stamp must grow each time.
 *
 * @param inode the inode of the file
 * @param sequence the number of the block in the session
 * @param start where the block starts in the file: below 1 PiB
 * @param recovery how often the pipeline was recovered: below 8192
 */
public record WriteBlock(long inode, int sequence, long start, int recovery) {
    private static final int START_BITS = 50;
    private static final int RECOVERY_BITS = 13;

    /** Checks that the values fit; {@link IllegalArgumentException} says which does not. */
    public WriteBlock {
        Packing.pack(inode, sequence);
        if (start < 0 || start >>> START_BITS != 0) {
            throw new IllegalArgumentException("A block for writing starts below 1 PiB, not at " + start);
        }
        if (recovery < 0 || recovery >>> RECOVERY_BITS != 0) {
            throw new IllegalArgumentException("The pipeline was recovered too often: " + recovery + " times");
        }
    }

    /**
     * The block that an id and a stamp name.
     *
     * @throws IllegalArgumentException when they name none
     */
    public static WriteBlock of(long id, long stamp) {
        if (id < 0 || !ReadBlock.isWriting(id) || stamp < 0) {
            throw new IllegalArgumentException("Not a block for writing: " + id + ", " + stamp);
        }
        WriteBlock block = new WriteBlock(Packing.inode(id), Packing.number(id), stamp >>> RECOVERY_BITS,
                (int) (stamp & (1L << RECOVERY_BITS) - 1));
        Packing.requireOnlyName(id, block.id());
        return block;
    }

    /** The block id. */
    public long id() {
        return Packing.WRITING | Packing.pack(inode, sequence);
    }

    /** The generation stamp. */
    public long stamp() {
        return start << RECOVERY_BITS | recovery;
    }

    /** The block that follows this one, once that has a length. */
    public WriteBlock next(long length) {
        return new WriteBlock(inode, sequence + 1, start + length, 0);
    }

    /** The same block after a recovery of its pipeline. */
    public WriteBlock recovered() {
        return new WriteBlock(inode, sequence, start, recovery + 1);
    }
}
