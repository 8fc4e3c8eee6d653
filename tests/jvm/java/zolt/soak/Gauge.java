package zolt.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Stream;

/** What the kernel and the C library say about this thread and this process. */
final class Gauge {
    private Gauge() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    /**
     * The calling thread's fsuid, fsgid, number of supplementary groups and first of these.
     *
     * @param out room for the four
     */
    static native void identity(int[] out);

    /** Bytes that the C library's allocator has given out and not got back. */
    static native long allocated();

    /** Resident memory in bytes. */
    static long resident() throws IOException {
        try (Stream<String> lines = Files.lines(Path.of("/proc/self/status"))) {
            String line = lines.filter(each -> each.startsWith("VmRSS:")).findFirst().orElseThrow();
            return Long.parseLong(line.replaceAll("\\D", "")) << 10;
        }
    }

    /** Open descriptors of the process, and those of them that are of files below a directory. */
    record Descriptors(long all, long below) {}

    static Descriptors descriptors(Path dir) throws IOException {
        try (Stream<Path> list = Files.list(Path.of("/proc/self/fd"))) {
            long[] counts = new long[2];
            list.forEach(fd -> {
                counts[0]++;
                counts[1] += isBelow(fd, dir) ? 1 : 0;
            });
            return new Descriptors(counts[0], counts[1]);
        }
    }

    private static boolean isBelow(Path fd, Path dir) {
        try {
            return Files.readSymbolicLink(fd).startsWith(dir);
        } catch (IOException e) {
            return false; // closed meanwhile
        }
    }
}
