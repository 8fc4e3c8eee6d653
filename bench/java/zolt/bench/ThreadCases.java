package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CyclicBarrier;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The same calls on 1, 2 and 4 threads, each on files of its own: how many calls of one thread the
 * threads together make in the time. The floor runs beside it, since the kernel's own limits are no
 * one else's.
 */
final class ThreadCases {
    private static final int ROUNDS = 15;
    private static final long TURN = 40_000_000; // ns

    private record Pair(String name, List<Work> floors, List<Work> libraries) {}

    private ThreadCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        int most = 4;
        Pair fast = new Pair("fast status", new ArrayList<>(), new ArrayList<>());
        Pair full = new Pair("full status", new ArrayList<>(), new ArrayList<>());
        Pair xattr = new Pair("getXAttr", new ArrayList<>(), new ArrayList<>());
        Pair acl = new Pair("getAclStatus", new ArrayList<>(), new ArrayList<>());
        Pair list = new Pair("listing of 1000", new ArrayList<>(), new ArrayList<>());
        for (int i = 0; i < most; i++) {
            Path own = space.directory("thread-" + i, 1000);
            String directory = own.toString();
            String path = own.resolve("part-0").toString();
            ByteBuffer record = Workspace.direct(88);
            ByteBuffer page = Workspace.direct(64 << 10);
            ZOLTNative.setExtendedAttribute(path, "user.a", new byte[32], (short) 0);
            fast.floors().add(() -> Floor.fast(path, record, 0));
            fast.libraries().add(
                    () -> ZOLTNative.getFileStatusFastNative(path, true, record, 0, 0));
            full.floors().add(() -> Floor.full(path, true, record));
            full.libraries().add(
                    () -> ZOLTNative.getFileStatusNative(path, true, true, record, 0, 0, 0, 0));
            xattr.floors().add(() -> Floor.xattr(path, "user.a").length);
            xattr.libraries().add(() -> ZOLTNative.getXAttr(path, "user.a").length);
            acl.floors().add(() -> Floor.acl(path, false).length);
            acl.libraries().add(() -> ZOLTNative.getAclStatus(path, false).length);
            list.floors().add(() -> Floor.list(directory, page));
            list.libraries().add(
                    () -> ZOLTNative.getDirentsNative(directory, page, false, false));
        }
        for (Pair pair : List.of(fast, full, xattr, acl, list)) {
            measure(bench, space, pair, most);
        }
    }

    private static void measure(Bench bench, Workspace space, Pair pair, int most)
            throws Exception {
        for (int threads = 2; threads <= most; threads *= 2) {
            double[] floor = new double[ROUNDS];
            double[] library = new double[ROUNDS];
            for (int round = -2; round < ROUNDS; round++) {
                double floorGain = together(pair.floors(), threads) / together(pair.floors(), 1);
                double gain = together(pair.libraries(), threads) / together(pair.libraries(), 1);
                if (round >= 0) {
                    floor[round] = floorGain;
                    library[round] = gain;
                }
            }
            Arrays.sort(floor);
            Arrays.sort(library);
            bench.scaling(pair.name(), space.type, threads, floor[ROUNDS / 2], library[ROUNDS / 2]);
        }
    }

    /** Calls a second of the first {@code threads} works, each on a thread. */
    private static double together(List<Work> works, int threads) throws Exception {
        CyclicBarrier start = new CyclicBarrier(threads);
        double[] rates = new double[threads];
        List<Thread> running = new ArrayList<>();
        for (int i = 0; i < threads; i++) {
            int index = i;
            Thread thread = new Thread(() -> {
                try {
                    start.await();
                    rates[index] = rate(works.get(index));
                } catch (Exception e) {
                    throw new IllegalStateException(e);
                }
            });
            running.add(thread);
            thread.start();
        }
        for (Thread thread : running) {
            thread.join();
        }
        return Arrays.stream(rates).sum();
    }

    private static double rate(Work work) throws Exception {
        long start = System.nanoTime();
        long calls = 0;
        long now;
        do {
            for (int i = 0; i < 16; i++) {
                work.run();
            }
            calls += 16;
            now = System.nanoTime();
        } while (now - start < TURN);
        return calls * 1e9 / (now - start);
    }
}
