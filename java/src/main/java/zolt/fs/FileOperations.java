package zolt.fs;

import java.io.IOException;
import java.nio.file.Path;
import java.time.Instant;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Single calls on a path: inode number, link target, permissions, times, number of copies, block group
 * factor. Each runs with the identity of the calling thread.
 *
 * <pre>{@code
 * FileOperations.setPermissions(file, 0600);
 * System.out.println(FileStatus.of(file).modeText()); // prints: -rw-------
 * }</pre>
 */
public final class FileOperations {
    /** The longest target of a symbolic link, in bytes: PATH_MAX. */
    private static final int LONGEST_TARGET = 4096;

    private static final int SETTABLE_BITS = 01777;
    private static final long LEAVE = -1;

    private FileOperations() {}

    /**
     * The inode number of a path.
     *
     * <pre>{@code
     * System.out.println(FileOperations.inode(file, true) == FileStatus.of(file).inode()); // prints: true
     * }</pre>
     *
     * @param path a path
     * @param followLink whether a symbolic link at its end is followed
     * @return the number, unsigned
     * @throws IOException when the path cannot be looked up
     */
    public static long inode(String path, boolean followLink) throws IOException {
        return ZOLTNative.getINum(Check.notNull(path, "path"), followLink);
    }

    /**
     * As {@link #inode(String, boolean)}.
     *
     * <pre>{@code
     * Path path = Paths.get(file);
     * System.out.println(FileOperations.inode(path, true) == FileStatus.of(path).inode()); // prints: true
     * }</pre>
     *
     * @param path a path
     * @param followLink whether a symbolic link at its end is followed
     * @return the number, unsigned
     * @throws IOException when the path cannot be looked up
     */
    public static long inode(Path path, boolean followLink) throws IOException {
        return inode(Check.text(path), followLink);
    }

    /**
     * The target of a symbolic link, byte for byte as it was made.
     *
     * <pre>{@code
     * System.out.println(new String(FileOperations.linkTarget(link), UTF_8)); // prints: file
     * }</pre>
     *
     * @param path the path of a symbolic link
     * @return the target
     * @throws java.nio.file.NoSuchFileException when there is nothing at the path
     * @throws IOException when it is no symbolic link
     */
    public static byte[] linkTarget(String path) throws IOException {
        return ZOLTNative.getLinkTargetNative(Check.notNull(path, "path"), LONGEST_TARGET);
    }

    /**
     * As {@link #linkTarget(String)}.
     *
     * <pre>{@code
     * System.out.println(FileOperations.linkTarget(Paths.get(link)).length); // prints: 4
     * }</pre>
     *
     * @param path a symbolic link
     * @return the target
     * @throws IOException as {@link #linkTarget(String)}
     */
    public static byte[] linkTarget(Path path) throws IOException {
        return linkTarget(Check.text(path));
    }

    /**
     * Sets the permissions of a path; symbolic links are followed.
     *
     * <pre>{@code
     * FileOperations.setPermissions(directory, 01777);
     * System.out.println(FileStatus.of(directory).modeText()); // prints: drwxrwxrwt
     * }</pre>
     *
     * @param path a path
     * @param permissions the nine permission bits and the sticky one, 0 to 01777; set-user-id and
     *     set-group-id cannot be set
     * @throws IOException when they cannot be set
     * @throws IllegalArgumentException for any other bit
     */
    public static void setPermissions(String path, int permissions) throws IOException {
        if ((permissions & ~SETTABLE_BITS) != 0) {
            throw new IllegalArgumentException("0" + Integer.toOctalString(permissions)
                    + " has bits beyond 0" + Integer.toOctalString(SETTABLE_BITS));
        }
        ZOLTNative.setPermission(Check.notNull(path, "path"), (short) permissions);
    }

    /**
     * As {@link #setPermissions(String, int)}.
     *
     * <pre>{@code
     * FileOperations.setPermissions(Paths.get(file), 0600);
     * }</pre>
     *
     * @param path a path
     * @param permissions 0 to 01777
     * @throws IOException when they cannot be set
     */
    public static void setPermissions(Path path, int permissions) throws IOException {
        setPermissions(Check.text(path), permissions);
    }

    /**
     * Sets the times of a path, to the millisecond; symbolic links are followed.
     *
     * <pre>{@code
     * FileOperations.setTimes(file, Instant.ofEpochMilli(1500), null);
     * System.out.println(FileStatus.of(file).modificationTime()); // prints: 1970-01-01T00:00:01.500Z
     * }</pre>
     *
     * @param path an absolute path
     * @param modified the modification time, or null to leave it
     * @param accessed the access time, or null to leave it
     * @throws IOException when they cannot be set, or the path is not absolute
     * @throws IllegalArgumentException for a time that cannot be passed: one before the epoch that is
     *     not on a whole second (the last millisecond before the epoch means "leave it")
     */
    public static void setTimes(String path, Instant modified, Instant accessed) throws IOException {
        ZOLTNative.setTimes(Check.notNull(path, "path"), millis(modified), millis(accessed));
    }

    /**
     * As {@link #setTimes(String, Instant, Instant)}.
     *
     * <pre>{@code
     * FileOperations.setTimes(Paths.get(file), Instant.EPOCH, null);
     * }</pre>
     *
     * @param path an absolute path
     * @param modified the modification time, or null to leave it
     * @param accessed the access time, or null to leave it
     * @throws IOException when they cannot be set
     */
    public static void setTimes(Path path, Instant modified, Instant accessed) throws IOException {
        setTimes(Check.text(path), modified, accessed);
    }

    private static long millis(Instant time) {
        if (time == null) {
            return LEAVE;
        }
        long millis = time.toEpochMilli();
        if (millis < 0 && millis % 1000 != 0) {
            throw new IllegalArgumentException(time + " is before the epoch and no whole second");
        }
        return millis;
    }

    /**
     * Sets the number of copies of a file's data.
     *
     * <pre>{@code
     * FileOperations.setReplication(blocks, 2, true);
     * System.out.println(BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM).replicas()); // prints: 2
     * }</pre>
     *
     * @param path the path of a file
     * @param copies the number, 1 to 32767; what the file system takes may be less
     * @param now whether the data that is there follows at once; else only what is written from then on
     * @throws IOException when it cannot be set, or the data cannot follow; the number is then set
     * @throws IllegalArgumentException for a number that cannot be passed
     */
    public static void setReplication(String path, int copies, boolean now) throws IOException {
        if (copies < 1 || copies > Short.MAX_VALUE) {
            throw new IllegalArgumentException(copies + " copies: 1 to " + Short.MAX_VALUE);
        }
        ZOLTNative.setReplication(Check.notNull(path, "path"), (short) copies, now);
    }

    /**
     * As {@link #setReplication(String, int, boolean)}.
     *
     * <pre>{@code
     * FileOperations.setReplication(Paths.get(blocks), 2, false);
     * }</pre>
     *
     * @param path a file
     * @param copies the number
     * @param now whether the data that is there follows at once
     * @throws IOException when it cannot be set, or the data cannot follow
     */
    public static void setReplication(Path path, int copies, boolean now) throws IOException {
        setReplication(Check.text(path), copies, now);
    }

    /**
     * Sets the block group factor of a file: how many file-system blocks make an HDFS block.
     *
     * <pre>{@code
     * FileOperations.setBlockGroupFactor(blocks, 4);
     * System.out.println(BlockLocations.of(blocks, BlockLocations.Form.RANKED).count()); // prints: 2
     * }</pre>
     *
     * @param path the path of a file
     * @param factor 1 to 1024
     * @throws IOException when it cannot be set, or is out of that range
     */
    public static void setBlockGroupFactor(String path, int factor) throws IOException {
        ZOLTNative.setBGF(Check.notNull(path, "path"), factor);
    }

    /**
     * As {@link #setBlockGroupFactor(String, int)}.
     *
     * <pre>{@code
     * FileOperations.setBlockGroupFactor(Paths.get(blocks), 4);
     * }</pre>
     *
     * @param path a file
     * @param factor 1 to 1024
     * @throws IOException when it cannot be set, or is out of that range
     */
    public static void setBlockGroupFactor(Path path, int factor) throws IOException {
        setBlockGroupFactor(Check.text(path), factor);
    }
}
