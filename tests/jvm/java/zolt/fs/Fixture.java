package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;

/** The files that the examples and the tests work on, and the system's own tools to compare with. */
final class Fixture {
    static final int BLOCKS = 8;

    final String directory;
    final String inner;
    final String file;
    final String link;
    final String blocks;
    /** The file system's block. */
    final int block;

    /** Everybody may search the way to them. */
    Fixture(Path empty) throws Exception {
        permit(empty, "rwxr-xr-x");
        Path made = Files.createDirectory(empty.resolve("directory"));
        permit(made, "rwxr-xr-x");
        directory = made.toString();
        inner = write(made.resolve("inner"), "");
        file = write(empty.resolve("file"), "hello world");
        link = Files.createSymbolicLink(empty.resolve("link"), Path.of("file")).toString();
        blocks = write(empty.resolve("blocks"), "");
        block = Integer.parseInt(run("stat", "-c", "%o", blocks).strip());
        resize(blocks, (long) BLOCKS * block);
    }

    private static String write(Path path, String text) throws IOException {
        Files.writeString(path, text);
        permit(path, "rw-r--r--");
        return path.toString();
    }

    static void permit(Path path, String permissions) throws IOException {
        Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(permissions));
    }

    static void resize(String path, long length) throws IOException {
        try (RandomAccessFile out = new RandomAccessFile(path, "rw")) {
            out.setLength(length);
        }
    }

    /** What a command prints, with the system's own libraries. */
    static String run(String... command) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().keySet().removeAll(List.of("LD_LIBRARY_PATH", "LD_PRELOAD"));
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), output);
        return output;
    }

    /** Runs a body on a thread of its own, since groups that it takes on stay with the thread. */
    static <T> T onThread(String name, Callable<T> body) throws Exception {
        FutureTask<T> task = new FutureTask<>(body);
        new Thread(task, name).start();
        try {
            return task.get();
        } catch (ExecutionException e) {
            if (e.getCause() instanceof Error error) {
                throw error;
            }
            throw (Exception) e.getCause();
        }
    }
}
