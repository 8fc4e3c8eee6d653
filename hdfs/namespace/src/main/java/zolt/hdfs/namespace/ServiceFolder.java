package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.UUID;

/** What all services on a folder share: it lies in the folder, hidden from clients, and is the service's alone. */
public final class ServiceFolder {
    private static final int OWNER_ONLY = 0700;
    private static final int OWNER_FILE = 0600;

    private final Path path;

    public ServiceFolder(Root root) throws IOException {
        path = Path.of(root.path(), HdfsPath.SERVICE_FOLDER);
        make(path);
    }

    private static void make(Path directory) throws IOException {
        try {
            Files.createDirectory(directory, Making.permissions(OWNER_ONLY));
        } catch (FileAlreadyExistsException e) {
            Entry entry = Entry.of(directory.toString());
            if (!entry.isDirectory() || entry.uid() != Entry.of("/proc/self/").uid()) {
                throw new IOException(directory + " is not a folder of the service's own user", e);
            }
            Files.setPosixFilePermissions(directory, Making.permissions(OWNER_ONLY).value());
        }
    }

    /** A folder in it, which is made when it is not there. */
    Path directory(String name) throws IOException {
        Path directory = path.resolve(name);
        make(directory);
        return directory;
    }

    /**
     * A name that is chosen once for the folder, by whichever service is the first, and is the same for all and ever
     * after.
     */
    public String name(String what) throws IOException {
        Path file = path.resolve(what);
        Path mine = path.resolve(what + "." + UUID.randomUUID());
        try {
            Files.createFile(mine, Making.permissions(OWNER_FILE));
            Files.writeString(mine, UUID.randomUUID().toString());
            Files.createLink(file, mine);
        } catch (FileAlreadyExistsException e) {
            return Files.readString(file, StandardCharsets.UTF_8).trim();
        } finally {
            Files.deleteIfExists(mine);
        }
        return Files.readString(file, StandardCharsets.UTF_8).trim();
    }
}
