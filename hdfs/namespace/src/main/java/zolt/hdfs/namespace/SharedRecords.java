package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.Set;
import java.util.UUID;

/**
 * Small records in the service's own folder, which every NameNode on the folder reads. One is there whole or not at all, and
 * on the disk when the call returns.
 */
public final class SharedRecords {
    private static final int OWNER_FILE = 0600;
    private static final Duration UNFINISHED = Duration.ofHours(1);

    private final Path folder;

    /** @param what the kind of records */
    public SharedRecords(ServiceFolder service, String what) throws IOException {
        folder = service.directory(what);
    }

    /**
     * Keeps a record, in the place of one of that name.
     *
     * @param name without a dot
     */
    public void put(String name, byte[] record) throws IOException {
        Path unfinished = folder.resolve(name + "." + UUID.randomUUID());
        try (Acting own = Acting.service()) {
            try (SeekableByteChannel out = Files.newByteChannel(unfinished, Set.of(StandardOpenOption.CREATE_NEW,
                    StandardOpenOption.WRITE, StandardOpenOption.SYNC), Making.permissions(OWNER_FILE))) {
                for (ByteBuffer left = ByteBuffer.wrap(record); left.hasRemaining();) {
                    out.write(left);
                }
                Files.move(unfinished, folder.resolve(name), StandardCopyOption.ATOMIC_MOVE);
            } finally {
                Files.deleteIfExists(unfinished);
            }
        }
    }

    public Optional<byte[]> get(String name) throws IOException {
        try (Acting own = Acting.service()) {
            return Optional.of(Files.readAllBytes(folder.resolve(name)));
        } catch (NoSuchFileException e) {
            return Optional.empty();
        }
    }

    public void remove(String name) throws IOException {
        try (Acting own = Acting.service()) {
            Files.deleteIfExists(folder.resolve(name));
        }
    }

    /** The names of all records; what a process that ended has left unfinished is removed. */
    public List<String> names() throws IOException {
        List<String> names = new ArrayList<>();
        Instant oldest = Instant.now().minus(UNFINISHED);
        try (Acting own = Acting.service(); DirectoryStream<Path> records = Files.newDirectoryStream(folder)) {
            for (Path record : records) {
                String name = record.getFileName().toString();
                if (name.indexOf('.') < 0) {
                    names.add(name);
                } else {
                    removeIfOlder(record, oldest);
                }
            }
        }
        return names;
    }

    private static void removeIfOlder(Path record, Instant oldest) throws IOException {
        try {
            if (Files.getLastModifiedTime(record).toInstant().isBefore(oldest)) {
                Files.deleteIfExists(record);
            }
        } catch (NoSuchFileException e) {
            // Another NameNode has finished or removed it.
        }
    }
}
