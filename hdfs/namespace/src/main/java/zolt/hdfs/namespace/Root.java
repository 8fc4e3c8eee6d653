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
    private final Entry entry;

    private Root(String path, Entry entry) {
        this.path = path;
        this.entry = entry;
    }

    /**
     * The folder, when it is safe to serve.
     *
     * @throws IOException when it is not a folder, or the kernel would follow links in it
     */
    public static Root open(String folder) throws IOException {
        String path = Path.of(folder).toRealPath().toString();
        Entry entry = Entry.of(path);
        if (!entry.isDirectory()) {
            throw new IOException(path + " is not a folder");
        }
        if (!refusesLinks(entry.mount())) {
            throw new IOException("symbolic links could lead out of " + path + ": it is to be mounted over itself with"
                    + " the option nosymfollow, in a mount namespace of the service's own. 'zolt hdfs' does that; it"
                    + " needs the right to mount (root, or CAP_SYS_ADMIN), and Linux 5.10 or later");
        }
        return new Root(path, entry);
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

    /** The folder's path in the process's own file system, without a slash at the end. */
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
                path.getBytes(StandardCharsets.UTF_8), NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY, 0), path);
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
