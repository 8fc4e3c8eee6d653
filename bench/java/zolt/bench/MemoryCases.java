package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import java.util.stream.IntStream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The memory of a listing, which is not to depend on the directory: what the C library's allocator has
 * given out between two pages of it, and the most that the process had resident meanwhile, which shows
 * what was only had for the length of a call: how much more than for a small directory, in units of
 * what the records take.
 */
final class MemoryCases {
    private static final int TIMES = 5;
    private static final int BUFFER = 4 << 10; // so that the small directory takes several pages too
    private static final Path STATUS = Path.of("/proc/self/status");
    private static final Path FORGET_PEAK = Path.of("/proc/self/clear_refs"); // proc(5)

    private record Bytes(long heap, long resident) {
        Bytes least(Bytes other) {
            return new Bytes(Math.min(heap, other.heap), Math.min(resident, other.resident));
        }
    }

    private MemoryCases() {}

    static void add(Bench bench, Workspace space, int few, int many) throws Exception {
        Case heap = new Case("memory of a listing, heap", space.type, many, 1);
        Case resident = new Case("memory of a listing, peak resident", space.type, many, 1);
        if (!bench.wants(heap) && !bench.wants(resident)) {
            return;
        }
        Path small = space.directory("memory-" + few, few);
        Path large = space.directory("memory-" + many, many);
        try {
            ByteBuffer page = Workspace.direct(BUFFER);
            Bytes ofSmall = list(small, page);
            Bytes ofLarge = list(large, page);
            for (int i = 1; i < TIMES; i++) {
                ofSmall = ofSmall.least(list(small, page));
                ofLarge = ofLarge.least(list(large, page));
            }
            bench.judge(heap, new Case.Goal(Case.LIBRARY, "itself at " + few, 1.05, false),
                    (double) ofLarge.heap() / ofSmall.heap(), note(ofSmall.heap(), ofLarge.heap()));
            bench.judge(resident, new Case.Goal(Case.LIBRARY, "the records, above " + few, 0.10,
                    false), (double) (ofLarge.resident() - ofSmall.resident()) / records(many),
                    note(ofSmall.resident(), ofLarge.resident()));
        } finally {
            Workspace.delete(small);
            Workspace.delete(large);
        }
    }

    private static Bytes list(Path directory, ByteBuffer page) throws IOException {
        String path = directory.toString();
        Files.writeString(FORGET_PEAK, "5");
        long before = Floor.heap();
        long most = before;
        while (ZOLTNative.getDirentsNative(path, page, false, false) == 1) {
            most = Math.max(most, Floor.heap());
        }
        return new Bytes(most - before, peak());
    }

    private static long peak() throws IOException {
        for (String line : Files.readAllLines(STATUS)) {
            if (line.startsWith("VmHWM:")) {
                return Long.parseLong(line.replaceAll("\\D", "")) << 10;
            }
        }
        throw new IOException("no peak in " + STATUS);
    }

    /** The bytes of all records of a directory. */
    private static long records(int entries) {
        return IntStream.range(0, entries).mapToLong(i -> 14 + ("part-" + i).length()).sum();
    }

    private static String note(long small, long large) {
        return String.format(Locale.ROOT, "%d KiB, %d KiB", small >> 10, large >> 10);
    }
}
