package zolt.test;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Stream;

/** The process's open descriptors, of files below a directory: the VM opens others as it likes. */
public final class Descriptors {
    private Descriptors() {}

    public static long under(Path dir) throws IOException {
        Path root = dir.toRealPath();
        try (Stream<Path> list = Files.list(Path.of("/proc/self/fd"))) {
            return list.filter(fd -> isUnder(fd, root)).count();
        }
    }

    private static boolean isUnder(Path fd, Path root) {
        try {
            return Files.readSymbolicLink(fd).startsWith(root);
        } catch (IOException e) {
            return false; // closed meanwhile
        }
    }

    public static void expectNone(Path dir) throws IOException {
        assertEquals(0, under(dir), "descriptors left");
    }

    /** A Java thread counts as ended a little before the system's thread has released what is its. */
    public static void awaitNone(Path dir) throws Exception {
        for (int tries = 0; tries < 500 && under(dir) != 0; tries++) {
            Thread.sleep(10);
        }
        expectNone(dir);
    }
}
