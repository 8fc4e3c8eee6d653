package zolt.hdfs.bench;

import java.io.IOException;
import java.net.URI;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileRange;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RawLocalFileSystem;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;

/**
 * {@code zolt://} beside Hadoop's own local file system, Hadoop's HDFS and plain file calls, each on a folder of its own
 * on the same disk: see hdfs/bench.sh. All in turns, each at every place of a turn, from or into the same memory; the best
 * of each counts.
 */
public final class FileSystems {
    private static final int FEWEST_ROUNDS = 3;
    private static final int MOST_ROUNDS = 1000;
    /** How long a row goes on, when it has had the fewest rounds. */
    private static final double SECONDS = 10;
    /** A server is slower by an order, and need not be timed so closely. */
    private static final int ROUNDS_OF_HDFS = 2;
    private static final int MEGABYTES = 256;
    private static final int MB = 1 << 20;
    private static final int SMALL_FILES = 1000;
    private static final int SMALL = 1024;
    private static final int RANGES = 256;
    private static final int RANGE = 1 << 16;
    private static final int FILES = Integer.getInteger("bench.files");
    private static final String LOCAL = "RawLocal";
    private static final String OWN = "zolt";
    private static final List<String> ROWS = List.of(System.getProperty("bench.rows").split(" "));
    private static final Map<String, List<String>> GROUPS = Map.of(
            "data", List.of("write", "arrays", "pages", "direct", "vectored"),
            "small", List.of("made", "opened", "status", "renamed"),
            "listing", List.of("iterator", "array"));
    private static final String PLAIN = "plain";
    private static final String HDFS = "hdfs";
    private static final String NAME = "part-%07d";
    private static final int MAKERS = 16;
    private static final double OF_PLAIN = 0.95;

    private final java.nio.file.Path work = java.nio.file.Path.of(System.getProperty("bench.work"));
    private final Map<String, Path> roots = new LinkedHashMap<>();
    private final Map<String, FileSystem> all = new LinkedHashMap<>();
    private final byte[] bytes = new byte[MB];
    private final ByteBuffer direct = ByteBuffer.allocateDirect(MB);
    /** What all but HDFS have in common, when they read or rename. */
    private final java.nio.file.Path same = work.resolve("own/bench");
    private java.nio.file.Path plainRoot = work.resolve(PLAIN);
    private int missed;

    private FileSystems() {}

    public static void main(String[] arguments) throws Exception {
        org.apache.log4j.BasicConfigurator.configure();
        org.apache.log4j.Logger.getRootLogger().setLevel(org.apache.log4j.Level.OFF);
        new FileSystems().run();
        System.exit(0);
    }

    private void add(String name, FileSystem files, Path root) throws IOException {
        files.mkdirs(root);
        all.put(name, files);
        roots.put(name, root);
    }

    private void run() throws Exception {
        new Random(1).nextBytes(bytes);
        Configuration conf = new HdfsConfiguration();
        conf.set("dfs.replication", "1");
        // A client of HDFS sleeps when its file is complete before the DataNode has said so: here each time, for 0.4 s.
        conf.set("dfs.client.block.write.locateFollowingBlock.initial.delay.ms", "1");
        System.setProperty("test.build.data", work.resolve("mini").toString());
        RawLocalFileSystem local = new RawLocalFileSystem();
        local.initialize(URI.create("file:///"), conf);
        add(LOCAL, local, new Path(Files.createDirectory(work.resolve("raw")).toString()));
        Configuration own = new Configuration(conf);
        own.set("fs.zolt.root", Files.createDirectory(work.resolve("own")).toString());
        add(OWN, FileSystem.newInstance(URI.create("zolt:///"), own), new Path("/bench"));
        try (MiniDFSCluster cluster = !ROWS.contains(HDFS) ? null
                : new MiniDFSCluster.Builder(conf).numDataNodes(1).build()) {
            if (cluster != null) {
                add(HDFS, cluster.getFileSystem(), new Path("/bench"));
            }
            Files.createDirectory(plainRoot);
            System.out.printf("%nThe machine's load is %s at the beginning", load());
            System.out.printf("%n%n| | RawLocal | zolt:// | Hadoop's hdfs:// | FileChannel | to RawLocal | to FileChannel"
                    + " | |%n|---|--:|--:|--:|--:|--:|--:|---|%n");
            if (isWantedGroup("data")) {
                data();
            }
            if (isWantedGroup("small")) {
                small();
            }
            if (isWantedGroup("listing")) {
                listing();
            }
        }
        System.out.printf("%nmissed: %d; the machine's load is %s at the end%n", missed, load());
    }

    /** Does something once; what counts is how long it takes. */
    private interface Work {
        void on(FileSystem files, Path root) throws Exception;
    }

    private interface Plain {
        void on(java.nio.file.Path root) throws Exception;
    }

    /** The best time of each, in seconds. */
    private Map<String, Double> time(List<String> names, Work work, Plain plain) throws Exception {
        Map<String, Double> best = new LinkedHashMap<>();
        List<String> turn = new ArrayList<>(names);
        if (plain != null) {
            turn.add(PLAIN);
        }
        long first = System.nanoTime();
        for (int round = 0; goesOn(round, first); round++) {
            for (String name : turn) {
                if (name.equals(HDFS) && round >= ROUNDS_OF_HDFS) {
                    continue;
                }
                long begun = System.nanoTime();
                if (name.equals(PLAIN)) {
                    plain.on(plainRoot);
                } else {
                    work.on(all.get(name), roots.get(name));
                }
                best.merge(name, (System.nanoTime() - begun) / 1e9, Math::min);
            }
            Collections.rotate(turn, 1);
        }
        return best;
    }

    private static boolean goesOn(int round, long first) {
        return round < FEWEST_ROUNDS || round < MOST_ROUNDS && (System.nanoTime() - first) / 1e9 < SECONDS;
    }

    /** What the rows need, done before the first of them. */
    private void once(Work work) throws Exception {
        for (String name : all()) {
            work.on(all.get(name), roots.get(name));
        }
    }

    /** A row has a word for itself; some have one together. */
    private static boolean isWanted(String row) {
        return ROWS.contains(row) || GROUPS.entrySet().stream()
                .anyMatch(group -> ROWS.contains(group.getKey()) && group.getValue().contains(row));
    }

    private static boolean isWantedGroup(String group) {
        return GROUPS.get(group).stream().anyMatch(FileSystems::isWanted);
    }

    private static String load() throws IOException {
        return Files.readString(java.nio.file.Path.of("/proc/loadavg")).split(" ")[0];
    }

    private void row(String what, double amount, Map<String, Double> seconds) {
        double own = amount / seconds.get(OWN);
        double toLocal = seconds.containsKey(LOCAL) ? own / (amount / seconds.get(LOCAL)) : Double.NaN;
        double toPlain = seconds.containsKey(PLAIN) ? own / (amount / seconds.get(PLAIN)) : Double.NaN;
        boolean held = !(toLocal < 1) && !(toPlain < OF_PLAIN);
        missed += held ? 0 : 1;
        System.out.printf("| %s | %s | %s | %s | %s | %s | %s | %s |%n", what, speed(amount, seconds.get(LOCAL)),
                speed(amount, seconds.get(OWN)), speed(amount, seconds.get(HDFS)), speed(amount, seconds.get(PLAIN)),
                ratio(toLocal), ratio(toPlain), held ? "held" : "**missed**");
    }

    private static String speed(double amount, Double seconds) {
        return seconds == null ? "" : String.format(Locale.ROOT, "%.0f", amount / seconds);
    }

    private static String ratio(double value) {
        return Double.isNaN(value) ? "" : String.format(Locale.ROOT, "%.2f", value);
    }

    private static List<String> all() {
        return ROWS.contains(HDFS) ? List.of(LOCAL, OWN, HDFS) : List.of(LOCAL, OWN);
    }

    private void data() throws Exception {
        Work write = (files, root) -> {
            try (FSDataOutputStream out = files.create(new Path(root, "data"), true)) {
                for (int i = 0; i < MEGABYTES; i++) {
                    out.write(bytes);
                }
            }
        };
        Plain plainWrite = root -> {
            java.nio.file.Path file = root.resolve("data");
            Files.deleteIfExists(file);
            try (FileChannel out = FileChannel.open(file, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE)) {
                for (int i = 0; i < MEGABYTES; i++) {
                    out.write(ByteBuffer.wrap(bytes));
                }
            }
        };
        once(write);
        plainWrite.on(plainRoot);
        if (isWanted("write")) {
            row("write from arrays of 1 MB, MB/s", MEGABYTES, time(all(), write, plainWrite));
        }
        // All read the same file: one may lie in memory in larger pieces than another.
        plainRoot = same;
        Path before = roots.put(LOCAL, new Path(same.toString()));
        byte[] large = new byte[MB];
        if (isWanted("arrays")) {
            row("read into arrays of 1 MB, MB/s", MEGABYTES, time(all(), (files, root) -> readAll(files, root, large),
                    root -> readAll(root, ByteBuffer.wrap(large))));
        }
        byte[] little = new byte[4096];
        if (isWanted("pages")) {
            row("read into arrays of 4 KB, MB/s", MEGABYTES, time(all(), (files, root) -> readAll(files, root, little),
                    root -> readAll(root, ByteBuffer.wrap(little))));
        }
        if (isWanted("direct")) {
            row("read into direct buffers of 1 MB, MB/s", MEGABYTES, time(all().subList(1, all().size()), (files, root) -> {
                try (FSDataInputStream in = files.open(new Path(root, "data"))) {
                    long total = 0;
                    for (int got; (got = in.read(direct.clear())) > 0;) {
                        total += got;
                    }
                    require(total);
                }
            }, root -> readAll(root, direct)));
        }
        if (isWanted("vectored")) {
            vectored();
        }
        roots.put(LOCAL, before);
    }

    private static void readAll(FileSystem files, Path root, byte[] into) throws IOException {
        long total = 0;
        try (FSDataInputStream in = files.open(new Path(root, "data"))) {
            for (int got; (got = in.read(into, 0, into.length)) > 0;) {
                total += got;
            }
        }
        require(total);
    }

    private static void readAll(java.nio.file.Path root, ByteBuffer into) throws IOException {
        long total = 0;
        try (FileChannel in = FileChannel.open(root.resolve("data"), StandardOpenOption.READ)) {
            for (int got; (got = in.read(into.clear())) > 0;) {
                total += got;
            }
        }
        require(total);
    }

    private static void require(long total) throws IOException {
        if (total != (long) MEGABYTES * MB) {
            throw new IOException("read " + total);
        }
    }

    private void vectored() throws Exception {
        List<Long> offsets = new ArrayList<>();
        Random random = new Random(3);
        for (int i = 0; i < RANGES; i++) {
            offsets.add((long) random.nextInt(MEGABYTES * (MB / RANGE)) * RANGE);
        }
        List<Long> different = offsets.stream().distinct().sorted().toList();
        ByteBuffer[] buffers = new ByteBuffer[different.size()];
        Arrays.setAll(buffers, i -> ByteBuffer.allocateDirect(RANGE));
        double megabytes = (double) different.size() * RANGE / MB;
        row("readVectored, ranges of 64 KB, MB/s", megabytes, time(all(), (files, root) -> {
            List<FileRange> ranges = different.stream().map(at -> FileRange.createFileRange(at, RANGE)).toList();
            java.util.concurrent.atomic.AtomicInteger next = new java.util.concurrent.atomic.AtomicInteger();
            try (FSDataInputStream in = files.open(new Path(root, "data"))) {
                in.readVectored(ranges, length -> buffers[next.getAndIncrement()].clear());
                for (FileRange range : ranges) {
                    if (range.getData().get().remaining() != RANGE) {
                        throw new IOException("a short range");
                    }
                }
            }
        }, root -> {
            try (FileChannel in = FileChannel.open(root.resolve("data"), StandardOpenOption.READ)) {
                int next = 0;
                for (long at : different) {
                    if (in.read(buffers[next++].clear(), at) != RANGE) {
                        throw new IOException("a short range");
                    }
                }
            }
        }));
    }

    private void small() throws Exception {
        byte[] some = Arrays.copyOf(bytes, SMALL);
        Work make = (files, root) -> {
            for (int i = 0; i < SMALL_FILES; i++) {
                try (FSDataOutputStream out = files.create(new Path(root, "small-" + i), true)) {
                    out.write(some);
                }
            }
        };
        once(make);
        if (isWanted("made")) {
            row("small files made, a second", SMALL_FILES, time(all(), make, null));
        }
        roots.put(LOCAL, new Path(same.toString()));
        if (isWanted("opened")) {
            row("small files read, a second", SMALL_FILES, time(all(), (files, root) -> {
                byte[] into = new byte[SMALL];
                for (int i = 0; i < SMALL_FILES; i++) {
                    try (FSDataInputStream in = files.open(new Path(root, "small-" + i))) {
                        in.readFully(into);
                    }
                }
            }, null));
        }
        if (isWanted("status")) {
            row("status, a second", SMALL_FILES, time(all(), (files, root) -> {
                for (int i = 0; i < SMALL_FILES; i++) {
                    if (files.getFileStatus(new Path(root, "small-" + i)).getLen() != SMALL) {
                        throw new IOException("another length");
                    }
                }
            }, null));
        }
        if (isWanted("renamed")) {
            row("renamed, a second", SMALL_FILES * 2, time(all(), (files, root) -> {
                for (int i = 0; i < SMALL_FILES; i++) {
                    rename(files, new Path(root, "small-" + i), new Path(root, "moved-" + i));
                }
                for (int i = 0; i < SMALL_FILES; i++) {
                    rename(files, new Path(root, "moved-" + i), new Path(root, "small-" + i));
                }
            }, null));
        }
    }

    private static void rename(FileSystem files, Path from, Path to) throws IOException {
        if (!files.rename(from, to)) {
            throw new IOException("not renamed: " + from);
        }
    }

    private void listing() throws Exception {
        for (String folder : List.of("raw/filled", "own/filled")) {
            java.nio.file.Path filled = Files.createDirectory(work.resolve(folder));
            for (int i = 0; i < FILES; i++) {
                Files.createFile(filled.resolve(String.format(NAME, i)));
            }
        }
        if (all.containsKey(HDFS)) {
            fill(all.get(HDFS), new Path("/filled"));
            roots.put(HDFS, new Path("/filled"));
        }
        roots.put(LOCAL, new Path(work.resolve("raw/filled").toString()));
        roots.put(OWN, new Path("/filled"));
        if (isWanted("iterator")) {
            row("listed by iterator, " + FILES + " entries, a second", FILES, time(all(), (files, root) -> {
                int count = 0;
                for (RemoteIterator<FileStatus> each = files.listStatusIterator(root); each.hasNext(); each.next()) {
                    count++;
                }
                require(count, FILES);
            }, null));
        }
        if (isWanted("array")) {
            row("listed as an array, " + FILES + " entries, a second", FILES, time(all(),
                    (files, root) -> require(files.listStatus(root).length, FILES), null));
        }
    }

    /** By several clients at a time, for one waits for the journal. */
    private static void fill(FileSystem files, Path filled) throws Exception {
        files.mkdirs(filled);
        ExecutorService makers = Executors.newFixedThreadPool(MAKERS);
        try {
            List<Callable<Void>> work = new ArrayList<>();
            for (int maker = 0; maker < MAKERS; maker++) {
                int first = maker;
                work.add(() -> {
                    for (int i = first; i < FILES; i += MAKERS) {
                        files.create(new Path(filled, String.format(NAME, i))).close();
                    }
                    return null;
                });
            }
            for (Future<Void> each : makers.invokeAll(work)) {
                each.get();
            }
        } finally {
            makers.shutdown();
        }
    }

    private static void require(int count, int wanted) throws IOException {
        if (count != wanted) {
            throw new IOException("listed " + count);
        }
    }
}
