package zolt.hdfs.block;

import java.util.Arrays;
import java.util.OptionalInt;

/**
 * The generation of a file's inode in the block tokens for it. A token names an id, and an id the inode; but the
 * number of an inode is used again once the file is gone, and a stamp is not signed. So a NameNode signs the
 * generation too, as one more of the storage ids that a token has: clients pass tokens on as they are.
 */
public final class SignedGeneration {
    private static final String MARK = "generation=";

    private SignedGeneration() {}

    /**
     * The storage ids for a token.
     *
     * @param generation 0 where the file system tells none
     */
    public static String[] sign(String[] storageIds, int generation) {
        String[] signed = Arrays.copyOf(storageIds, storageIds.length + 1);
        signed[storageIds.length] = MARK + Integer.toHexString(generation);
        return signed;
    }

    /** The generation in a token's storage ids; nothing when there is none. */
    public static OptionalInt in(String[] storageIds) {
        for (String id : storageIds) {
            if (id != null && id.startsWith(MARK)) {
                try {
                    return OptionalInt.of(Integer.parseUnsignedInt(id.substring(MARK.length()), 16));
                } catch (NumberFormatException e) {
                    return OptionalInt.empty();
                }
            }
        }
        return OptionalInt.empty();
    }
}
