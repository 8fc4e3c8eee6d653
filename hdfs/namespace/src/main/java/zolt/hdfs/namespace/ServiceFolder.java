package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.UUID;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * What all services on a folder share: it lies in the folder, hidden from clients, and is the service's alone. Who may
 * write the folder may rename it there, so it is looked up once, and held as long as the service lives.
 */
public final class ServiceFolder implements AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(ServiceFolder.class);
    private static final int OWNER_ONLY = 0700;
    private static final int OWNER_FILE = 0600;
    private static final int OTHERS_WRITE = 022;
    private static final int STICKY = 01000;

    private final List<Integer> descriptors = new ArrayList<>();
    private final Path path;

    /**
     * That of an exported folder; it is made when it is not there.
     *
     * @throws IOException when another user made it
     */
    public ServiceFolder(String folder) throws IOException {
        this(folder, folder);
    }

    private ServiceFolder(String folder, String known) throws IOException {
        int mode = Entry.of(folder).permissions();
        if ((mode & OTHERS_WRITE) != 0 && (mode & STICKY) == 0) {
            LOG.warn("Others than its owner may rename what is in {}, and so the service's own folder in it, of which the"
                    + " next start of a service would make another one: chmod +t {}", known, known);
        }
        path = held(Path.of(folder, HdfsPath.SERVICE_FOLDER));
    }

    public ServiceFolder(Root root) throws IOException {
        this(root.path(), root.folder());
    }

    private Path held(Path directory) throws IOException {
        byte[] name = directory.toString().getBytes(StandardCharsets.UTF_8);
        int made = NativeFiles.makeDirectory(name, OWNER_ONLY);
        // A file system that may only be read says so before it says that the folder is there.
        if (made != -SystemCallException.EEXIST && !(made == -SystemCallException.EROFS && Files.isDirectory(directory))) {
            SystemCallException.check(made, directory.toString());
        }
        int descriptor = NativeFiles.open(NativeFiles.NO_DIRECTORY, name,
                NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0);
        if (descriptor < 0 || Entry.of(descriptor).uid() != Entry.of("/proc/self/").uid()) {
            NativeFiles.close(descriptor);
            throw new IOException(directory + " is not a folder of the service's own user");
        }
        descriptors.add(descriptor);
        Path held = Path.of(NativeFiles.nameOf(descriptor));
        if (Entry.of(descriptor).permissions() != OWNER_ONLY) {
            Files.setPosixFilePermissions(held, Making.permissions(OWNER_ONLY).value());
        }
        return held;
    }

    /** The name of the folder in this process. */
    public Path path() {
        return path;
    }

    /** Forces to the disk what the file system of the folder has not written yet, names too. */
    public void force() throws SystemCallException {
        SystemCallException.check(NativeFiles.syncFileSystem(descriptors.get(0)), "the forcing of a change to the disk");
    }

    /** A folder in it, which is made when it is not there. */
    Path directory(String name) throws IOException {
        return held(path.resolve(name));
    }

    /**
     * A name that is chosen once for the folder, by whichever service is the first, and is the same for all and ever
     * after.
     */
    public String name(String what) throws IOException {
        Path file = path.resolve(what);
        if (Files.exists(file)) {
            return Files.readString(file, StandardCharsets.UTF_8).trim();
        }
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

    @Override
    public void close() {
        descriptors.forEach(NativeFiles::close);
        descriptors.clear();
    }
}
