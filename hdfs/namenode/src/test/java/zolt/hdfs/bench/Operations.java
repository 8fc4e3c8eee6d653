package zolt.hdfs.bench;

import java.io.IOException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.security.UserGroupInformation;

/** Hadoop's own benchmark of a NameNode's calls, as an ordinary user, in turns on one server and the other. */
final class Operations {
    private static final String BASE = "/nnThroughputBenchmark";
    private static final int[] THREADS = {4, 16};
    private static final int ROUNDS = 2;
    /** Readers of the namespace are to be faster, all else no slower. */
    private static final Map<String, Double> GOALS = Map.of("open", 1.2, "fileStatus", 1.2);
    private static final List<String> NAMES = List.of("create", "open", "fileStatus", "rename", "mkdirs");
    /** Last of all: a file system takes longer to make files when many have been removed lately. */
    private static final String LAST = "delete";

    private static final List<String> ALL = Stream.concat(NAMES.stream(), Stream.of(LAST)).toList();

    private static final int WARM_UP_THREADS = 16;

    private final UserGroupInformation user;
    private final int operations;
    private int bases;

    Operations(UserGroupInformation user, int operations) {
        this.user = user;
        this.operations = operations;
    }

    /** What one run has shown. */
    private record Result(double perSecond, double cpuMicros) {}

    void run(Table table, Server stock, Server own) throws Exception {
        Map<String, Result> best = new HashMap<>();
        for (Server server : List.of(stock, own)) {
            try (FileSystem files = FileSystem.newInstance(server.conf())) {
                files.mkdirs(new Path(BASE));
                files.setOwner(new Path(BASE), user.getShortUserName(), null);
            }
            all(server, WARM_UP_THREADS, operations, new HashMap<>());
        }
        for (int round = 0; round < ROUNDS; round++) {
            for (int threads : THREADS) {
                all(stock, threads, operations, best);
                all(own, threads, operations, best);
            }
        }
        for (int threads : THREADS) {
            for (Server server : List.of(stock, own)) {
                note(best, server, LAST, threads, measure(server, arguments(LAST, threads, operations, newBase())));
            }
        }
        table.head("Calls a second, as " + user.getShortUserName());
        for (int threads : THREADS) {
            for (String operation : ALL) {
                table.more(operation + ", " + threads + " threads", best.get(key(stock, operation, threads)).perSecond,
                        best.get(key(own, operation, threads)).perSecond, GOALS.getOrDefault(operation, 1.0));
            }
        }
        table.head("Processor time of the NameNode a call, µs");
        for (int threads : THREADS) {
            for (String operation : ALL) {
                table.less(operation + ", " + threads + " threads", best.get(key(stock, operation, threads)).cpuMicros,
                        best.get(key(own, operation, threads)).cpuMicros, GOALS.getOrDefault(operation, 1.0));
            }
        }
    }

    private static String key(Server server, String operation, int threads) {
        return server.name() + " " + operation + " " + threads;
    }

    private String newBase() {
        return BASE + "/" + bases++;
    }

    /** All operations that leave files, each on those that the one before has left where it can be. */
    private void all(Server server, int threads, int count, Map<String, Result> best) throws Exception {
        String base = newBase();
        String before = null;
        for (String operation : NAMES) {
            List<String> arguments = arguments(operation, threads, count, base);
            arguments.add("-keepResults");
            if (operation.equals("create")) {
                arguments.add("-close");
            } else if (!operation.equals("mkdirs")) {
                move(server, base + "/" + before, base + "/" + operation);
                arguments.add("-useExisting");
            }
            note(best, server, operation, threads, measure(server, arguments));
            before = operation;
        }
    }

    private static List<String> arguments(String operation, int threads, int count, String base) {
        return new ArrayList<>(List.of("-op", operation, "-threads", Integer.toString(threads),
                operation.equals("mkdirs") ? "-dirs" : "-files", Integer.toString(count), "-nonSuperUser",
                "-baseDirName", base));
    }

    private static void note(Map<String, Result> best, Server server, String operation, int threads, Result result) {
        best.merge(key(server, operation, threads), result, (one, other) -> one.perSecond >= other.perSecond ? one : other);
    }

    private static void move(Server server, String from, String to) throws IOException {
        try (FileSystem files = FileSystem.newInstance(server.conf())) {
            if (!files.rename(new Path(from), new Path(to))) {
                throw new IOException("cannot rename " + from);
            }
        }
    }

    private Result measure(Server server, List<String> arguments) throws Exception {
        Said said = new Said(server);
        said.run(server.conf(), user, arguments);
        return said.result();
    }

    /** What the benchmark says in its log, and the server's processor time beside it. */
    private static final class Said extends Throughput {
        private record Sample(long nanos, double cpu) {}

        private final Server server;
        private final List<Sample> samples = new ArrayList<>();
        private Sample start;
        private double millis;
        private double count;

        Said(Server server) {
            this.server = server;
        }

        @Override
        protected synchronized void sample() {
            samples.add(new Sample(System.nanoTime(), server.cpuSeconds()));
        }

        @Override
        protected synchronized void said(String text) {
            if (text.startsWith("Starting ") && text.endsWith("(s).")) {
                start = new Sample(System.nanoTime(), server.cpuSeconds());  // the last counts: inputs come before
            } else if (text.startsWith("# operations: ")) {
                count = Double.parseDouble(text.substring(14));
            } else if (text.startsWith("Elapsed Time: ")) {
                millis = Double.parseDouble(text.substring(14));
            }
        }

        synchronized Result result() {
            long end = start.nanos + (long) (millis * 1e6);
            double cpu = start.cpu;
            for (Sample sample : samples) {
                if (sample.nanos <= end) {
                    cpu = Math.max(cpu, sample.cpu);
                }
            }
            return new Result(1000 * count / millis, (cpu - start.cpu) * 1e6 / count);
        }
    }
}
