package zolt.fs;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import java.time.Instant;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The status of a file: a reader that is filled again and again, and whose getters read the record
 * that the library wrote.
 *
 * <p>One object owns one direct buffer. Reading and all getters of numbers allocate nothing, so that
 * a thread keeps an object of its own for all its calls. It is for one thread at a time.
 *
 * <p>There are two kinds of status. The full one ({@link #read}) is checked with the rights of the
 * calling thread and read with those of the service. The fast one ({@link #readFast}) takes one
 * system call less for the check and opens nothing, but lacks {@link #blockSize()}, {@link
 * #replication()} and {@link #leaseLength()}.
 *
 * <pre>{@code
 * FileStatus status = new FileStatus();
 * status.read(file);
 * System.out.println(status.type() + " of " + status.size() + " bytes"); // prints: FILE of 11 bytes
 * }</pre>
 */
public final class FileStatus {
    private static final int INODE = 0;
    private static final int SIZE = 1;
    private static final int UID = 2;
    private static final int GID = 3;
    private static final int MODE = 4;
    private static final int BLOCK_SIZE = 5;
    private static final int ACCESS_TIME = 6;
    private static final int MODIFICATION_TIME = 7;
    private static final int CHANGE_TIME = 8;
    private static final int ACL = 9;
    private static final int REPLICATION = 10;
    private static final int LEASE_LENGTH = 11;
    private static final int FIELDS = 12;

    private static final int[] FORMAT = ZOLTNative.getFileStatusFormatNative();
    static final int RECORD_BYTES = FORMAT[2 * FIELDS];

    private static final int PERMISSION_BITS = 07777;
    private static final int MODE_TEXT_LENGTH = 11;
    /** Earlier than every time, so that no file counts as unchanged. */
    private static final long BEFORE_ALL = Long.MIN_VALUE;

    private final ByteBuffer record =
            ByteBuffer.allocateDirect(RECORD_BYTES).order(ByteOrder.nativeOrder());
    private boolean followLinks = true;
    private boolean withLease = true;
    /** The path that the record describes; null while it describes none. */
    private String path;
    private boolean full;

    /**
     * A reader that follows symbolic links and asks for the lease, with nothing read yet.
     *
     * <pre>{@code
     * FileStatus status = new FileStatus();
     * }</pre>
     */
    public FileStatus() {}

    /**
     * The full status of a path, in a reader of its own. For many paths keep one reader.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(directory).isDirectory()); // prints: true
     * }</pre>
     *
     * @param path a path
     * @return a reader that holds the status
     * @throws IOException as {@link #read}
     */
    public static FileStatus of(String path) throws IOException {
        FileStatus status = new FileStatus();
        status.read(path);
        return status;
    }

    /**
     * As {@link #of(String)}.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(Paths.get(file)).size()); // prints: 11
     * }</pre>
     *
     * @param path a path
     * @return the record
     * @throws IOException when it cannot be read
     */
    public static FileStatus of(Path path) throws IOException {
        return of(Check.text(path));
    }

    /**
     * Says whether a symbolic link at the end of a path stands for what it points to. A full status
     * of a link itself cannot be had: with {@code false}, reading one is an IOException ("Too many
     * levels of symbolic links"). A fast status follows links always.
     *
     * <pre>{@code
     * FileStatus status = new FileStatus().followLinks(false);
     * status.read(file);
     * }</pre>
     *
     * @param follow true, as at first, to follow
     * @return this
     */
    public FileStatus followLinks(boolean follow) {
        followLinks = follow;
        return this;
    }

    /**
     * Says whether a full status asks for the length of the lease holder, which costs a system call.
     *
     * <pre>{@code
     * FileStatus status = new FileStatus().withLease(false);
     * status.read(file);
     * System.out.println(status.leaseLength()); // prints: 0
     * }</pre>
     *
     * @param ask true, as at first, to ask
     * @return this
     */
    public FileStatus withLease(boolean ask) {
        withLease = ask;
        return this;
    }

    /**
     * Reads the full status of a path. After an exception the reader holds nothing.
     *
     * <pre>{@code
     * FileStatus status = new FileStatus();
     * status.read(file);
     * System.out.println(status.size()); // prints: 11
     * }</pre>
     *
     * @param path a path
     * @throws java.nio.file.NoSuchFileException when there is no such file
     * @throws java.nio.file.AccessDeniedException when the thread's identity may not search the way
     * @throws IOException for any other failure; its message has the path
     */
    public void read(String path) throws IOException {
        Check.notNull(path, "path");
        this.path = null;
        ZOLTNative.getFileStatusNative(path, followLinks, withLease, record, BEFORE_ALL, 0,
                BEFORE_ALL, 0);
        this.path = path;
        full = true;
    }

    /**
     * Reads the fast status of a path, following links. Block size, replication and lease are then 0.
     *
     * <pre>{@code
     * FileStatus status = new FileStatus();
     * status.readFast(file);
     * System.out.println(status.size() + " " + status.isFull()); // prints: 11 false
     * }</pre>
     *
     * @param path a path
     * @throws IOException as {@link #read}
     */
    public void readFast(String path) throws IOException {
        Check.notNull(path, "path");
        this.path = null;
        ZOLTNative.getFileStatusFastNative(path, followLinks, record, BEFORE_ALL, 0);
        record.putInt(at(BLOCK_SIZE), 0).putShort(at(REPLICATION), (short) 0)
                .putShort(at(LEASE_LENGTH), (short) 0);
        this.path = path;
        full = false;
    }

    /**
     * Reads the full status of the path again if both its modification time and its status change
     * time are later than those held. A change of the data moves both; one of owner, mode or
     * attributes alone moves the latter only, and is seen by {@link #refreshFast} and {@link
     * #isChanged}.
     *
     * <pre>{@code
     * FileStatus status = FileStatus.of(file);
     * System.out.println(status.refresh()); // prints: false
     * }</pre>
     *
     * @return true when the record was read anew; false when it is as it was
     * @throws IOException as {@link #read}; the reader then holds nothing
     * @throws IllegalStateException when the reader holds nothing
     */
    public boolean refresh() throws IOException {
        String of = path();
        long changed = seconds(CHANGE_TIME);
        long changedNanos = nanos(CHANGE_TIME);
        long modified = seconds(MODIFICATION_TIME);
        long modifiedNanos = nanos(MODIFICATION_TIME);
        path = null;
        boolean written = ZOLTNative.getFileStatusNative(of, followLinks, withLease, record,
                changed, changedNanos, modified, modifiedNanos) != 0;
        path = of;
        full |= written;
        return written;
    }

    /**
     * Reads the fast status of the path again if its status change time is later than the one held.
     * Block size, replication and lease keep what was held.
     *
     * <pre>{@code
     * FileStatus status = FileStatus.of(file);
     * boolean changed = status.refreshFast();
     * System.out.println(changed); // prints: false
     * }</pre>
     *
     * @return true when the record was read anew; false when it is as it was
     * @throws IOException as {@link #read}; the reader then holds nothing
     * @throws IllegalStateException when the reader holds nothing
     */
    public boolean refreshFast() throws IOException {
        String of = path();
        long changed = seconds(CHANGE_TIME);
        long changedNanos = nanos(CHANGE_TIME);
        path = null;
        boolean written = ZOLTNative.getFileStatusFastNative(of, followLinks, record, changed,
                changedNanos) != 0;
        path = of;
        return written;
    }

    /**
     * Whether the modification time or the status change time of the path is later than the one
     * held. The record stays as it is.
     *
     * <pre>{@code
     * FileStatus status = FileStatus.of(file);
     * System.out.println(status.isChanged()); // prints: false
     * }</pre>
     *
     * @return true when either is later
     * @throws IOException as {@link #read}; the reader keeps what it holds
     * @throws IllegalStateException when the reader holds nothing
     */
    public boolean isChanged() throws IOException {
        return ZOLTNative.isCMTimeChangedNative(path(), followLinks, seconds(CHANGE_TIME),
                nanos(CHANGE_TIME), seconds(MODIFICATION_TIME), nanos(MODIFICATION_TIME));
    }

    /**
     * The path that was read last.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of("/").path()); // prints: /
     * }</pre>
     *
     * @return the path as it was given
     * @throws IllegalStateException when the reader holds nothing, as all getters
     */
    public String path() {
        if (path == null) {
            throw new IllegalStateException("no status was read");
        }
        return path;
    }

    /**
     * Whether block size, replication and lease were read, as by {@link #read}.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(file).isFull()); // prints: true
     * }</pre>
     *
     * @return true after a full status
     */
    public boolean isFull() {
        path();
        return full;
    }

    /**
     * The inode number.
     *
     * <pre>{@code
     * long inode = FileStatus.of(file).inode();
     * }</pre>
     *
     * @return the number, unsigned
     */
    public long inode() {
        return number(INODE);
    }

    /**
     * The size in bytes.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(file).size()); // prints: 11
     * }</pre>
     *
     * @return bytes
     */
    public long size() {
        return number(SIZE);
    }

    /**
     * The id of the owner.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of("/").uid()); // prints: 0
     * }</pre>
     *
     * @return the id, 0 to 4294967295
     */
    public long uid() {
        return number(UID);
    }

    /**
     * The id of the group.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of("/").gid()); // prints: 0
     * }</pre>
     *
     * @return the id, 0 to 4294967295
     */
    public long gid() {
        return number(GID);
    }

    /**
     * The name of the owner, looked up anew with each call.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of("/").owner()); // prints: root
     * }</pre>
     *
     * @return the name, or the id in decimal where it has none
     */
    public String owner() {
        return Accounts.userOrId(uid());
    }

    /**
     * The name of the group, looked up anew with each call.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of("/").group()); // prints: root
     * }</pre>
     *
     * @return the name, or the id in decimal where it has none
     */
    public String group() {
        return Accounts.groupOrId(gid());
    }

    /**
     * The mode as in {@code st_mode} of stat(2): type and permission bits.
     *
     * <pre>{@code
     * System.out.println(Integer.toOctalString(FileStatus.of(file).mode())); // prints: 100644
     * }</pre>
     *
     * @return the mode
     */
    public int mode() {
        return (int) number(MODE);
    }

    /**
     * The permission bits, those of set-user-id, set-group-id and sticky included.
     *
     * <pre>{@code
     * System.out.println(Integer.toOctalString(FileStatus.of(file).permissions())); // prints: 644
     * }</pre>
     *
     * @return 0 to 07777
     */
    public int permissions() {
        return mode() & PERMISSION_BITS;
    }

    /**
     * The type of the file.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(directory).type()); // prints: DIRECTORY
     * }</pre>
     *
     * @return the type
     */
    public FileType type() {
        return FileType.ofMode(mode());
    }

    /**
     * Whether it is a directory.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(file).isDirectory()); // prints: false
     * }</pre>
     *
     * @return true for a directory
     */
    public boolean isDirectory() {
        return type() == FileType.DIRECTORY;
    }

    /**
     * The mode as a listing shows it, with a "+" behind it where there is an access control list.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(file).modeText()); // prints: -rw-r--r--
     * }</pre>
     *
     * @return 10 characters or 11
     */
    public String modeText() {
        return modeText(mode(), hasAcl());
    }

    /**
     * A mode as a listing shows it.
     *
     * <pre>{@code
     * System.out.println(FileStatus.modeText(0104755, false)); // prints: -rwsr-xr-x
     * }</pre>
     *
     * @param mode type and permission bits, as {@link #mode}
     * @param acl whether there is an access control list, which a "+" stands for
     * @return 10 characters or 11
     */
    public static String modeText(int mode, boolean acl) {
        StringBuilder text = new StringBuilder(MODE_TEXT_LENGTH);
        text.append(FileType.ofMode(mode).letter());
        for (int bit = 8; bit >= 0; bit--) {
            text.append((mode >> bit & 1) != 0 ? "xwr".charAt(bit % 3) : '-');
        }
        special(text, 3, mode, 04000, 's', 'S');
        special(text, 6, mode, 02000, 's', 'S');
        special(text, 9, mode, 01000, 't', 'T');
        return text.append(acl ? "+" : "").toString();
    }

    private static void special(StringBuilder text, int at, int mode, int bit, char with,
            char without) {
        if ((mode & bit) != 0) {
            text.setCharAt(at, text.charAt(at) == 'x' ? with : without);
        }
    }

    /**
     * The size of an HDFS block of the file: its block group factor times the file system's own block
     * size, or the default of {@link ZoltLibrary#setDefaults} rounded up to whole blocks.
     *
     * <pre>{@code
     * ZoltLibrary.setDefaults(1 << 20, 3);
     * System.out.println(FileStatus.of(file).blockSize()); // prints: 1048576
     * }</pre>
     *
     * @return bytes; 0 for anything but a regular file, and after a fast status
     */
    public long blockSize() {
        return number(BLOCK_SIZE);
    }

    /**
     * The number of copies of the file's data.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(directory).replication()); // prints: 0
     * }</pre>
     *
     * @return copies; 0 for anything but a regular file, and after a fast status
     */
    public int replication() {
        return (int) number(REPLICATION);
    }

    /**
     * The length of the holder of the file's lease, whether that has expired or not.
     *
     * <pre>{@code
     * Lease.of(file).set("writer");
     * System.out.println(FileStatus.of(file).leaseLength()); // prints: 6
     * }</pre>
     *
     * @return bytes; 0 when there is no lease, when none was asked for, and after a fast status
     */
    public int leaseLength() {
        return (int) number(LEASE_LENGTH);
    }

    /**
     * Whether the file has an access control list beyond its mode.
     *
     * <pre>{@code
     * System.out.println(FileStatus.of(file).hasAcl()); // prints: false
     * }</pre>
     *
     * @return true when it has
     */
    public boolean hasAcl() {
        return number(ACL) != 0;
    }

    /**
     * The last access, whole seconds.
     *
     * <pre>{@code
     * long seconds = FileStatus.of(file).accessSeconds();
     * }</pre>
     *
     * @return seconds since the epoch
     */
    public long accessSeconds() {
        return seconds(ACCESS_TIME);
    }

    /**
     * The last access, the part below a second.
     *
     * <pre>{@code
     * int nanos = FileStatus.of(file).accessNanos();
     * }</pre>
     *
     * @return nanoseconds, 0 to 999999999
     */
    public int accessNanos() {
        return nanos(ACCESS_TIME);
    }

    /**
     * The last access.
     *
     * <pre>{@code
     * FileOperations.setTimes(file, Instant.EPOCH, Instant.EPOCH);
     * System.out.println(FileStatus.of(file).accessTime()); // prints: 1970-01-01T00:00:00Z
     * }</pre>
     *
     * @return the time
     */
    public Instant accessTime() {
        return Instant.ofEpochSecond(accessSeconds(), accessNanos());
    }

    /**
     * The last change of the data, whole seconds.
     *
     * <pre>{@code
     * long seconds = FileStatus.of(file).modificationSeconds();
     * }</pre>
     *
     * @return seconds since the epoch
     */
    public long modificationSeconds() {
        return seconds(MODIFICATION_TIME);
    }

    /**
     * The last change of the data, the part below a second.
     *
     * <pre>{@code
     * int nanos = FileStatus.of(file).modificationNanos();
     * }</pre>
     *
     * @return nanoseconds, 0 to 999999999
     */
    public int modificationNanos() {
        return nanos(MODIFICATION_TIME);
    }

    /**
     * The last change of the data.
     *
     * <pre>{@code
     * FileOperations.setTimes(file, Instant.ofEpochSecond(1), null);
     * System.out.println(FileStatus.of(file).modificationTime()); // prints: 1970-01-01T00:00:01Z
     * }</pre>
     *
     * @return the time
     */
    public Instant modificationTime() {
        return Instant.ofEpochSecond(modificationSeconds(), modificationNanos());
    }

    /**
     * The last change of data or status, whole seconds.
     *
     * <pre>{@code
     * long seconds = FileStatus.of(file).changeSeconds();
     * }</pre>
     *
     * @return seconds since the epoch
     */
    public long changeSeconds() {
        return seconds(CHANGE_TIME);
    }

    /**
     * The last change of data or status, the part below a second.
     *
     * <pre>{@code
     * int nanos = FileStatus.of(file).changeNanos();
     * }</pre>
     *
     * @return nanoseconds, 0 to 999999999
     */
    public int changeNanos() {
        return nanos(CHANGE_TIME);
    }

    /**
     * The last change of data or status.
     *
     * <pre>{@code
     * Instant changed = FileStatus.of(file).changeTime();
     * }</pre>
     *
     * @return the time
     */
    public Instant changeTime() {
        return Instant.ofEpochSecond(changeSeconds(), changeNanos());
    }

    /** The path, or that nothing was read; for a log. */
    @Override
    public String toString() {
        return path == null ? "no status" : modeText() + " " + uid() + " " + gid() + " " + size() + " "
                + path;
    }

    /** Copies the record to the start of a buffer. */
    void copyTo(ByteBuffer buffer) {
        path();
        for (int at = 0; at < RECORD_BYTES; at++) {
            buffer.put(at, record.get(at));
        }
    }

    /** Sets the block size of a record that was copied. */
    static void setBlockSize(ByteBuffer copy, long bytes) {
        copy.putInt(at(BLOCK_SIZE), (int) bytes);
    }

    private static int at(int field) {
        return FORMAT[2 * field];
    }

    private long number(int field) {
        path();
        switch (FORMAT[2 * field + 1]) {
            case Short.BYTES:
                return Short.toUnsignedInt(record.getShort(at(field)));
            case Integer.BYTES:
                return Integer.toUnsignedLong(record.getInt(at(field)));
            default:
                return record.getLong(at(field));
        }
    }

    private long seconds(int field) {
        path();
        return record.getLong(at(field));
    }

    private int nanos(int field) {
        path();
        return record.getInt(at(field) + Long.BYTES);
    }
}
