package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.time.Duration;
import java.time.Instant;
import java.util.HexFormat;

/**
 * When each client that writes was last heard of: the time of a small file in the exported folder, so that any
 * NameNode knows it, with no list of open files.
 */
public final class Holders {
    private static final int MOST_NOTED = 10_000;

    private final Path folder;
    private final Remembered<String, Boolean> noted = new Remembered<>(MOST_NOTED, Duration.ofSeconds(1));

    public Holders(ServiceFolder service) throws IOException {
        folder = service.directory("holders");
    }

    /** A client that takes a lease has been heard of. */
    void touch(String client) throws IOException {
        if (noted.get(client) == null && !renew(client)) {
            try (Acting own = Acting.service()) {
                Files.write(record(client), new byte[0]);
            }
            noted.put(client, true);
        }
    }

    /**
     * A client has been heard of. One that has never taken a lease is not noted: anybody may ask this, for any name.
     * What has been noted within the last second need not be noted again.
     */
    public void heard(String client) throws IOException {
        if (noted.get(client) == null) {
            renew(client);
        }
    }

    private boolean renew(String client) throws IOException {
        try (Acting own = Acting.service()) {
            Files.setLastModifiedTime(record(client), FileTime.from(Instant.now()));
        } catch (NoSuchFileException e) {
            return false;
        }
        noted.put(client, true);
        return true;
    }

    /** A client will not be heard of again. */
    void forget(String client) throws IOException {
        try (Acting own = Acting.service()) {
            Files.deleteIfExists(record(client));
        }
        noted.remove(client);
    }

    /** When a client was last heard of, in milliseconds; 0 for never, or not for long. */
    long lastSeen(String client) throws IOException {
        try (Acting own = Acting.service()) {
            return Files.getLastModifiedTime(record(client)).toMillis();
        } catch (NoSuchFileException e) {
            return 0;
        }
    }

    /** Removes the records of clients that were not heard of for a time. */
    public void sweep(Duration time) throws IOException {
        Instant oldest = Instant.now().minus(time);
        try (Acting own = Acting.service(); DirectoryStream<Path> records = Files.newDirectoryStream(folder)) {
            for (Path record : records) {
                try {
                    if (Files.getLastModifiedTime(record).toInstant().isBefore(oldest)) {
                        Files.deleteIfExists(record);
                    }
                } catch (NoSuchFileException e) {
                    continue;  // another NameNode sweeps too
                }
            }
        }
    }

    /** A client chooses its name, so that the name of a file is made of its hash. */
    private Path record(String client) {
        try {
            byte[] hash = MessageDigest.getInstance("SHA-256").digest(client.getBytes(StandardCharsets.UTF_8));
            return folder.resolve(HexFormat.of().formatHex(hash, 0, 16));
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }
}
