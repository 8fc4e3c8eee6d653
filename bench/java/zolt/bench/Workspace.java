package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.nio.file.attribute.PosixFilePermissions;

/** A folder of files to measure on, on one file system, removed at the end or at an interruption. */
final class Workspace implements AutoCloseable {
    final Path folder;
    /** The type of the file system: ext4, tmpfs, ... */
    final String type;
    private final Thread atInterruption = new Thread(this::deleteWhileInUse);

    Workspace(Path parent) throws IOException {
        Files.createDirectories(parent);
        folder = Files.createTempDirectory(parent, "zolt-bench-");
        // Other users are to be able to look in.
        Files.setPosixFilePermissions(folder, PosixFilePermissions.fromString("rwxr-xr-x"));
        type = typeOf(folder);
        Runtime.getRuntime().addShutdownHook(atInterruption);
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

    /** A directory of empty files; none where there is no room for all of them. */
    Path directory(String name, int entries) throws IOException {
        Path directory = Files.createDirectory(folder.resolve(name));
        try {
            for (int i = 0; i < entries; i++) {
                Files.createFile(directory.resolve("part-" + i));
            }
        } catch (IOException e) {
            delete(directory);
            throw e;
        }
        return directory;
    }

    static ByteBuffer direct(int bytes) {
        return ByteBuffer.allocateDirect(bytes).order(ByteOrder.nativeOrder());
    }

    static void delete(Path tree) throws IOException {
        Files.walkFileTree(tree, new SimpleFileVisitor<>() {
            @Override
            public FileVisitResult visitFile(Path file, BasicFileAttributes attributes)
                    throws IOException {
                Files.delete(file);
                return FileVisitResult.CONTINUE;
            }

            @Override
            public FileVisitResult postVisitDirectory(Path directory, IOException failure)
                    throws IOException {
                if (failure != null) {
                    throw failure;
                }
                Files.delete(directory);
                return FileVisitResult.CONTINUE;
            }
        });
    }

    /** Whoever measures still makes files while the virtual machine is shut down. */
    private void deleteWhileInUse() {
        for (int tries = 0; tries < 100 && Files.exists(folder); tries++) {
            try {
                delete(folder);
            } catch (IOException e) {
                // Something was made or taken away meanwhile: once more.
            }
        }
    }

    @Override
    public void close() throws IOException {
        delete(folder);
        Runtime.getRuntime().removeShutdownHook(atInterruption);
    }
}
