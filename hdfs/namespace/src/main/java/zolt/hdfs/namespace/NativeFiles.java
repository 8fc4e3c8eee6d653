package zolt.hdfs.namespace;

import java.io.File;
import java.io.FileDescriptor;
import java.nio.ByteBuffer;
import org.apache.hadoop.hdfs.server.namenode.BundledLibrary;

/**
 * The system calls that neither the class library nor {@code ZOLTNative} offers.
 *
 * <p>Names are bytes, as the kernel has them. A call that can fail answers -errno; {@link
 * SystemCallException#check} turns that into an exception. The identity that these calls act with, and
 * change, is the thread's own.
 */
public final class NativeFiles {
    /** For a path of its own, or one relative to the working directory (openat(2), AT_FDCWD). */
    public static final int NO_DIRECTORY = -100;

    /** Flags of open(2). */
    public static final int O_RDONLY = 0;
    public static final int O_WRONLY = 01;
    public static final int O_RDWR = 02;
    public static final int O_CREAT = 0100;
    public static final int O_EXCL = 0200;
    public static final int O_APPEND = 02000;
    public static final int O_DIRECTORY = 0200000;
    public static final int O_NOFOLLOW = 0400000;
    public static final int O_PATH = 010000000;

    /** Flags of renameat2(2). */
    public static final int RENAME_NOREPLACE = 1;

    /** A flag of preadv2(2): what is not in memory is not waited for. */
    public static final int RWF_NOWAIT = 8;

    /** Flags of setxattr(2). */
    public static final int XATTR_CREATE = 1;
    public static final int XATTR_REPLACE = 2;

    /** What {@link #status} fills in. */
    public static final int INODE = 0;
    public static final int MODE = 1;
    public static final int UID = 2;
    public static final int GID = 3;
    public static final int SIZE = 4;
    public static final int ACCESS_MILLIS = 5;
    public static final int MODIFY_MILLIS = 6;
    public static final int CHANGE_NANOS = 7;
    public static final int LINKS = 8;
    public static final int DEVICE = 9;
    public static final int MOUNT = 10;
    public static final int MODIFY_NANOS = 11;
    /** When the file was made; 0 where the file system does not keep that. */
    public static final int BIRTH_NANOS = 12;
    public static final int STATUS_WORDS = 13;

    /** What a record has behind the status: 0 or -errno, then what the file system's client tells of the file. */
    public static final int RESULT = 13;
    public static final int FLAGS = 14;
    /** Bytes of an HDFS block, and copies; of regular files only. */
    public static final int BLOCK_SIZE = 15;
    public static final int REPLICATION = 16;
    public static final int RECORD_WORDS = 17;

    /** In the place of flags: they are asked for. */
    public static final int WANTED = 1;
    /** The file has an access control list. */
    public static final int HAS_ACL = 2;
    /** What was opened has the inode number of the record's status. */
    public static final int SAME_FILE = 4;
    /** And the time of its last change too. */
    public static final int SAME_VERSION = 8;

    static {
        String file = System.getProperty("zolt.hdfs.library");
        if (file != null) {
            System.load(new File(file).getAbsolutePath());
        } else {
            BundledLibrary.loadInstalledOrOwn("zolthdfs");
        }
    }

    private NativeFiles() {}

    /** A name for what a descriptor holds, in this process, which stays that whatever becomes of its path. */
    public static String nameOf(int descriptor) {
        return "/proc/self/fd/" + descriptor;
    }

    /**
     * Opens a file; O_CLOEXEC, O_NOCTTY and O_NONBLOCK come with every call, so that no FIFO keeps a thread.
     *
     * @return the descriptor
     */
    public static native int open(int directory, byte[] path, int flags, int mode);

    /** Closes a descriptor. */
    public static native void close(int descriptor);

    /** The status of a path, of a link itself; with an empty path, that of the descriptor. */
    public static native int status(int directory, byte[] path, long[] words);

    /**
     * The status of each of many names in a directory, as {@link #status}; the result stands in each record.
     *
     * @param names bytes, a zero byte behind each name
     * @param records {@link #RECORD_WORDS} for each name
     */
    public static native void statuses(int directory, byte[] names, long[] records);

    /**
     * Fills in what the file system's client tells of those names whose record has {@link #WANTED}: they are opened
     * for reading, and not followed. The result stands in each of these records.
     *
     * @param names as for {@link #statuses}, by which the records have been filled in
     */
    public static native void details(int directory, byte[] names, long[] records);

    /** As {@link #details}, with the rights that the thread has and no more. */
    public static native void ownDetails(int directory, byte[] names, long[] records);

    /** As {@link #details}, of an open file and its record. */
    public static native int detailsOf(int descriptor, long[] record);

    /** What files without settings of their own use, in bytes and copies; values below 1 are ignored. */
    public static native void setDefaults(long blockSize, int replication);

    /**
     * Fills a direct buffer with the next entries of a directory, as getdents64(2) lays them out.
     *
     * @return the bytes filled in; 0 at the end
     */
    public static native int entries(int directory, ByteBuffer buffer);

    /** Waits for an open file's lock (flock(2), LOCK_EX), which ends when the file is closed. */
    public static native int lock(int descriptor);

    /** As {@link #lock}; -EAGAIN at once where another open file has it. */
    public static native int tryLock(int descriptor);

    /** Lets an object of the class library, which must have none yet, have a descriptor, and close it. */
    public static native void adopt(FileDescriptor object, int descriptor);

    /** Reads into a part of a direct buffer, with flags of preadv2(2). The position of neither is moved. */
    public static native int read(int descriptor, ByteBuffer buffer, int at, int length, long from, int flags);

    /** Renames, with flags of renameat2(2). */
    public static native int rename(byte[] from, byte[] to, int flags);

    /** Makes a link; its target is kept byte for byte. */
    public static native int makeLink(byte[] target, byte[] path);

    /** Reads a link's target; answers its length, as far as there is room. */
    public static native int readLink(byte[] path, byte[] target);

    /** Makes a directory; what the process's mask forbids, its mode lacks. */
    public static native int makeDirectory(byte[] path, int mode);

    /** Removes an entry of a directory; a directory where {@code isDirectory} says so. */
    public static native int unlink(int directory, byte[] name, boolean isDirectory);

    /** Whether the thread's identity may do this to a path: a sum of 4 (read), 2 (write) and 1 (execute). */
    public static native int mayAccess(byte[] path, int access);

    /**
     * The handle of an open file, as name_to_handle_at(2) gives it: its type in native byte order, then
     * its bytes.
     *
     * @param handle room for the answer
     * @return the bytes filled in
     */
    public static native int handle(int descriptor, byte[] handle);

    /**
     * Opens the file of a handle on the file system of {@code mount}.
     *
     * @return the descriptor
     */
    public static native int openByHandle(int mount, byte[] handle, int flags);

    /**
     * An extended attribute; the path is followed.
     *
     * @param value room for the value; of no length to ask how much it needs
     * @return the length of the value
     */
    public static native int getAttribute(byte[] path, byte[] name, byte[] value);

    /** Sets an extended attribute; the path is followed. */
    public static native int setAttribute(byte[] path, byte[] name, byte[] value, int flags);

    /** Removes an extended attribute; the path is followed. */
    public static native int removeAttribute(byte[] path, byte[] name);

    /** The names of all extended attributes, each with a zero byte at its end; as {@link #getAttribute}. */
    public static native int listAttributes(byte[] path, byte[] names);

    /**
     * A user's ids by the databases of the system: user, group, then all groups of the user.
     *
     * @return null for an unknown user
     * @throws RuntimeException when a database cannot be asked
     */
    public static native int[] credentials(String user);

    /**
     * Takes from the calling thread, and so from the threads that it will start, every effective capability
     * but those on files and those to change the identity.
     */
    public static native int confine();

    /**
     * As {@link #confine}, and leaves only the capabilities to read and write what anybody has: so the kernel takes a
     * file's set-user-id bit away when the thread writes to it, as it does for the file's other writers.
     */
    public static native int confineToData();

    /**
     * Gives the thread an identity for its file accesses.
     *
     * @param superuser whether the capabilities on files are in effect; else none is
     */
    public static native int actAs(int uid, int gid, int[] groups, boolean superuser);

    /**
     * Gives the thread the identity of a user for its file accesses, with no capability in effect, in a process that is
     * no service and has confined nothing.
     *
     * @return 0 or -errno, then all that {@link #resume} gives back; after a failure the thread has it still, but with
     *     -ENOTRECOVERABLE
     */
    public static native long[] assume(int uid, int gid, int[] groups);

    /** Gives the thread back what it had, ids, groups and capabilities. */
    public static native int resume(long[] before);

    /**
     * Gives the thread the identity of the process back, and its capabilities on files; that of an administrator
     * (CAP_SYS_ADMIN, which trusted attributes need) where it is asked for.
     */
    public static native int actAsService(boolean administrator);

    /** Puts the capability of an administrator in effect on a thread that acts as the service, or out of effect. */
    public static native int administer(boolean effective);

    /** Forces to the disk what the file system of an open file has not written yet. */
    public static native int syncFileSystem(int descriptor);

    /** Sets the process's mask for new files; answers the old one. */
    public static native int umask(int mask);

    /** The system's text for an error. */
    public static native String errorText(int errno);
}
