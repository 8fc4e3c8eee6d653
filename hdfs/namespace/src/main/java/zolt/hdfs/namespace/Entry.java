package zolt.hdfs.namespace;

import java.nio.charset.StandardCharsets;

/** The status of one entry of the namespace; of a link itself. */
public final class Entry {
    private static final int TYPE_BITS = 0170000;
    private static final int DIRECTORY = 0040000;
    private static final int REGULAR = 0100000;
    private static final int LINK = 0120000;

    private static final int PERMISSION_BITS = 01777;
    private static final byte[] ITSELF = {};

    private final long[] words;

    Entry(long[] words) {
        this.words = words;
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
        return words[NativeFiles.INODE];
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
        return (words[NativeFiles.MODE] & TYPE_BITS) == type;
    }

    /** The sticky bit and the nine of read, write and execute: what HDFS knows of a mode. */
    public int permissions() {
        return (int) words[NativeFiles.MODE] & PERMISSION_BITS;
    }

    /** Whether what is made in the directory gets its group from the kernel already. */
    boolean handsGroupDown() {
        return isDirectory() && (words[NativeFiles.MODE] & 02000) != 0;
    }

    public int uid() {
        return (int) words[NativeFiles.UID];
    }

    public int gid() {
        return (int) words[NativeFiles.GID];
    }

    public long size() {
        return words[NativeFiles.SIZE];
    }

    public long accessMillis() {
        return words[NativeFiles.ACCESS_MILLIS];
    }

    public long modifyMillis() {
        return words[NativeFiles.MODIFY_MILLIS];
    }

    public long modifyNanos() {
        return words[NativeFiles.MODIFY_NANOS];
    }

    public long changeNanos() {
        return words[NativeFiles.CHANGE_NANOS];
    }

    public long links() {
        return words[NativeFiles.LINKS];
    }

    public long device() {
        return words[NativeFiles.DEVICE];
    }

    long mount() {
        return words[NativeFiles.MOUNT];
    }

    /** Whether both are the same file, whatever its name. */
    public boolean isSameAs(Entry other) {
        return inode() == other.inode() && device() == other.device();
    }
}
