package zolt.bench;

import java.io.File;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Listings side by side: the library through buffers of three sizes, and what a Java program would
 * use instead. The ways take turns, round by round on the same directory, and what is compared is the
 * median over the rounds of each way's CPU time to that of newDirectoryStream in the same round.
 */
public final class ListingBench {
    private static final int ROUNDS = 15;
    private static final ThreadMXBean CLOCK = ManagementFactory.getThreadMXBean();

    private ListingBench() {}

    /** One way to list a directory; it answers how many entries it saw. */
    private interface Way {
        long list(Path directory) throws IOException;
    }

    public static void main(String[] arguments) throws IOException {
        String[] names = {"newDirectoryStream", "File.list", "library, 4 KiB", "library, 64 KiB",
            "library, 1 MiB", "library, count"};
        Way[] ways = {ListingBench::stream, ListingBench::fileList, library(4 << 10),
            library(64 << 10), library(1 << 20),
            directory -> ZOLTNative.getDirentCountNative(directory.toString())};
        System.out.println("entries\tway\tns/entry, CPU\tns/entry, wall\tCPU x newDirectoryStream");
        for (int entries : new int[] {10, 1_000, 100_000}) {
            Path directory = Files.createTempDirectory("zolt-bench-");
            try {
                for (int i = 0; i < entries; i++) {
                    Files.createFile(directory.resolve("part-" + i));
                }
                measure(directory, entries, names, ways);
            } finally {
                for (File file : directory.toFile().listFiles()) {
                    Files.delete(file.toPath());
                }
                Files.delete(directory);
            }
        }
    }

    private static void measure(Path directory, int entries, String[] names, Way[] ways)
            throws IOException {
        int repeats = Math.max(1, 20_000 / entries);
        double[][] cpu = new double[ways.length][ROUNDS];
        double[][] wall = new double[ways.length][ROUNDS];
        for (int round = -3; round < ROUNDS; round++) { // the first three warm up
            for (int way = 0; way < ways.length; way++) {
                long cpuStart = CLOCK.getCurrentThreadCpuTime();
                long wallStart = System.nanoTime();
                for (int i = 0; i < repeats; i++) {
                    if (ways[way].list(directory) != entries) {
                        throw new AssertionError(names[way] + " does not see all entries");
                    }
                }
                double total = (double) repeats * entries;
                if (round >= 0) {
                    cpu[way][round] = (CLOCK.getCurrentThreadCpuTime() - cpuStart) / total;
                    wall[way][round] = (System.nanoTime() - wallStart) / total;
                }
            }
        }
        for (int way = 0; way < ways.length; way++) {
            double[] ratios = new double[ROUNDS];
            for (int round = 0; round < ROUNDS; round++) {
                ratios[round] = cpu[way][round] / cpu[0][round];
            }
            System.out.printf("%d\t%s\t%.0f\t%.0f\t%.2f%n", entries, names[way], median(cpu[way]),
                    median(wall[way]), median(ratios));
        }
    }

    private static double median(double[] values) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[sorted.length / 2];
    }

    private static long stream(Path directory) throws IOException {
        List<String> names = new ArrayList<>();
        try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory)) {
            entries.forEach(entry -> names.add(entry.getFileName().toString()));
        }
        return names.size();
    }

    private static long fileList(Path directory) {
        return directory.toFile().list().length;
    }

    /** Reads names, types and inodes of every record, as a NameNode would. */
    private static Way library(int bufferBytes) {
        ByteBuffer buffer = ByteBuffer.allocateDirect(bufferBytes).order(ByteOrder.nativeOrder());
        return directory -> {
            long seen = 0;
            long inodes = 0;
            int more;
            do {
                more = ZOLTNative.getDirentsNative(directory.toString(), buffer, false, false);
                buffer.clear();
                for (int left = buffer.getInt(); left > 0; left--, seen++) {
                    inodes += buffer.getLong() + buffer.getShort();
                    byte[] name = new byte[buffer.getInt()];
                    buffer.get(name);
                }
            } while (more == 1);
            return inodes == 0 ? -1 : seen;
        };
    }
}
