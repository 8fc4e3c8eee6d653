package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.stream.Stream;

/** A folder of files to measure on, on one file system, removed at the end. */
final class Workspace implements AutoCloseable {
    final Path folder;
    /** The type of the file system: ext4, tmpfs, ... */
    final String type;

    Workspace(Path parent) throws IOException {
        Files.createDirectories(parent);
        folder = Files.createTempDirectory(parent, "zolt-bench-");
        // Other users are to be able to look in.
        Files.setPosixFilePermissions(folder, PosixFilePermissions.fromString("rwxr-xr-x"));
        type = typeOf(folder);
    }

    private static String typeOf(Path folder) {
        try {
            return Files.getFileStore(folder).type();
        } catch (IOException e) {
            return "unknown"; // the mount table does not show it, as in a changed root
        }
    }

    Path file(String name, int bytes) throws IOException {
        return Files.write(folder.resolve(name), new byte[bytes]);
    }

    Path directory(String name, int entries) throws IOException {
        Path directory = Files.createDirectory(folder.resolve(name));
        for (int i = 0; i < entries; i++) {
            Files.createFile(directory.resolve("part-" + i));
        }
        return directory;
    }

    static ByteBuffer direct(int bytes) {
        return ByteBuffer.allocateDirect(bytes).order(ByteOrder.nativeOrder());
    }

    static void delete(Path tree) throws IOException {
        try (Stream<Path> paths = Files.walk(tree)) {
            for (Path path : (Iterable<Path>) paths.sorted(Comparator.reverseOrder())::iterator) {
                Files.delete(path);
            }
        }
    }

    @Override
    public void close() throws IOException {
        delete(folder);
    }
}
