package zolt.hdfs.bench;

import java.io.IOException;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.security.UserGroupInformation;

/** Hadoop's own NameNode and this one side by side, the same clients on both: see hdfs/bench.sh. */
public final class Bench {
    private static final List<String> PARTS = List.of("operations", "listing", "size", "data");
    /** Whoever lists and calls is no superuser: most callers are not. */
    private static final UserGroupInformation USER = UserGroupInformation.createRemoteUser("daemon");
    private static final int FILES = Integer.getInteger("bench.files");
    private static final int MAKERS = 16;
    private static final int LISTINGS = 5;
    private static final int STREAMS = 2;
    private static final int MEGABYTES = 256;
    private static final int MB = 1 << 20;
    private static final double START_SECONDS = 3;
    /** What is remembered of names, paths and files is bounded. */
    private static final double GROWTH_MEGABYTES = 32;
    private static final Path FILLED = new Path("/filled");

    private final Table table = new Table();

    private Bench() {}

    public static void main(String[] arguments) throws Exception {
        List<String> parts = arguments.length == 0 ? PARTS : Arrays.asList(arguments);
        if (!PARTS.containsAll(parts)) {
            System.err.println("parts are " + PARTS);
            System.exit(2);
        }
        org.apache.log4j.BasicConfigurator.configure();
        org.apache.log4j.Logger.getRootLogger().setLevel(org.apache.log4j.Level.OFF);
        System.exit(new Bench().run(parts));
    }

    private int run(List<String> parts) throws Exception {
        try (Server stock = Server.stock(); Server own = Server.own()) {
            List<Server> both = List.of(stock, own);
            long[] empty = new long[2];
            double[] begun = new double[2];
            for (int i = 0; i < 2; i++) {
                both.get(i).start();
                begun[i] = both.get(i).startSeconds();
                empty[i] = parts.contains("size") ? both.get(i).heapMegabytes() : 0;
            }
            if (parts.contains("operations")) {
                new Operations(USER, Integer.getInteger("bench.operations")).run(table, stock, own);
            }
            if (parts.contains("listing") || parts.contains("size")) {
                for (Server server : both) {
                    fill(server);
                }
            }
            if (parts.contains("listing")) {
                listing(stock, own);
            }
            if (parts.contains("size")) {
                size(both, empty, begun);
            }
            if (parts.contains("data")) {
                data(stock, own);
            }
        }
        System.out.printf("%nmissed: %d%n", table.missed());
        return 0;
    }

    /** Makes many small files by as many calls, in one directory. */
    private static void fill(Server server) throws Exception {
        try (FileSystem files = FileSystem.newInstance(server.conf())) {
            files.mkdirs(FILLED);
            inParallel(MAKERS, maker -> {
                for (int i = maker; i < FILES; i += MAKERS) {
                    files.create(new Path(FILLED, String.format("part-%07d", i))).close();
                }
                return null;
            });
        }
    }

    private interface Work<T> {
        T of(int number) throws Exception;
    }

    private static <T> List<T> inParallel(int threads, Work<T> work) throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(threads);
        try {
            List<Callable<T>> all = new ArrayList<>();
            for (int i = 0; i < threads; i++) {
                int number = i;
                all.add(() -> work.of(number));
            }
            List<T> results = new ArrayList<>();
            for (Future<T> each : pool.invokeAll(all)) {
                results.add(each.get());
            }
            return results;
        } finally {
            pool.shutdown();
        }
    }

    private void listing(Server stock, Server own) throws Exception {
        double[][] wall = new double[2][LISTINGS];
        double[][] cpu = new double[2][LISTINGS];
        List<Server> both = List.of(stock, own);
        for (int time = 0; time < LISTINGS; time++) {
            for (int i = 0; i < 2; i++) {
                double before = both.get(i).cpuSeconds();
                wall[i][time] = list(both.get(i));
                cpu[i][time] = both.get(i).cpuSeconds() - before;
            }
        }
        table.head("Listing of " + FILES + " entries, as " + USER.getShortUserName() + ", s");
        table.less("the first, at the client", wall[0][0], wall[1][0], 1);
        table.less("the first, processor of the NameNode", cpu[0][0], cpu[1][0], 1);
        table.less("one after others, at the client", later(wall[0]), later(wall[1]), 1);
        table.less("one after others, processor of the NameNode", later(cpu[0]), later(cpu[1]), 1);
    }

    private static double later(double[] times) {
        double[] sorted = Arrays.copyOfRange(times, 1, times.length);
        Arrays.sort(sorted);
        return sorted[sorted.length / 2];
    }

    private static double list(Server server) throws Exception {
        return USER.doAs((PrivilegedExceptionAction<Double>) () -> {
            try (DistributedFileSystem files = (DistributedFileSystem) FileSystem.newInstance(server.conf())) {
                files.getFileStatus(FILLED);
                long begun = System.nanoTime();
                int count = 0;
                for (RemoteIterator<?> all = files.listStatusIterator(FILLED); all.hasNext(); all.next()) {
                    count++;
                }
                if (count != FILES) {
                    throw new IOException(server.name() + " lists " + count);
                }
                return (System.nanoTime() - begun) / 1e9;
            }
        });
    }

    private void data(Server stock, Server own) throws Exception {
        double[][] speed = new double[2][2];
        List<Server> both = List.of(stock, own);
        for (Server server : both) {
            server.startDataNode();
        }
        for (int round = 0; round < 3; round++) {
            for (int i = 0; i < 2; i++) {
                try (FileSystem files = FileSystem.newInstance(both.get(i).conf())) {
                    speed[i][0] = Math.max(speed[i][0], streams(number -> write(files, number)));
                    speed[i][1] = Math.max(speed[i][1], streams(number -> read(files, number)));
                }
            }
        }
        table.head(STREAMS + " streams of " + MEGABYTES + " MB, MB/s together");
        table.more("write", speed[0][0], speed[1][0], 1);
        table.more("read", speed[0][1], speed[1][1], 1);
    }

    private static double streams(Work<Void> work) throws Exception {
        long begun = System.nanoTime();
        inParallel(STREAMS, work);
        return STREAMS * MEGABYTES / ((System.nanoTime() - begun) / 1e9);
    }

    private static Void write(FileSystem files, int number) throws IOException {
        byte[] bytes = new byte[MB];
        new java.util.Random(number).nextBytes(bytes);
        try (FSDataOutputStream out = files.create(new Path("/stream-" + number), true)) {
            for (int i = 0; i < MEGABYTES; i++) {
                out.write(bytes);
            }
        }
        return null;
    }

    private static Void read(FileSystem files, int number) throws IOException {
        byte[] bytes = new byte[MB];
        long total = 0;
        try (FSDataInputStream in = files.open(new Path("/stream-" + number))) {
            for (int got; (got = in.read(bytes)) > 0; total += got) {
                continue;
            }
        }
        if (total != (long) MEGABYTES * MB) {
            throw new IOException("read " + total);
        }
        return null;
    }

    private void size(List<Server> both, long[] empty, double[] begun) throws Exception {
        double[][] filled = new double[2][2];
        for (int i = 0; i < 2; i++) {
            filled[i][0] = both.get(i).heapMegabytes();
            both.get(i).stop();
            both.get(i).start();
            filled[i][1] = both.get(i).startSeconds();
        }
        table.head("The NameNode's own size");
        table.shown("live heap with no files, MB", empty[0], empty[1]);
        table.bounded("live heap with " + FILES + " files, MB", filled[0][0], filled[1][0], empty[1] + GROWTH_MEGABYTES);
        table.bounded("start with no files, s", begun[0], begun[1], START_SECONDS);
        table.bounded("start with " + FILES + " files, s", filled[0][1], filled[1][1], START_SECONDS);
    }
}
