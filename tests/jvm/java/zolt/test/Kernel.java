package zolt.test;

/**
 * What the kernel, the C library and libacl say themselves, asked for without the library under test:
 * the answers that it is measured by. Strings cross as they do there, as modified UTF-8.
 */
public final class Kernel {
    /** Where the block size stands in what {@link #stat} answers. */
    public static final int BLOCK = 11;

    private Kernel() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    /** The system's text for an error. */
    public static native String strerror(int errno);

    /**
     * Inode, size, uid, gid, mode, times of access, modification and change (seconds and nanoseconds
     * each) and block size; or a single -errno.
     */
    public static native long[] stat(String path, boolean follow);

    /** 0 or -errno of opening for reading, at once closed again. */
    public static native int open(String path, boolean follow);

    /** 0 or errno. */
    public static native int chmod(String path, int mode);

    /** 0 or errno; -1 milliseconds leave a time as it is. */
    public static native int setTimes(String path, long mtime, long atime);

    /** The bytes of a link, an attribute or a list of attribute names; an Integer is an errno. */
    public static native Object readlink(String path, int room);

    public static native Object getxattr(String path, boolean follow, String name, int room);

    public static native Object listxattr(String path);

    /** 0 or errno. */
    public static native int setxattr(String path, boolean follow, String name, byte[] value, int flags);

    public static native int removexattr(String path, boolean follow, String name);

    /**
     * A directory's entries in its order, each as in a listing's record, without "." and ".."; an
     * Integer is an errno.
     */
    public static native Object entries(String path);

    /** The entries of a list as in a status; an Integer is an errno. */
    public static native Object acl(String path, int type);

    /** 0 or errno of storing the list that a text describes; null: the list of no entries. */
    public static native int storeAcl(String path, int type, String text);

    /** 0 or errno of storing the access list without the entries of these tags (and this id). */
    public static native int reduceAcl(String path, int tags, int id);

    /** The id, or -1 when there is none. */
    public static native long uid(String name);

    public static native long gid(String name);

    /** The name, or null when there is none. */
    public static native String user(int uid);

    public static native String group(int gid);

    /** The calling thread's ids, groups and system thread. */
    public static native String thread();

    /** Sets the groups of the calling thread alone. */
    public static native void groups(int... ids);

    /** The open descriptors and what each is of, a line each. */
    public static native String descriptors();

    /** Makes a directory hold one of everything, always the same, or that entry of it; "": all. */
    public static native void build(String dir, String only);

    public static final int WITH_CHANGES = 1;
    public static final int WITH_ACCESS = 2;

    /**
     * Everything below a directory, a line each: owners, modes, sizes, modification times, attributes,
     * targets; with changes also inode and change time, with access also access time. Of a lease's
     * stamp only the length counts.
     */
    public static native String tree(String dir, int with);

    /** From now on every thread is interrupted over and over, with no system call restarted. */
    public static native void storm(int microseconds);

    /** Ends the storm; the number of interruptions. */
    public static native long calm();
}
