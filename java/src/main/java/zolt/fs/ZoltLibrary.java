package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Optional;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The native library: loading it, what was loaded, and the settings of the whole process.
 *
 * <p>It is the file of the system property {@code zolt.library}, or else {@code libzolthadoop.so} on
 * {@code java.library.path}. Any call of this package loads it.
 *
 * <pre>{@code
 * ZoltLibrary.load();
 * System.out.println(ZoltLibrary.version()); // prints: 1.0.0
 * }</pre>
 */
public final class ZoltLibrary {
    private static final String LIBRARY = "libzolthadoop.so";
    private static final String CLIENT = "libzolt.so";
    private static final String LIBACL = "libacl.so";

    private static final Pattern VERSION = Pattern.compile(Pattern.quote(LIBRARY) + "\\.([0-9.]+)");

    private static boolean alwaysSuper;

    private ZoltLibrary() {}

    /**
     * Loads the library, if it is not loaded yet.
     *
     * <pre>{@code
     * ZoltLibrary.load();
     * }</pre>
     *
     * @throws UnsatisfiedLinkError when it cannot be loaded; the message says why, and what to do
     */
    public static void load() {
        try {
            ZOLTNative.getFileStatusFormatNative();
        } catch (NoClassDefFoundError e) {
            // Only the first use of a class that cannot be initialised says why.
            UnsatisfiedLinkError again = new UnsatisfiedLinkError(
                    "the ZOLT library could not be loaded when it was first used");
            again.initCause(e);
            throw again;
        } catch (UnsatisfiedLinkError e) {
            if (!String.valueOf(e.getMessage()).contains(ZOLTNative.class.getName())) {
                throw e;
            }
            // Something was loaded, but it has no such native.
            String file = System.getProperty("zolt.library");
            UnsatisfiedLinkError other = new UnsatisfiedLinkError((file == null ? LIBRARY : file)
                    + " is not the ZOLT library, or not of the release of this jar: it lacks natives");
            other.initCause(e);
            throw other;
        }
    }

    /**
     * The file that was loaded, with its symbolic links resolved.
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.file().get().getFileName()); // prints: libzolthadoop.so.1.0.0
     * }</pre>
     *
     * @return the file; empty when the process cannot tell, or the file has another name
     */
    public static Optional<Path> file() {
        load();
        return mapped(LIBRARY);
    }

    /**
     * The file system's client library that answers: a site's own, or the embedded one.
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.clientFile().get().getFileName()); // prints: libzolt.so
     * }</pre>
     *
     * @return the file; empty when the process cannot tell
     */
    public static Optional<Path> clientFile() {
        load();
        return mapped(CLIENT);
    }

    /**
     * The library of access control lists that was bound at load. Without it every call of {@link Acl}
     * is an IOException ("Operation not supported").
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.aclFile().isPresent()); // prints: true
     * }</pre>
     *
     * @return the file; empty when it was not found
     */
    public static Optional<Path> aclFile() {
        load();
        return mapped(LIBACL);
    }

    /**
     * The version of the library, by the name of its file.
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.version()); // prints: 1.0.0
     * }</pre>
     *
     * @return the version, or "unknown" where the file has none in its name
     */
    public static String version() {
        String name = file().map(file -> file.getFileName().toString()).orElse("");
        Matcher matcher = VERSION.matcher(name);
        return matcher.matches() ? matcher.group(1) : "unknown";
    }

    /** A file that is mapped into this process, as proc(5) lists them. */
    private static Optional<Path> mapped(String name) {
        try {
            for (String line : Files.readAllLines(Paths.get("/proc/self/maps"),
                    StandardCharsets.UTF_8)) {
                int slash = line.indexOf('/');
                String file = slash < 0 ? "" : line.substring(line.lastIndexOf('/') + 1);
                if (file.equals(name) || file.startsWith(name + ".")) {
                    return Optional.of(Paths.get(line.substring(slash)));
                }
            }
            return Optional.empty();
        } catch (IOException e) {
            return Optional.empty();
        }
    }

    /**
     * The level of the library's own logging: "trace", "debug", "info", "warn", "error" or "off". It is
     * that of the logger {@code org.apache.hadoop.hdfs.server.namenode.ZOLTNative} when the library was
     * loaded, and stays; but from a logger at info the library takes warnings and errors only.
     *
     * <pre>{@code
     * String level = ZoltLibrary.logLevel();
     * }</pre>
     *
     * @return the lowest level that the library logs
     */
    public static String logLevel() {
        return ZOLTNative.logLevel();
    }

    /**
     * Sets what files without values of their own use.
     *
     * <pre>{@code
     * ZoltLibrary.setDefaults(128L << 20, 3);
     * System.out.println(FileStatus.of(file).blockSize()); // prints: 134217728
     * }</pre>
     *
     * @param blockSize the size of an HDFS block in bytes, at least 1
     * @param replication the number of copies, at least 1
     * @throws IllegalArgumentException for a value below 1; nothing is set
     */
    public static void setDefaults(long blockSize, int replication) {
        if (blockSize < 1 || replication < 1) {
            throw new IllegalArgumentException("block size " + blockSize + " and replication "
                    + replication + " are to be at least 1");
        }
        ZOLTNative.setDefaultBlockSizeReplication(blockSize, replication);
    }

    /**
     * Says whether every call runs with the rights of the service itself, so that an {@link Identity}
     * switches nothing. Set it before the first switch.
     *
     * <pre>{@code
     * ZoltLibrary.setAlwaysSuper(true);
     * try (Identity as = Identity.of("nobody")) {
     *     System.out.println(ThreadIdentity.now().uid()); // prints: 0
     * }
     * ZoltLibrary.setAlwaysSuper(false);
     * }</pre>
     *
     * @param always true to switch no identities
     */
    public static synchronized void setAlwaysSuper(boolean always) {
        ZOLTNative.setFSConfig(always);
        alwaysSuper = always;
    }

    /**
     * What {@link #setAlwaysSuper} has set.
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.alwaysSuper()); // prints: false
     * }</pre>
     *
     * @return false at first
     */
    public static synchronized boolean alwaysSuper() {
        return alwaysSuper;
    }

    /**
     * The device that the mount table (/etc/mtab, which bare containers may lack) names for a mount point.
     *
     * <pre>{@code
     * System.out.println(ZoltLibrary.device("/proc", "proc")); // prints: proc
     * }</pre>
     *
     * @param mountPoint a path, as it stands in the table
     * @param type the type of the file system
     * @return the first column of the first entry with both
     * @throws java.nio.file.NoSuchFileException when there is none, or no table; the message has the type
     * @throws IOException for any other failure
     */
    public static String device(String mountPoint, String type) throws IOException {
        return ZOLTNative.getFsName(Check.notNull(mountPoint, "mount point"),
                Check.notNull(type, "type"));
    }
}
