package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The memory of a listing, which is not to depend on the directory: what the C library's allocator has
 * given out between two pages of it, and the most that the process had resident meanwhile, which shows
 * what was only had for the length of a call.
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
            judge(bench, heap, few, ofSmall.heap(), ofLarge.heap(), 1.05);
            judge(bench, resident, few, ofSmall.resident(), ofLarge.resident(), 1.01);
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

    private static void judge(Bench bench, Case of, int few, long small, long large, double most) {
        String note = String.format(Locale.ROOT, "%d KiB, %d KiB", small >> 10, large >> 10);
        bench.judge(of, new Case.Goal(Case.LIBRARY, "itself at " + few, most, false),
                (double) large / small, note);
    }
}
