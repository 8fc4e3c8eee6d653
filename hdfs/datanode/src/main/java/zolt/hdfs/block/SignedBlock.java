package zolt.hdfs.block;

import java.util.Arrays;
import java.util.Optional;
import java.util.OptionalLong;

/**
 * What a NameNode signs of a block besides its id. An id names an inode, whose number is used again once the file is
 * gone, and Hadoop's tokens have no room for a stamp. So what else makes the block is put among the storage ids that a
 * token has: clients pass tokens on as they are.
 */
public final class SignedBlock {
    private static final String STAMP = "stamp=";
    private static final String WRITER = "writer=";
    private static final int HEX = 16;

    private SignedBlock() {}

    /** Who may write: the session that has the lease, into the file of a generation. */
    public record Writer(int generation, String session) {}

    /** The storage ids of a token to read a block with that stamp, which says the generation and the range. */
    public static String[] toRead(String[] storageIds, long stamp) {
        return with(storageIds, STAMP + Long.toHexString(stamp));
    }

    /** The storage ids of a token to write. */
    public static String[] toWrite(String[] storageIds, Writer writer) {
        return with(storageIds, WRITER + Integer.toHexString(writer.generation) + " " + writer.session);
    }

    /** The stamp in the storage ids of a token. */
    public static OptionalLong stamp(String[] signed) {
        Optional<String> value = valueOf(STAMP, signed);
        return value.isEmpty() ? OptionalLong.empty() : OptionalLong.of(Long.parseUnsignedLong(value.get(), HEX));
    }

    /** The writer in the storage ids of a token. */
    public static Optional<Writer> writer(String[] signed) {
        return valueOf(WRITER, signed).map(value -> {
            int blank = value.indexOf(' ');
            return new Writer(Integer.parseUnsignedInt(value.substring(0, blank), HEX), value.substring(blank + 1));
        });
    }

    /** The storage ids proper. */
    public static String[] storageIds(String[] signed) {
        boolean isMarked = valueOf(STAMP, signed).isPresent() || valueOf(WRITER, signed).isPresent();
        return isMarked ? Arrays.copyOf(signed, signed.length - 1) : signed;
    }

    private static String[] with(String[] storageIds, String mark) {
        String[] signed = Arrays.copyOf(storageIds, storageIds.length + 1);
        signed[storageIds.length] = mark;
        return signed;
    }

    /** The mark is what comes last: what stands before it, a DataNode has chosen. */
    private static Optional<String> valueOf(String mark, String[] signed) {
        String last = signed.length == 0 ? "" : signed[signed.length - 1];
        return last.startsWith(mark) ? Optional.of(last.substring(mark.length())) : Optional.empty();
    }
}
