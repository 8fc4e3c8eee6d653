package zolt.hdfs.block;

/**
 * An inode and a number in 61 bits of a block id. Most inodes are small and most numbers too, but not on the
 * same file systems: one bit says which of two widths was taken.
 *
 * <pre>
 *   bit 62     61     60 ... 20           19 ... 0
 *   kind     wide=0   inode (41 bits)     number (20 bits)
 *   kind     wide=1   inode (49 bits)     number (12 bits)
 * </pre>
 *
 * Bit 63 stays 0: HDFS takes ids below 0 for erasure coding.
 */
final class Packing {
    /** The bit of ids for writing. */
    static final long WRITING = 1L << 62;

    private static final long WIDE = 1L << 61;
    private static final int NUMBER_BITS = 20;
    private static final int WIDE_NUMBER_BITS = 12;
    private static final int BITS = 61;

    private Packing() {}

    static long pack(long inode, int number) {
        if (fits(inode, number, NUMBER_BITS)) {
            return inode << NUMBER_BITS | number;
        }
        if (fits(inode, number, WIDE_NUMBER_BITS)) {
            return WIDE | inode << WIDE_NUMBER_BITS | number;
        }
        throw new IllegalArgumentException("Inode " + Long.toUnsignedString(inode) + " and block " + number
                + " do not fit into a block id: an inode of up to 41 bits with 20 bits of blocks, or one of up to"
                + " 49 bits with 12");
    }

    static long inode(long id) {
        return (id & WIDE - 1) >>> numberBits(id);
    }

    static int number(long id) {
        return (int) (id & (1L << numberBits(id)) - 1);
    }

    /** What fits the narrow form has no other name in the wide one. */
    static void requireOnlyName(long id, long name) {
        if (id != name) {
            throw new IllegalArgumentException("Not a block id: " + id);
        }
    }

    private static int numberBits(long id) {
        return (id & WIDE) != 0 ? WIDE_NUMBER_BITS : NUMBER_BITS;
    }

    private static boolean fits(long inode, int number, int numberBits) {
        return inode > 0 && inode >>> BITS - numberBits == 0 && number >= 0 && number >>> numberBits == 0;
    }
}
