package zolt.soak;

import java.io.IOException;
import java.lang.management.BufferPoolMXBean;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.ReentrantReadWriteLock;
import java.util.stream.Stream;

/**
 * Many threads at many natives for a given time, under the eyes of one that counts.
 *
 * <p>System properties: soak.minutes, soak.seed, soak.terminal (progress on one line). The exit
 * status is 1 when an invariant was broken.
 */
public final class Soak {
    private static final int THREADS = 32;
    private static final long MIB = 1 << 20;
    private static final long QUIET_EVERY = 2_000; // milliseconds
    /** What the VM itself may open late. */
    private static final int SPARE_DESCRIPTORS = 4;
    /** What the VM itself may still take once it is warm; 100 bytes a call are soon more. */
    private static final long SPARE_MEMORY = 48 * MIB;
    private static final long SPARE_ALLOCATED = 8 * MIB;

    private final double seconds = 60 * Double.parseDouble(System.getProperty("soak.minutes"));
    private final long seed = Long.getLong("soak.seed", System.nanoTime() & 0xffffff);
    private final Report report = new Report(Boolean.getBoolean("soak.terminal"));
    private final Tree tree;
    private final Worker[] workers = new Worker[THREADS];
    private final ReentrantReadWriteLock calm = new ReentrantReadWriteLock(true);
    private long begin;
    private int rounds;
    private long descriptors;
    private long directBuffers;
    private long resident;
    private long allocated;

    private Soak(Path root) throws IOException {
        tree = new Tree(root);
    }

    public static void main(String[] arguments) throws Exception {
        Path root = Files.createTempDirectory("zolt-soak-").toRealPath();
        int status = 1;
        try {
            status = new Soak(root).run();
        } finally {
            remove(root);
        }
        Runtime.getRuntime().halt(status);
    }

    private static void remove(Path root) throws IOException {
        try (Stream<Path> all = Files.walk(root)) {
            for (Path path : (Iterable<Path>) all.sorted(Comparator.reverseOrder())::iterator) {
                Files.deleteIfExists(path);
            }
        }
    }

    private int run() throws Exception {
        report.line("soak: " + THREADS + " threads, " + Users.COUNT + " users, " + seconds
                + " seconds, SEED=" + seed);
        OtherCalls.configure(new Scene(tree, -1, seed, new Scene.Buffers()));
        for (int i = 0; i < THREADS; i++) {
            start(i, seed, new Scene.Buffers());
        }
        for (Worker worker : workers) {
            worker.awaitBegun();
        }
        begin = System.nanoTime();
        try {
            lookInCalm();
            while (age() < seconds) {
                Thread.sleep(Math.min(QUIET_EVERY, 1 + (long) (1000 * (seconds - age()))));
                replaceOne();
                lookInCalm();
            }
            report.last(age(), resident, allocated);
            return 0;
        } catch (Throwable e) {
            report.failed(e, seed);
            report.wayTo(tree.root());
            return 1;
        } finally {
            for (Worker worker : workers) {
                worker.leave(10_000);
            }
        }
    }

    private double age() {
        return (System.nanoTime() - begin) / 1e9;
    }

    private void start(int number, long itsSeed, Scene.Buffers buffers) {
        workers[number] = new Worker(tree, number, itsSeed, buffers, calm.readLock());
        workers[number].start();
    }

    /** One thread ends in the middle of a listing, and another takes its place. */
    private void replaceOne() throws InterruptedException {
        int number = rounds++ % THREADS;
        start(number, seed + rounds, workers[number].leave(0));
    }

    /** What must hold when no thread is within a call, nor between two that belong together. */
    private void lookInCalm() throws Throwable {
        if (!calm.writeLock().tryLock(60, TimeUnit.SECONDS)) {
            throw new Broken("a call has not come back for a minute");
        }
        try {
            if (Worker.FAILED.get() != null) {
                throw Worker.FAILED.get();
            }
            Gauge.Descriptors open = expectNoDescriptors();
            long residentNow = Gauge.resident();
            long directNow = directBuffers();
            long allocatedNow = Gauge.allocated();
            report.progress(age(), residentNow, allocatedNow, open.all());
            // Until it is warm, the VM goes on taking memory and opening files.
            if (age() < Math.min(60, seconds / 3) || descriptors == 0) {
                descriptors = Math.max(descriptors, open.all());
                directBuffers = Math.max(directBuffers, directNow);
                resident = Math.max(resident, residentNow);
                allocated = Math.max(allocated, allocatedNow);
                return;
            }
            expectAtMost("descriptors", open.all(), descriptors + SPARE_DESCRIPTORS);
            expectAtMost("direct buffers", directNow, directBuffers);
            expectAtMost("bytes resident", residentNow, resident + SPARE_MEMORY);
            expectAtMost("bytes allocated", allocatedNow, allocated + SPARE_ALLOCATED);
        } finally {
            calm.writeLock().unlock();
        }
    }

    private static void expectAtMost(String what, long found, long most) {
        if (found > most) {
            throw new Broken(found + " " + what + " in a calm moment, expected at most " + most);
        }
    }

    /** The system's thread releases what is its a little after the Java thread counts as ended. */
    private Gauge.Descriptors expectNoDescriptors() throws Exception {
        for (int tries = 0;; tries++) {
            Gauge.Descriptors open = Gauge.descriptors(tree.root());
            if (open.below() == 0) {
                return open;
            }
            if (tries == 500) {
                throw new Broken(open.below() + " descriptors of the tree open in a calm moment");
            }
            Thread.sleep(10);
        }
    }

    private static long directBuffers() {
        return ManagementFactory.getPlatformMXBeans(BufferPoolMXBean.class).stream()
                .filter(pool -> pool.getName().equals("direct"))
                .mapToLong(BufferPoolMXBean::getCount).sum();
    }

    /** The words on the screen. */
    private static final class Report {
        private static final double EVERY = 10; // seconds, where there is no line to update
        private final boolean terminal;
        private double next = EVERY;

        Report(boolean terminal) {
            this.terminal = terminal;
        }

        void line(String text) {
            System.out.println(text);
        }

        void progress(double age, long resident, long allocated, long descriptors) {
            String text = state(age) + String.format(
                    ", RSS %d MiB, allocated %.1f MiB, %d descriptors", resident / MIB,
                    allocated / (double) MIB, descriptors);
            if (terminal) {
                System.out.print("\r\033[K" + text);
                System.out.flush();
            } else if (age >= next) {
                line(text);
                next = age + EVERY;
            }
        }

        private static String state(double age) {
            long calls = Scene.CALLS.sum();
            return String.format("%.0f s: %d calls, %.0f a second, exceptions %s", age, calls,
                    calls / age, new TreeMap<>(Scene.EXCEPTIONS));
        }

        void last(double age, long warmResident, long warmAllocated) throws IOException {
            line((terminal ? "\r\033[K" : "") + state(age));
            line(String.format("RSS %d MiB when warm, %d MiB at the end;"
                    + " allocated %.1f MiB when warm, %.1f MiB at the end; every invariant held",
                    warmResident / MIB, Gauge.resident() / MIB, warmAllocated / (double) MIB,
                    Gauge.allocated() / (double) MIB));
        }

        /** Another process that shuts a directory on the way would look like a wrong refusal. */
        void wayTo(Path dir) throws IOException {
            for (Path path = dir; path != null; path = path.getParent()) {
                line(path + " is " + Files.readAttributes(path, "unix:mode,uid,gid,ctime"));
            }
        }

        void failed(Throwable e, long seed) {
            line((terminal ? "\n" : "") + "BROKEN: " + (e instanceof Broken ? e.getMessage() : e)
                    + " (SEED=" + seed + ")");
            e.printStackTrace(System.out);
        }
    }
}
