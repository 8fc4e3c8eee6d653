package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.io.InputStream;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.ipc.StandbyException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.fs.BlockLocations;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.NodeHosts;

/**
 * The service on two mounts of one file system, as on two machines. The command {@code KILL_MOUNT} of the environment ends
 * the second one, and {@code NODES} tells the hosts of the file system's nodes.
 */
class MountsTest {
    private static final String NODES = System.getenv("NODES");
    private static final String KILL = System.getenv("KILL_MOUNT");
    private static final Path BASE = new Path("/mounts");
    private static final int BLOCK = 64 << 10;
    private static final int BLOCKS = 12;
    private static final int MOST_BYTES = 60_000;
    private static final int WRITERS = 3;
    private static final int KILLS = 4;
    private static final long BEFORE_MILLIS = 1_500;
    private static final long AFTER_MILLIS = 6_000;

    @TempDir
    private java.nio.file.Path state;

    private final AtomicInteger failures = new AtomicInteger();
    private final AtomicBoolean ending = new AtomicBoolean();

    @Test
    void theServiceIsOneOnTwoMounts() throws Exception {
        assumeTrue(KILL != null && NODES != null, "this needs two mounts of a file system, which make test-cephfs has");
        ExecutorService threads = Executors.newFixedThreadPool(WRITERS);
        try (Pair pair = new Pair(state, Map.of(NodeHosts.KEY, NODES, "dfs.client.failover.random.order", "true"))) {
            readByTheOther(pair);
            List<Future<Written>> jobs = new ArrayList<>();
            for (int i = 0; i < WRITERS; i++) {
                Path own = new Path(BASE, "job" + i);
                jobs.add(threads.submit(() -> write(pair, own)));
            }
            for (int kill = 0; kill < KILLS; kill++) {
                Thread.sleep(BEFORE_MILLIS);
                pair.kill(Pair.IDS[kill % 2]);
                pair.start(Pair.IDS[kill % 2]);
            }
            assertEquals(0, failures.get(), "writes that failed with a NameNode");
            assertEquals(0, new ProcessBuilder("sh", "-c", KILL).inheritIO().start().waitFor());
            long dead = System.nanoTime();
            Thread.sleep(AFTER_MILLIS);
            ending.set(true);
            int files = 0;
            int mended = 0;
            for (Future<Written> job : jobs) {
                Written written = job.get(Pair.WAIT_SECONDS, TimeUnit.SECONDS);
                files += written.closed.size();
                mended += written.failures.size();
                written.failures.forEach(failure -> System.out.println("a writer was told: " + failure));
                assertAllIsThere(pair, written);
                assertTrue(written.last > dead, "a job has closed no file after the death of the mount");
            }
            System.out.println(KILLS + " NameNodes and a mount killed: " + files + " files, " + mended
                    + " writes began again");
            assertSaysWhy(pair);
        } finally {
            ending.set(true);
            threads.shutdownNow();
        }
    }

    /** By one NameNode and then by the other, which names first the DataNode where the only copy of a block is. */
    private static void readByTheOther(Pair pair) throws Exception {
        Path path = new Path("/single/both");
        byte[] bytes = bytes(1, BLOCKS * BLOCK - 1);
        try (FileSystem one = FileSystem.newInstance(pair.uri(Pair.IDS[0]), pair.client());
                FileSystem two = FileSystem.newInstance(pair.uri(Pair.IDS[1]), pair.client())) {
            try (FSDataOutputStream out = one.create(path, true, BLOCK, (short) 1, BLOCK)) {
                out.write(bytes);
            }
            try (InputStream in = two.open(path)) {
                assertArrayEquals(bytes, in.readAllBytes());
            }
            List<zolt.fs.BlockLocation> expected;
            try (Acting own = Acting.service()) {
                expected = BlockLocations.of(Service.FOLDER + path, BlockLocations.Form.RANKED).list();
            }
            BlockLocation[] told = two.getFileBlockLocations(path, 0, bytes.length);
            assertEquals(expected.size(), told.length);
            Set<String> first = new HashSet<>();
            for (int i = 0; i < told.length; i++) {
                String host = "node" + expected.get(i).nodes().get(0);
                if (Pair.HOSTS.contains(host)) {
                    assertEquals(host, told[i].getHosts()[0], "block " + i);
                    first.add(host);
                }
            }
            assertEquals(Set.copyOf(Pair.HOSTS), first, "blocks on each of the hosts");
        }
    }

    /** What a job knows to be written. */
    private static final class Written {
        private final Map<Path, Integer> closed = new TreeMap<>();
        private final Map<Path, Integer> flushed = new TreeMap<>();
        private final List<String> failures = new ArrayList<>();
        private long last;
    }

    /** Files of several blocks, one after the other. A write that fails is begun again, once. */
    private Written write(Pair pair, Path own) throws Exception {
        Written written = new Written();
        Random random = new Random(own.hashCode());
        try (FileSystem files = FileSystem.newInstance(Pair.uri(), pair.client())) {
            for (int number = 0; !ending.get(); number++) {
                int size = MOST_BYTES + random.nextInt(5 * MOST_BYTES);
                try {
                    write(files, new Path(own, "file" + number), size, written);
                } catch (IOException e) {
                    written.failures.add(e.toString());
                    failures.incrementAndGet();
                    write(files, new Path(own, "again" + number), size, written);
                }
            }
        }
        return written;
    }

    private void write(FileSystem files, Path path, int size, Written written) throws Exception {
        byte[] bytes = bytes(path.hashCode(), size);
        // Not closed where a write has failed: Hadoop's stream throws the same exception again.
        FSDataOutputStream out = files.create(path, false, 4096, (short) 1, BLOCK);
        for (int at = 0; at < size; at += MOST_BYTES) {
            out.write(bytes, at, Math.min(MOST_BYTES, size - at));
            out.hflush();
            written.flushed.put(path, Math.min(size, at + MOST_BYTES));
            Thread.sleep(20);
        }
        out.close();
        written.closed.put(path, size);
        written.last = System.nanoTime();
    }

    private static void assertAllIsThere(Pair pair, Written written) throws IOException {
        try (DistributedFileSystem files = (DistributedFileSystem) FileSystem.newInstance(Pair.uri(), pair.client())) {
            for (Map.Entry<Path, Integer> file : written.flushed.entrySet()) {
                Path path = file.getKey();
                boolean isClosed = written.closed.containsKey(path);
                if (!isClosed) {
                    files.recoverLease(path);
                }
                int known = isClosed ? written.closed.get(path) : file.getValue();
                try (InputStream in = files.open(path)) {
                    assertArrayEquals(bytes(path.hashCode(), known), in.readNBytes(known), path + ", " + known + " bytes");
                    assertTrue(!isClosed || in.read() < 0, path + " is longer than it was written");
                }
            }
        }
    }

    /** The NameNode on the dead mount sends its clients to another one. */
    private static void assertSaysWhy(Pair pair) throws IOException {
        try (FileSystem two = FileSystem.newInstance(pair.uri(Pair.IDS[1]), pair.client())) {
            RemoteException said = assertThrows(RemoteException.class, () -> two.listStatus(BASE));
            assertEquals(StandbyException.class.getName(), said.getClassName());
            assertTrue(said.getMessage().contains(Service.OTHER), said.getMessage());
        }
    }

    /** The same for the same seed, whatever the size. */
    private static byte[] bytes(int seed, int size) {
        byte[] all = new byte[(BLOCKS + 1) * BLOCK];
        new Random(seed).nextBytes(all);
        return java.util.Arrays.copyOf(all, size);
    }
}
