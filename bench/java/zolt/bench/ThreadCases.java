package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.CyclicBarrier;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The same calls on 1, 2 and 4 threads, each on files of its own: how many calls of one thread the
 * threads together make in the time. The floor runs beside it, since the kernel's own limits are no
 * one else's.
 */
final class ThreadCases {
    private static final int[] THREADS = {1, 2, 4};
    private static final int MOST = 4;
    private static final int ROUNDS = 15;
    private static final long TURN = 25_000_000; // ns
    private static final int ATTRIBUTES = 5;

    /** The works of each thread. */
    private record Ways(List<Work> floors, List<Work> libraries) {
        void add(Work floor, Work library) {
            floors.add(floor);
            libraries.add(library);
        }
    }

    private final Map<String, Ways> cases = new LinkedHashMap<>();

    private ThreadCases() {}

    private void add(String name, Work floor, Work library) {
        cases.computeIfAbsent(name, key -> new Ways(new ArrayList<>(), new ArrayList<>()))
                .add(floor, library);
    }

    /**
     * What works on files: one case a subsystem at least.
     *
     * @param blocks of the files whose blocks are asked for
     */
    static void add(Bench bench, Workspace space, int blocks) throws Exception {
        ThreadCases all = new ThreadCases();
        for (int i = 0; i < MOST; i++) {
            Path own = space.directory("thread-" + i, 1000);
            Path file = own.resolve("part-0");
            all.status(file);
            all.attributes(file);
            all.blocks(file, blocks);
            all.listing(own);
        }
        bench.settle();
        all.measure(bench, space.type);
    }

    /** What asks the system's databases. */
    static void addAccounts(Bench bench) throws Exception {
        ThreadCases all = new ThreadCases();
        for (int i = 0; i < MOST; i++) {
            all.add("identity switch and restore", () -> {
                Floor.restore(Floor.identity("nobody"));
                return 1;
            }, () -> {
                ZOLTNative.setFsUid(ZOLTNative.setFsUid("nobody"));
                return 1;
            });
            all.add("getUid", () -> Floor.uid("nobody"), () -> ZOLTNative.getUid("nobody"));
            all.add("getGroup", () -> Floor.group(0).length(), () -> ZOLTNative.getGroup(0).length());
            all.add("getFsName", () -> Floor.fsName("/proc", "proc").length(),
                    () -> ZOLTNative.getFsName("/proc", "proc").length());
        }
        all.measure(bench, "-");
    }

    private void status(Path file) throws Exception {
        String path = file.toString();
        String link = Files.createSymbolicLink(file.resolveSibling("link"), file.getFileName())
                .toString();
        ByteBuffer record = Workspace.direct(88);
        add("fast status", () -> Floor.fast(path, true, record, 0, 0),
                () -> ZOLTNative.getFileStatusFastNative(path, true, record, 0, 0));
        add("full status", () -> Floor.full(path, true, true, record, 0, 0, 0, 0),
                () -> ZOLTNative.getFileStatusNative(path, true, true, record, 0, 0, 0, 0));
        add("getINum", () -> Floor.inode(path, true), () -> ZOLTNative.getINum(path, true));
        add("link target", () -> Floor.link(link, 64).length,
                () -> ZOLTNative.getLinkTargetNative(link, 64).length);
        add("setPermission", () -> Floor.permission(path, (short) 0644) ? 1 : 0,
                () -> ZOLTNative.setPermission(path, (short) 0644) ? 1 : 0);
    }

    private void attributes(Path file) throws Exception {
        String path = file.toString();
        String[] names = new String[ATTRIBUTES];
        Arrays.setAll(names, i -> "user.name-" + i);
        for (String name : names) {
            ZOLTNative.setExtendedAttribute(path, name, new byte[32], (short) 0);
        }
        ZOLTNative.setFileLeaseNative(path, true, new byte[32]);
        add("getXAttr", () -> Floor.xattr(path, names[0]).length,
                () -> ZOLTNative.getXAttr(path, names[0]).length);
        add("getXAttrs", () -> Floor.namedXattrs(path, names).size(),
                () -> ZOLTNative.getXAttrs(path, names).size());
        add("getFileLease", () -> Floor.lease(path, 64).length,
                () -> ZOLTNative.getFileLeaseNative(path, true, 64, Long.MAX_VALUE).length);
        add("getAclStatus", () -> Floor.acl(path, false).length,
                () -> ZOLTNative.getAclStatus(path, false).length);
    }

    private void blocks(Path file, int blocks) throws Exception {
        String path = file.toString();
        ByteBuffer status = Workspace.direct(102);
        BlockCases.fill(path, blocks, status);
        ByteBuffer words = Workspace.direct(24 * blocks);
        add("block locations" + (blocks > 1 ? " of " + blocks : ""), () -> {
            Floor.blocks(path, 0, status, words);
            return 1;
        }, () -> {
            ZOLTNative.getBlockLocationsNative(path, 0, true, 0, -1, status, words);
            return 1;
        });
    }

    private void listing(Path directory) {
        String path = directory.toString();
        ByteBuffer page = Workspace.direct(64 << 10);
        add("listing of 1000", () -> Floor.list(path, page),
                () -> ZOLTNative.getDirentsNative(path, page, false, false));
    }

    private void measure(Bench bench, String where) throws Exception {
        for (Map.Entry<String, Ways> one : cases.entrySet()) {
            if (bench.wants(caseOf(one.getKey(), where, MOST))) {
                measure(bench, one.getKey(), where, one.getValue());
            }
        }
    }

    private static Case caseOf(String name, String where, int threads) {
        return new Case("threads: " + name, where, threads, 1);
    }

    private static void measure(Bench bench, String name, String where, Ways ways)
            throws Exception {
        double[][] floor = new double[THREADS.length][ROUNDS];
        double[][] library = new double[THREADS.length][ROUNDS];
        for (int round = -2; round < ROUNDS; round++) {
            for (int i = 0; i < THREADS.length; i++) {
                int at = Math.max(round, 0);
                floor[i][at] = together(ways.floors(), THREADS[i]);
                library[i][at] = together(ways.libraries(), THREADS[i]);
            }
        }
        for (int i = 1; i < THREADS.length; i++) {
            bench.scaling(caseOf(name, where, THREADS[i]), gains(floor[i], floor[0]),
                    gains(library[i], library[0]));
        }
    }

    /** In each round, how many times what one thread did; in ascending order. */
    private static double[] gains(double[] several, double[] one) {
        double[] gains = new double[ROUNDS];
        Arrays.setAll(gains, round -> several[round] / one[round]);
        Arrays.sort(gains);
        return gains;
    }

    private record Turn(long start, long end, long calls) {}

    /**
     * Calls a second of the first {@code threads} works, each on a thread, from when the first of them
     * begins to when the last one ends.
     */
    private static double together(List<Work> works, int threads) throws Exception {
        CyclicBarrier start = new CyclicBarrier(threads);
        Turn[] turns = new Turn[threads];
        List<Thread> running = new ArrayList<>();
        for (int i = 0; i < threads; i++) {
            int index = i;
            Thread thread = new Thread(() -> {
                try {
                    start.await();
                    turns[index] = turn(works.get(index));
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
        long first = Arrays.stream(turns).mapToLong(Turn::start).min().orElseThrow();
        long last = Arrays.stream(turns).mapToLong(Turn::end).max().orElseThrow();
        return Arrays.stream(turns).mapToLong(Turn::calls).sum() * 1e9 / (last - first);
    }

    private static Turn turn(Work work) throws Exception {
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
        return new Turn(start, now, calls);
    }
}
