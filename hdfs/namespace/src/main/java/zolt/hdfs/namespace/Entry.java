package zolt.hdfs.namespace;

import java.nio.charset.StandardCharsets;

/** The status of one entry of the namespace; of a link itself. */
public final class Entry {
    private static final int TYPE_BITS = 0170000;
    private static final int DIRECTORY = 0040000;
    private static final int REGULAR = 0100000;
    private static final int LINK = 0120000;

    /** The sticky bit. */
    static final int UNBEGUN = 01000;
    private static final int PERMISSION_BITS = 01777;
    private static final byte[] ITSELF = {};

    private final long[] words;
    private final int at;

    private Entry(long[] words) {
        this(words, 0);
    }

    /** What stands in some words from one on. */
    Entry(long[] words, int at) {
        this.words = words;
        this.at = at;
    }

    private long word(int which) {
        return words[at + which];
    }

    /** What stands at a path of the process's own file system. */
    static Entry of(String path) throws SystemCallException {
        return of(NativeFiles.NO_DIRECTORY, path.getBytes(StandardCharsets.UTF_8), path);
    }

    /** What a descriptor is open on. */
    static Entry of(int descriptor) throws SystemCallException {
        return of(descriptor, ITSELF, "descriptor " + descriptor);
    }

    static Entry of(int directory, byte[] name, String what) throws SystemCallException {
        long[] words = new long[NativeFiles.STATUS_WORDS];
        SystemCallException.check(NativeFiles.status(directory, name, words), what);
        return new Entry(words);
    }

    public long inode() {
        return word(NativeFiles.INODE);
    }

    public boolean isDirectory() {
        return is(DIRECTORY);
    }

    /** A file; what is neither file, directory nor link (a FIFO, a device) counts as none of them. */
    public boolean isFile() {
        return is(REGULAR);
    }

    public boolean isLink() {
        return is(LINK);
    }

    private boolean is(int type) {
        return (word(NativeFiles.MODE) & TYPE_BITS) == type;
    }

    /** The sticky bit and the nine of read, write and execute: what HDFS knows of a mode. */
    public int permissions() {
        return (int) word(NativeFiles.MODE) & PERMISSION_BITS;
    }

    /**
     * Whether a file has the sticky bit. It says nothing of a file to Linux; the service makes files with it, and takes
     * it away when they have their lease.
     */
    boolean isUnbegun() {
        return isFile() && (permissions() & UNBEGUN) != 0;
    }

    /** Whether what is made in the directory gets its group from the kernel already. */
    boolean handsGroupDown() {
        return isDirectory() && (word(NativeFiles.MODE) & 02000) != 0;
    }

    public int uid() {
        return (int) word(NativeFiles.UID);
    }

    public int gid() {
        return (int) word(NativeFiles.GID);
    }

    public long size() {
        return word(NativeFiles.SIZE);
    }

    public long accessMillis() {
        return word(NativeFiles.ACCESS_MILLIS);
    }

    public long modifyMillis() {
        return word(NativeFiles.MODIFY_MILLIS);
    }

    public long modifyNanos() {
        return word(NativeFiles.MODIFY_NANOS);
    }

    public long changeNanos() {
        return word(NativeFiles.CHANGE_NANOS);
    }

    public long links() {
        return word(NativeFiles.LINKS);
    }

    public long device() {
        return word(NativeFiles.DEVICE);
    }

    /** A record in which the status stands, and the rest is asked for. */
    long[] asRecord() {
        long[] record = new long[NativeFiles.RECORD_WORDS];
        System.arraycopy(words, at, record, 0, NativeFiles.STATUS_WORDS);
        record[NativeFiles.FLAGS] = NativeFiles.WANTED;
        return record;
    }

    long mount() {
        return word(NativeFiles.MOUNT);
    }

    /** Whether both are the same file, whatever its name. */
    public boolean isSameAs(Entry other) {
        return inode() == other.inode() && device() == other.device();
    }
}
