package zolt.fs;

import java.io.Closeable;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import java.util.Iterator;
import java.util.NoSuchElementException;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The entries of a directory, without "." and "..", in the order of the file system.
 *
 * <p>There are two ways to go through them. The iterator ({@link #hasNext}, {@link #next}) makes a
 * {@link DirectoryEntry} of each. The cursor ({@link #advance}, then {@link #inode}, {@link #type},
 * {@link #nameBytes(byte[])}) allocates nothing. Both move the same position: use one of them.
 *
 * <p>The library keeps the open directory with the thread, one for each. So a listing belongs to the
 * thread that opened it, any other is refused with an {@link IllegalStateException}, as is a virtual
 * thread, which has no thread of the kernel for itself; and a thread
 * that has not closed a listing, nor reached its end, cannot open the next: to walk a tree, collect
 * the directories of a listing and descend after it.
 *
 * <pre>{@code
 * try (DirectoryListing listing = DirectoryListing.open(directory)) {
 *     while (listing.advance()) {
 *         System.out.println(listing.type() + ", " + listing.nameLength() + " bytes"); // prints: FILE, 5 bytes
 *     }
 * }
 * }</pre>
 */
public final class DirectoryListing implements Iterator<DirectoryEntry>, Closeable {
    /** Bytes of a buffer that a listing makes for itself. */
    public static final int DEFAULT_BUFFER_BYTES = 64 << 10;

    /** The smallest buffer, in bytes, that takes a name of 255 bytes. */
    public static final int MIN_BUFFER_BYTES = 4 + 14 + 255;

    private static final int FIRST_RECORD = Integer.BYTES;
    private static final int TYPE = Long.BYTES;
    private static final int NAME_LENGTH = TYPE + Short.BYTES;
    private static final int NAME = NAME_LENGTH + Integer.BYTES;

    /** The listing that holds this thread's open directory; one cell for the life of a thread. */
    private static final ThreadLocal<DirectoryListing[]> CURRENT =
            ThreadLocal.withInitial(() -> new DirectoryListing[1]);

    private final String path;
    private final boolean directoriesOnly;
    private final ByteBuffer buffer;
    private final Thread owner = Thread.currentThread();
    private final DirectoryListing[] current = CURRENT.get();

    private int left;
    private int next = FIRST_RECORD;
    private int entry = -1;
    private boolean more;
    private boolean peeked;

    private DirectoryListing(String path, boolean directoriesOnly, ByteBuffer buffer)
            throws IOException {
        this.path = Check.notNull(path, "path");
        this.directoriesOnly = directoriesOnly;
        this.buffer = buffer;
        Check.platformThread("the listing of ", path);
        if (current[0] != null) {
            throw new IllegalStateException("the thread \"" + owner.getName() + "\" has not ended its"
                    + " listing of " + current[0].path + ": close that before opening " + path);
        }
        // What a caller of the natives may have left open would be continued instead of this path.
        ZOLTNative.getDirentsNative(path, null, false, true);
        fill();
        current[0] = this;
    }

    /**
     * Opens a directory, and reads the first entries.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().name()); // prints: inner
     * }
     * }</pre>
     *
     * @param path the path of a directory
     * @return a listing, to be closed on this thread
     * @throws java.nio.file.NoSuchFileException when there is no such directory
     * @throws java.nio.file.AccessDeniedException when the thread's identity may not read it
     * @throws IOException for any other failure, "Not a directory" included
     * @throws IllegalStateException when this thread has not ended another listing, or is a virtual one
     */
    public static DirectoryListing open(String path) throws IOException {
        return open(path, false, newBuffer());
    }

    /**
     * As {@link #open(String)}.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(Paths.get(directory))) {
     *     System.out.println(listing.next().name()); // prints: inner
     * }
     * }</pre>
     *
     * @param path a directory
     * @return the listing, at its beginning
     * @throws IOException when it cannot be opened
     */
    public static DirectoryListing open(Path path) throws IOException {
        return open(Check.text(path));
    }

    /**
     * Opens a directory for its directories only. An entry of {@link FileType#UNKNOWN} is left out.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.openDirectories(directory)) {
     *     System.out.println(listing.hasNext()); // prints: false
     * }
     * }</pre>
     *
     * @param path the path of a directory
     * @return a listing, to be closed on this thread
     * @throws IOException as {@link #open(String)}
     */
    public static DirectoryListing openDirectories(String path) throws IOException {
        return open(path, true, newBuffer());
    }

    /**
     * Opens a directory with a buffer of the caller's, for one listing at a time.
     *
     * <pre>{@code
     * ByteBuffer buffer = ByteBuffer.allocateDirect(DirectoryListing.MIN_BUFFER_BYTES);
     * try (DirectoryListing listing = DirectoryListing.open(directory, false, buffer)) {
     *     System.out.println(listing.next().name()); // prints: inner
     * }
     * }</pre>
     *
     * @param path the path of a directory
     * @param directoriesOnly whether only directories are listed
     * @param buffer a direct buffer of at least {@link #MIN_BUFFER_BYTES}; what it holds, its position
     *     and its byte order do not matter, and it is not to be touched until the end
     * @return a listing, to be closed on this thread
     * @throws IOException as {@link #open(String)}
     * @throws IllegalArgumentException for a buffer that is not direct or too small
     */
    public static DirectoryListing open(String path, boolean directoriesOnly, ByteBuffer buffer)
            throws IOException {
        if (!buffer.isDirect() || buffer.capacity() < MIN_BUFFER_BYTES) {
            throw new IllegalArgumentException("a listing needs a direct buffer of at least "
                    + MIN_BUFFER_BYTES + " bytes, not " + buffer);
        }
        ByteBuffer own = buffer.duplicate().order(ByteOrder.nativeOrder());
        own.clear();
        return new DirectoryListing(path, directoriesOnly, own);
    }

    private static ByteBuffer newBuffer() {
        return ByteBuffer.allocateDirect(DEFAULT_BUFFER_BYTES);
    }

    /**
     * The number of entries of a directory, without "." and "..". It does not disturb a listing.
     *
     * <pre>{@code
     * System.out.println(DirectoryListing.count(directory)); // prints: 1
     * }</pre>
     *
     * @param path the path of a directory
     * @return the number; 0 too for a directory that is not there or may not be read
     * @throws IOException for any other failure
     */
    public static int count(String path) throws IOException {
        return ZOLTNative.getDirentCountNative(Check.notNull(path, "path"));
    }

    /**
     * The directory that is listed.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open("/")) {
     *     System.out.println(listing.path()); // prints: /
     * }
     * }</pre>
     *
     * @return the path as it was given
     */
    public String path() {
        return path;
    }

    /**
     * Moves the cursor to the next entry.
     *
     * <pre>{@code
     * int entries = 0;
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     while (listing.advance()) {
     *         entries++;
     *     }
     * }
     * System.out.println(entries); // prints: 1
     * }</pre>
     *
     * @return false at the end, which also ends the listing, and after {@link #close}
     * @throws IOException when the directory cannot be read on; that ends the listing
     * @throws IllegalStateException on another thread than the one that opened the listing
     */
    public boolean advance() throws IOException {
        checkThread();
        if (peeked) {
            peeked = false;
            return entry >= 0;
        }
        entry = -1;
        while (left == 0) {
            if (!more) {
                end();
                return false;
            }
            try {
                fill();
            } catch (IOException e) {
                end();
                throw e;
            }
        }
        left--;
        entry = next;
        next += NAME + buffer.getInt(next + NAME_LENGTH);
        return true;
    }

    private void fill() throws IOException {
        more = false; // where it fails, the library has ended the listing itself
        more = ZOLTNative.getDirentsNative(path, buffer, directoriesOnly, false) != 0;
        left = buffer.getInt(0);
        next = FIRST_RECORD;
        if (left == 0 && more) {
            close();
            throw new IOException("a name in " + path + " does not fit in a buffer of "
                    + buffer.capacity() + " bytes");
        }
    }

    private void end() {
        if (current[0] == this) {
            current[0] = null;
        }
    }

    /**
     * The inode number of the entry under the cursor.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     listing.advance();
     *     long inode = listing.inode();
     * }
     * }</pre>
     *
     * @return the number, unsigned
     * @throws IllegalStateException when there is no entry under the cursor, here and below
     */
    public long inode() {
        return buffer.getLong(entry());
    }

    /**
     * The type of the entry under the cursor.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     listing.advance();
     *     System.out.println(listing.type()); // prints: FILE
     * }
     * }</pre>
     *
     * @return the type; {@link FileType#UNKNOWN} where the file system does not keep it here
     */
    public FileType type() {
        return FileType.ofCode(buffer.getShort(entry() + TYPE));
    }

    /**
     * The length of the name of the entry under the cursor.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     listing.advance();
     *     System.out.println(listing.nameLength()); // prints: 5
     * }
     * }</pre>
     *
     * @return bytes
     */
    public int nameLength() {
        return buffer.getInt(entry() + NAME_LENGTH);
    }

    /**
     * Copies the name of the entry under the cursor.
     *
     * <pre>{@code
     * byte[] name = new byte[255];
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     listing.advance();
     *     int length = listing.nameBytes(name);
     *     System.out.println(new String(name, 0, length, UTF_8)); // prints: inner
     * }
     * }</pre>
     *
     * @param into where the bytes go, from its start on
     * @return the length of the name in bytes
     * @throws IndexOutOfBoundsException when the name is longer than that; nothing is copied
     */
    public int nameBytes(byte[] into) {
        int length = nameLength();
        if (length > into.length) {
            throw new IndexOutOfBoundsException(
                    "a name of " + length + " bytes, and room for " + into.length);
        }
        buffer.position(entry + NAME);
        buffer.get(into, 0, length);
        return length;
    }

    /**
     * Whether there is an entry for {@link #next}.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.hasNext()); // prints: true
     * }
     * }</pre>
     *
     * @return false at the end, which also ends the listing, and after {@link #close}
     * @throws UncheckedIOException when the directory cannot be read on
     * @throws IllegalStateException on another thread than the one that opened the listing
     */
    @Override
    public boolean hasNext() {
        if (peeked) {
            checkThread();
            return entry >= 0;
        }
        try {
            boolean found = advance();
            peeked = true;
            return found;
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /**
     * The next entry.
     *
     * <pre>{@code
     * try (DirectoryListing listing = DirectoryListing.open(directory)) {
     *     System.out.println(listing.next().name()); // prints: inner
     * }
     * }</pre>
     *
     * @return the entry, which stays valid
     * @throws NoSuchElementException at the end
     * @throws UncheckedIOException when the directory cannot be read on
     * @throws IllegalStateException on another thread than the one that opened the listing
     */
    @Override
    public DirectoryEntry next() {
        if (!hasNext()) {
            throw new NoSuchElementException("no more entries in " + path);
        }
        peeked = false;
        byte[] name = new byte[nameLength()];
        nameBytes(name);
        return new DirectoryEntry(inode(), type(), name);
    }

    /**
     * Ends the listing; ending it twice does nothing.
     *
     * <pre>{@code
     * DirectoryListing listing = DirectoryListing.open(directory);
     * listing.close();
     * System.out.println(listing.advance()); // prints: false
     * }</pre>
     *
     * @throws IllegalStateException on another thread than the one that opened the listing, which stays
     *     open
     */
    @Override
    public void close() throws IOException {
        checkThread();
        boolean open = more;
        more = false;
        left = 0;
        entry = -1;
        peeked = false;
        end();
        if (open) {
            ZOLTNative.getDirentsNative(path, null, false, true);
        }
    }

    private void checkThread() {
        if (Thread.currentThread() != owner) {
            Check.thread(owner, "the listing of " + path);
        }
    }

    private int entry() {
        checkThread();
        if (entry < 0) {
            throw new IllegalStateException("no entry of " + path + " under the cursor");
        }
        return entry;
    }
}
