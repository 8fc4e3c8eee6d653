package zolt.bench;

import java.nio.ByteBuffer;
import java.util.HashMap;

/**
 * The floors: for each native of the library one that makes the same system calls and the same JNI
 * calls in the same order, and nothing else. It checks nothing, logs nothing and guards nothing. Those
 * of the status take what the natives take, of which some is handed over on the stack, and pass over
 * what they do not need.
 *
 * <p>{@link #bare} is the second form, without the JNI calls: what it needs was prepared before.
 */
final class Floor {
    static final int FAST = 0;
    static final int FULL = 1;
    static final int INUM = 2;
    static final int XATTR = 3;
    static final int LIST = 4;
    static final int COUNT = 5;
    static final int ACL = 6;
    static final int PERMISSION = 7;
    static final int TIMES = 8;
    static final int LINK = 9;
    static final int SET_XATTR = 11;
    static final int LEASE = 12;

    static {
        System.load(System.getProperty("zolt.bench.library"));
    }

    private Floor() {}

    /** Bytes that the C library's allocator has given out. */
    static native long heap();

    /** A system call to be found by in a trace. */
    static native void mark(String text);

    /** What bare calls work on: a path, a second string (or null) and memory; kept for good. */
    static native long prepare(String path, String name, ByteBuffer buffer);

    static native long bare(int what, long prepared);

    static native int fast(String path, boolean followLink, ByteBuffer buffer, long ctimeSec,
            long ctimeNsec);

    static native int full(String path, boolean followLink, boolean withLease, ByteBuffer buffer,
            long ctimeSec, long ctimeNsec, long mtimeSec, long mtimeNsec);

    static native long inode(String path, boolean followLink);

    static native boolean changed(String path, boolean followLink, long ctimeSec, long ctimeNsec,
            long mtimeSec, long mtimeNsec);

    static native boolean permission(String path, short permission);

    static native boolean times(String path, long mtime, long atime);

    static native byte[] link(String path, int length);

    static native byte[] xattr(String path, String name);

    static native boolean setXattr(String path, String name, byte[] value);

    static native HashMap<String, byte[]> xattrs(String path);

    static native HashMap<String, byte[]> namedXattrs(String path, String[] names);

    static native boolean removeXattr(String path, String name);

    static native void setLease(String path, byte[] holder);

    static native byte[] lease(String path, int holderSize);

    static native void renewLease(String path);

    static native void removeLease(String path);

    static native byte[] acl(String path, boolean isDirectory);

    static native void setAcl(String path, byte[] spec);

    static native void modifyAcl(String path, byte[] spec);

    static native void removeAclEntries(String path, byte[] spec);

    static native void removeDefaultAcl(String path);

    static native void removeAcl(String path, boolean isDirectory);

    static native int uid(String user);

    static native int gid(String group);

    static native String user(int uid);

    static native String group(int gid);

    static native long identity(String user);

    static native void restore(long ids);

    static native void unknownHandle(long handle);

    static native int fsConfig(boolean alwaysSuper);

    static native void defaults(long blockSize, int replication);

    static native String fsName(String mountPoint, String type);

    static native int[] format();

    static native void failedPath(String path);

    static native boolean replication(String path, short copies);

    static native boolean groupFactor(String path, int factor);

    static native int list(String path, ByteBuffer buffer);

    static native int count(String path);

    /** getdents64 alone, through a buffer of 32 KiB: how many entries there are, dots excepted. */
    static native int getdents(String path);

    static native void blocks(String path, int type, ByteBuffer status, ByteBuffer locations);

    /** Counts and ranks the nodes of a reply's blocks, three copies each, in groups: with a map. */
    static native long mapCounts(int[] nodes, int group, ByteBuffer out);

    /** The same with the library's own counting. */
    static native long libraryCounts(int[] nodes, int group, ByteBuffer out);
}
