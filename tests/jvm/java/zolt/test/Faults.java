package zolt.test;

/** Failure injection for calls that the library makes on the current thread; see faults.h. */
public final class Faults {
    public static final int EPERM = 1;
    public static final int ENOENT = 2;
    public static final int EIO = 5;
    public static final int EAGAIN = 11;
    public static final int ENOMEM = 12;
    public static final int EACCES = 13;
    public static final int EEXIST = 17;
    public static final int ENOTDIR = 20;
    public static final int EINVAL = 22;
    public static final int EMFILE = 24;
    public static final int ERANGE = 34;
    public static final int ENOSYS = 38;
    public static final int ELOOP = 40;
    public static final int ENODATA = 61;
    public static final int EOPNOTSUPP = 95;

    private Faults() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    /** Fails calls number first to last, from 1, of a C function. */
    public static native void arm(String function, int first, int last, int errno);

    /** Fails the next call. */
    public static void arm(String function, int errno) {
        arm(function, 1, 1, errno);
    }

    public static native int calls(String function);

    public static native void clear();

    /** What is read for "/etc/mtab"; null for the real one. */
    public static native void mountTable(String file);

    /** The size that stat reports for directories; 0 for the real one. */
    public static native void directorySize(long size);

    /** The attribute names that every path seems to have; null for the real ones. */
    public static native void xattrNames(byte[] names);

    /** The lengths that a value and a list of names seem to have before they are read; -1: the real. */
    public static native void xattrLengths(long value, long list);

    /** Sets an attribute whose name no Java string may hold. */
    public static native void storeXattr(String path, byte[] name, byte[] value);

    public static native void removeXattr(String path, byte[] name);

    /** The time at which the real-time clock stands, until the next clear. */
    public static native void realtime(long seconds, int nanoseconds);

    /** One more user on this thread, whose record takes that many bytes at least. */
    public static native void user(String name, int uid, int gid, long bytes);

    /** One more group on this thread. */
    public static native void group(String name, int gid, long bytes);

    /** Every lookup in the databases takes so long on this thread. */
    static native void slowLookups(int milliseconds);

    /** The value that the client's attribute records hold at an offset. */
    public static native void attribute(int offset, int size, long value);
}
