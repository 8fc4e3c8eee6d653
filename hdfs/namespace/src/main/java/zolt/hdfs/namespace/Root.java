package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/**
 * The exported folder, as the process sees it: a mount on which the kernel follows no symbolic link, so that
 * nothing which a caller names lies outside.
 */
public final class Root {
    private static final int MOUNT_ID_COLUMN = 0;
    private static final int OPTIONS_COLUMN = 5;

    private final String path;
    private final String known;
    private final Entry entry;
    private final boolean isExported;

    private Root(String path, String known, Entry entry, boolean isExported) {
        this.path = path;
        this.known = known;
        this.entry = entry;
        this.isExported = isExported;
    }

    /**
     * A folder for the programs of this machine, on which the kernel follows links as it does for any of them. A link's
     * target is a path of the machine.
     */
    public static Root mounted(String folder) throws IOException {
        return mounted(folder, folder);
    }

    /** As {@link #mounted(String)}, for a process that has it mounted elsewhere too, where nobody renames it. */
    public static Root mounted(String folder, String mount) throws IOException {
        String path = Path.of(mount).toRealPath().toString();
        return new Root(path.equals("/") ? "" : path, known(folder, mount, path), directory(path), false);
    }

    private static String known(String folder, String mount, String path) {
        return (folder.equals(mount) ? path : folder).replaceFirst("/$", "");
    }

    private static Entry directory(String path) throws IOException {
        Entry entry = Entry.of(path);
        if (!entry.isDirectory()) {
            throw new IOException(path + " is not a folder");
        }
        return entry;
    }

    /**
     * Refuses when another file system stands at the path than when it was opened: one that is no longer mounted leaves a
     * folder of this machine's, in which nothing is to be looked for nor made.
     */
    public void requireMounted() throws IOException {
        if (isExported || path.isEmpty()) {
            return;
        }
        try {
            if (Entry.of(path).isSameAs(entry)) {
                return;
            }
        } catch (SystemCallException e) {
            if (e.errno() != SystemCallException.ENOENT) {
                return;
            }
        }
        throw new IOException(path + " is not the file system that was mounted there");
    }

    /** Whether the mount of the folder has died, or the file system has shut it out: nothing is answered any more. */
    public boolean isGone() {
        try {
            Entry.of(path);
            return false;
        } catch (SystemCallException e) {
            return e.errno() == SystemCallException.ENOTCONN || e.errno() == SystemCallException.ESHUTDOWN;
        }
    }

    /** Whether an entry that was found by its path lies on the mount on which the folder was opened: it is there, then. */
    boolean isMountOf(Entry found) {
        return found.device() == entry.device() && found.mount() == entry.mount();
    }

    boolean isExported() {
        return isExported;
    }

    /** What a client is told of a link's target: its path, where it lies below the folder. */
    String targetForClient(String text) {
        String target = parsable(text);
        if (isExported || !target.startsWith("/")) {
            return target;
        }
        if (target.equals(known)) {
            return "/";
        }
        return target.startsWith(known + "/") ? target.substring(known.length()) : "file:" + target;
    }

    /** The same path to the kernel, as one that a client can parse: editors keep locks as links to "user@host.12:34". */
    private static String parsable(String target) {
        try {
            new org.apache.hadoop.fs.Path(target);
            return target;
        } catch (IllegalArgumentException e) {
            return target.startsWith("/") ? target.replaceFirst("/+", "/") : "./" + target;
        }
    }

    /** The target that the kernel shall find, for one that a client names. */
    String targetForKernel(String target) {
        return isExported || !target.startsWith("/") ? target : target.equals("/") ? folder() : known + target;
    }

    /** The name of the folder itself. */
    String name() {
        return path.isEmpty() ? "/" : path;
    }

    /**
     * The folder, when it is safe to serve.
     *
     * @throws IOException when it is not a folder, or the kernel would follow links in it
     */
    public static Root open(String folder) throws IOException {
        return open(folder, folder);
    }

    /** As {@link #open(String)}, of a folder that this process has mounted at a path of its own, where nobody renames it. */
    public static Root open(String folder, String mount) throws IOException {
        String path = Path.of(mount).toRealPath().toString();
        Entry entry = directory(path);
        if (!refusesLinks(entry.mount())) {
            throw new IOException("symbolic links could lead out of " + folder + ": it is to be mounted with the"
                    + " option nosymfollow, in a mount namespace of the service's own. 'zolt hdfs' does that; it"
                    + " needs the right to mount (root, or CAP_SYS_ADMIN), and Linux 5.10 or later");
        }
        return new Root(path, known(folder, mount, path), entry, true);
    }

    private static boolean refusesLinks(long mount) throws IOException {
        for (String line : Files.readAllLines(Path.of("/proc/self/mountinfo"), StandardCharsets.ISO_8859_1)) {
            String[] columns = line.split(" ");
            if (columns[MOUNT_ID_COLUMN].equals(Long.toString(mount))) {
                return Arrays.asList(columns[OPTIONS_COLUMN].split(",")).contains("nosymfollow");
            }
        }
        return false;
    }

    /** The folder as all others know it: for people, and in the targets of links. */
    public String folder() {
        return known.isEmpty() ? "/" : known;
    }

    /** A text for people, with the folder's name in place of where this process has it. */
    public String asKnown(String text) {
        return path.isEmpty() || path.equals(known) ? text : text.replace(path, folder());
    }

    /** The folder's path in the process's own file system, without a slash at the end: of the root itself, nothing. */
    public String path() {
        return path;
    }

    /** What is to be known of an open folder. */
    @FunctionalInterface
    public interface Question<T> {
        T ask(int descriptor) throws IOException;
    }

    /** Asks with a descriptor of the folder, open for reading. */
    public <T> T withDescriptor(Question<T> question) throws IOException {
        int descriptor = SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY,
                name().getBytes(StandardCharsets.UTF_8), NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY, 0), path);
        try {
            return question.ask(descriptor);
        } finally {
            NativeFiles.close(descriptor);
        }
    }

    /** The folder's device and inode number: what tells whether two services serve the same. */
    Entry entry() {
        return entry;
    }
}
