package org.apache.hadoop.hdfs.server.namenode;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.HashMap;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The native methods by which a NameNode works on a ZOLT file system.
 *
 * <p>Each method is one synchronous call on the calling thread, with that thread's file-system
 * identity. Paths cross as modified UTF-8. A failure leaves exactly one exception, by {@code errno}:
 * {@link java.nio.file.AccessDeniedException} (EPERM, EACCES), {@link
 * java.nio.file.NoSuchFileException} (ENOENT), {@link RuntimeException} (ENOMEM) or {@link
 * java.io.IOException}; its message is the system's error text, ": " and what the method says. Every
 * {@link ByteBuffer} is a direct one, read and written in native byte order from its byte 0 on,
 * whatever its position and limit.
 *
 * <p>The library is loaded with this class, by {@link LibraryLoader}.
 */
public final class ZOLTNative {
    /** Where the library logs; its level when the library is loaded is the one that counts. */
    static final Logger LOG = LoggerFactory.getLogger(ZOLTNative.class);

    private static final String LEVEL = LibraryLoader.load(LOG);

    private ZOLTNative() {}

    /**
     * The lowest level that the library logs: "trace", "debug", "info", "warn", "error", or "off". It is
     * the logger's when the library is loaded, and stays.
     */
    public static String logLevel() {
        return LEVEL;
    }

    // Configuration

    /**
     * Sets what files without values of their own use. A value below 1 is warned about and ignored.
     *
     * @param blockSize bytes
     * @param replication number of copies
     */
    public static native void setDefaultBlockSizeReplication(long blockSize, int replication);

    /**
     * Switches the switching of identities.
     *
     * @param alwaysSuper true: every call runs with the rights of the service itself
     * @return 1
     */
    public static native int setFSConfig(boolean alwaysSuper);

    /**
     * The device that the mount table names for a mount point.
     *
     * @return the first column of the first entry with this mount point and type
     * @throws java.nio.file.NoSuchFileException naming the type, when no entry matches
     */
    public static native String getFsName(String mountPoint, String fsType) throws IOException;

    // Identity

    /** The id of a user; -1 with an IOException for an unknown one. */
    public static native int getUid(String user) throws IOException;

    /** The id of a group; -1 with an IOException for an unknown one. */
    public static native int getGid(String group) throws IOException;

    /** The name of a user id, taken as unsigned; an IOException for an unknown one. */
    public static native String getUser(int uid) throws IOException;

    /** The name of a group id, taken as unsigned; an IOException for an unknown one. */
    public static native String getGroup(int gid) throws IOException;

    /**
     * Gives the calling thread the file-system rights of a user ("nobody" for an unknown one).
     *
     * @return a handle for {@link #setFsUid(long)}, to be ended on the same thread, inner ones first
     */
    public static native long setFsUid(String user) throws IOException;

    /**
     * Ends the switch that the handle stands for, exactly once. 0 is ignored; a handle that this thread
     * was not given, or has ended, is an IOException.
     */
    public static native void setFsUid(long handle) throws IOException;

    // Status

    /** The layout of a status record: 12 pairs of offset and size in bytes, then (length, 0). */
    public static native int[] getFileStatusFormatNative();

    /**
     * Writes the status record of a file when its modification time and its status change time are
     * both later than the given ones. The permission check is the caller's.
     *
     * @param buffer at least 88 bytes
     * @return 1 when the record was written, 0 when the file is unchanged
     */
    public static native int getFileStatusNative(String path, boolean followLink, boolean withLease,
            ByteBuffer buffer, long ctimeSec, long ctimeNsec, long mtimeSec, long mtimeNsec)
            throws IOException;

    /**
     * Writes the record without block size, replication and lease, which keep what the buffer held,
     * when the status change time is later than the given one.
     *
     * @param buffer at least 88 bytes
     * @return 1 when the record was written, 0 when the file is unchanged
     */
    public static native int getFileStatusFastNative(String path, boolean followLink,
            ByteBuffer buffer, long ctimeSec, long ctimeNsec) throws IOException;

    /** Whether the status change time or the modification time is later than the given one. */
    public static native boolean isCMTimeChangedNative(String path, boolean followLink,
            long ctimeSec, long ctimeNsec, long mtimeSec, long mtimeNsec) throws IOException;

    /** The inode number of a path. */
    public static native long getINum(String path, boolean followLink) throws IOException;

    /** Logs, at trace level only, which component of a path refuses access, and its owners. */
    public static native void getFailedPathNative(String path, boolean followLink);

    /** The first {@code length} bytes of a symbolic link's target. */
    public static native byte[] getLinkTargetNative(String path, int length) throws IOException;

    /** Sets the sticky and the nine permission bits. */
    public static native boolean setPermission(String path, short permission) throws IOException;

    /** Sets times in milliseconds since the epoch; -1 leaves one as it is. The path is absolute. */
    public static native boolean setTimes(String path, long mtime, long atime) throws IOException;

    // Listing

    /**
     * The number of entries of a directory, without "." and ".."; 0 for one that is not there or may
     * not be read.
     */
    public static native int getDirentCountNative(String path) throws IOException;

    /**
     * Fills a buffer with directory entries: their number (int), then for each its inode (long), type
     * (short; 4 directory, 8 file, 10 link), length of the name (int) and name (bytes), unpadded.
     *
     * @param buffer room for the count and the longest entry at least; null only to close
     * @param dirOnly only entries of type 4
     * @param close only end this thread's listing
     * @return 1 when more entries remain: call again on this thread; 0 when the listing is over
     */
    public static native int getDirentsNative(String path, ByteBuffer buffer, boolean dirOnly,
            boolean close) throws IOException;

    // Blocks

    /**
     * Describes where the blocks of a byte range lie: block size (long) and replicas (int) at byte 90
     * of the status buffer, node numbers in the location buffer, which ends in -1 words.
     *
     * @param storageType 0 the file system's blocks, 1 sizes only, 2 and 3 HDFS blocks
     * @param length bytes; negative means the whole file
     * @param status a status record with room for 102 bytes, or null
     * @param locations a capacity of whole 32-bit words, or null
     * @throws java.nio.BufferOverflowException when the answer does not fit in {@code locations}
     */
    public static native void getBlockLocationsNative(String path, int storageType,
            boolean followLink, long offset, long length, ByteBuffer status, ByteBuffer locations)
            throws IOException;

    /** Sets the number of copies; with {@code restripe} existing data follows at once. */
    public static native boolean setReplication(String path, short replication, boolean restripe)
            throws IOException;

    /** Sets the number of file-system blocks in an HDFS block, 1 to 1024. */
    public static native boolean setBGF(String path, int bgf) throws IOException;

    // Extended attributes. Those of a symbolic link are its own: it is not followed.

    /**
     * Sets an attribute; a null value is an empty one.
     *
     * @param flags 0 create or replace, 1 only create, 2 only replace
     */
    public static native boolean setExtendedAttribute(String path, String name, byte[] value,
            short flags) throws IOException;

    /** The value of an attribute; null for one that is absent or belongs to a lease. */
    public static native byte[] getXAttr(String path, String name) throws IOException;

    /** The values of those of the named attributes that exist. */
    public static native HashMap<String, byte[]> getXAttrs(String path, String[] names)
            throws IOException;

    /** All attributes but those of a lease. */
    public static native HashMap<String, byte[]> dumpXAttrs(String path) throws IOException;

    /** Removes an attribute; one of a lease too, but then an IOException says that it should not. */
    public static native boolean removeXAttr(String path, String name) throws IOException;

    // Leases

    /** Takes the lease of a file; an IOException when one is held. */
    public static native void setFileLeaseNative(String path, boolean followLink, byte[] holder)
            throws IOException;

    /**
     * The holder of a file's lease. One not renewed for more than {@code limit} units of the lease
     * clock is removed, and null returned.
     *
     * @param holderSize the most bytes the holder may have, at least 1
     */
    public static native byte[] getFileLeaseNative(String path, boolean followLink, int holderSize,
            long limit) throws IOException;

    /** Stamps the lease with the current time. */
    public static native void renewFileLeaseNative(String path, boolean followLink) throws IOException;

    /** Removes both attributes of a lease. */
    public static native void removeFileLeaseNative(String path, boolean followLink) throws IOException;

    // Access control lists. An entry is int32 scope, tag, id (of named users and groups only) and
    // permission; a specification is an int32 count and that many entries.

    /** The entries of a path's access ACL and, for a directory, of its default ACL. */
    public static native byte[] getAclStatus(String path, boolean isDirectory) throws IOException;

    /** Replaces the ACLs of the scopes that occur in {@code aclSpec}. */
    public static native void setAcl(String path, byte[] aclSpec) throws IOException;

    /** Adds entries, or changes their permissions. */
    public static native void modifyAclEntries(String path, byte[] aclSpec) throws IOException;

    /** Removes entries; their permissions do not matter. */
    public static native void removeAclEntries(String path, byte[] aclSpec) throws IOException;

    /** Removes the default ACL of a directory. */
    public static native void removeDefaultAcl(String path, boolean isDirectory) throws IOException;

    /** Removes all but the base entries, and the default ACL of a directory. */
    public static native void removeAcl(String path, boolean isDirectory) throws IOException;
}
