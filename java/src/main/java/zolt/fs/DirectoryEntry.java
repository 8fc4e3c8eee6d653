package zolt.fs;

import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;

/**
 * One entry of a directory, as a value.
 *
 * <p>A name is bytes. {@link #name()} is those bytes as UTF-8; {@link #isReachable()} says whether a
 * path made of that text leads back to the entry.
 *
 * <pre>{@code
 * try (DirectoryListing listing = DirectoryListing.open(directory)) {
 *     while (listing.hasNext()) {
 *         DirectoryEntry entry = listing.next();
 *         System.out.println(entry.type().letter() + " " + entry.name()); // prints: - inner
 *     }
 * }
 * }</pre>
 */
public final class DirectoryEntry {
    private static final int FOUR_BYTE_LEAD = 0xf0;
    private static final char REPLACEMENT = '\ufffd';

    private final long inode;
    private final FileType type;
    private final byte[] nameBytes;
    private final String name;
    private final boolean reachable;

    DirectoryEntry(long inode, FileType type, byte[] nameBytes) {
        this.inode = inode;
        this.type = type;
        this.nameBytes = nameBytes;
        this.name = new String(nameBytes, StandardCharsets.UTF_8);
        this.reachable = isReachable(nameBytes);
    }

    /** Paths cross into the library as modified UTF-8, which has no form of four bytes. */
    private static boolean isReachable(byte[] name) {
        boolean ascii = true;
        for (byte each : name) {
            if ((each & FOUR_BYTE_LEAD) == FOUR_BYTE_LEAD) {
                return false;
            }
            ascii &= each >= 0;
        }
        if (ascii) {
            return true;
        }
        try {
            StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(name));
            return true;
        } catch (CharacterCodingException e) {
            return false;
        }
    }

    /**
     * The inode number.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     long inode = listing.next().inode();
     * }
     * }</pre>
     *
     * @return the number, unsigned
     */
    public long inode() {
        return inode;
    }

    /**
     * The type; {@link FileType#UNKNOWN} where the file system does not keep it in the directory.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().type()); // prints: FILE
     * }
     * }</pre>
     *
     * @return the type
     */
    public FileType type() {
        return type;
    }

    /**
     * The name as text; what is no UTF-8 in it is U+FFFD.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().name()); // prints: inner
     * }
     * }</pre>
     *
     * @return the name
     */
    public String name() {
        return name;
    }

    /**
     * The name byte for byte.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().nameBytes().length); // prints: 5
     * }
     * }</pre>
     *
     * @return a copy of the bytes
     */
    public byte[] nameBytes() {
        return nameBytes.clone();
    }

    /**
     * Whether a path that ends in {@link #name()} leads to this entry. A name that is no UTF-8, or has
     * a character beyond U+FFFF, can be listed but not be named in a call of this library.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().isReachable()); // prints: true
     * }
     * }</pre>
     *
     * @return false when the entry cannot be opened by its name
     */
    public boolean isReachable() {
        return reachable;
    }

    /**
     * Whether a path crosses into the library as the bytes that it has on the disk. A supplementary
     * character does not, nor does half of one, nor U+FFFD, which stands for bytes that were lost.
     *
     * <pre>{@code
     * System.out.println(DirectoryEntry.isReachable("/srv/\ud83d\ude00")); // prints: false
     * }</pre>
     *
     * @param path a path as text
     * @return false when what has this name cannot be reached by it
     */
    public static boolean isReachable(String path) {
        return path.chars().noneMatch(each -> Character.isSurrogate((char) each) || each == REPLACEMENT);
    }

    /** Type letter, inode and name; for a log. */
    @Override
    public String toString() {
        return type.letter() + " " + Long.toUnsignedString(inode) + " " + name;
    }
}
