package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.net.NetUtils;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.bench.Throughput;

/**
 * Two NameNodes on one folder, processes of their own, of which now one and now the other is killed in the midst of
 * its work: nothing that was acknowledged is lost, and no call fails. -Dzolt.test.kills=100 says how often.
 */
class KilledNameNodesTest {
    private static final int KILLS = Integer.getInteger("zolt.test.kills", 4);
    private static final int CALLERS = 4;
    private static final int MOST_FILES = 50;
    private static final int MOST_BYTES = 60_000;
    private static final int BLOCK = 1 << 20;
    private static final Path BASE = new Path("/killed");
    private static final List<String> OPERATIONS = List.of("mkdirs", "create", "open", "fileStatus", "rename", "delete");
    private static final int OPERATED = 200;

    @TempDir
    private java.nio.file.Path state;

    private final Random random = new Random(KILLS);
    private final AtomicBoolean ending = new AtomicBoolean();
    private Pair pair;

    @Test
    void nothingThatWasAcknowledgedIsLost() throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(CALLERS + 2);
        try (Pair started = new Pair(state, Map.of())) {
            pair = started;
            for (String id : Pair.IDS) {
                assertAllJarsAreOpen(pair.server(id));
            }
            FileSystem.newInstance(Pair.uri(), pair.client()).delete(BASE, true);
            List<Future<Integer>> calls = new ArrayList<>();
            for (int caller = 0; caller < CALLERS; caller++) {
                int number = caller;
                calls.add(threads.submit(() -> callUntilTheEnd(number)));
            }
            Future<Integer> writer = threads.submit(this::writeUntilTheEnd);
            Future<Integer> benchmark = threads.submit(this::benchmarkUntilTheEnd);
            for (int kill = 0; kill < KILLS; kill++) {
                Thread.sleep(500 + random.nextInt(1500));
                String victim = Pair.IDS[random.nextInt(Pair.IDS.length)];
                pair.kill(victim);
                pair.start(victim);
            }
            ending.set(true);
            int done = 0;
            for (Future<Integer> each : calls) {
                done += each.get(Pair.WAIT_SECONDS, TimeUnit.SECONDS);
            }
            System.out.println(KILLS + " kills: " + done + " calls, " + writer.get(Pair.WAIT_SECONDS, TimeUnit.SECONDS)
                    + " files written, " + benchmark.get(Pair.WAIT_SECONDS, TimeUnit.SECONDS) + " runs of the benchmark");
            FileSystem.newInstance(Pair.uri(), pair.client()).delete(BASE, true);
        } finally {
            ending.set(true);
            threads.shutdownNow();
        }
    }

    /** Calls of names, each of which is to succeed, and what the folder has to show for them in the end. */
    private int callUntilTheEnd(int number) throws Exception {
        Random mine = new Random(number);
        Path own = new Path(BASE, "caller" + number);
        List<Path> there = new ArrayList<>();
        int calls = 0;
        try (FileSystem files = FileSystem.newInstance(Pair.uri(), pair.client())) {
            assertTrue(files.mkdirs(own));
            for (; !ending.get(); calls++) {
                int kind = mine.nextInt(5);
                if (there.isEmpty() || kind == 0 && there.size() < MOST_FILES) {
                    Path made = new Path(own, "file" + calls);
                    files.create(made, false).close();
                    there.add(made);
                } else if (kind == 1) {
                    Path old = there.remove(mine.nextInt(there.size()));
                    Path renamed = new Path(own, "renamed" + calls);
                    assertTrue(files.rename(old, renamed), () -> "cannot rename " + old);
                    there.add(renamed);
                } else if (kind == 2) {
                    Path old = there.remove(mine.nextInt(there.size()));
                    assertTrue(files.delete(old, false), () -> "cannot delete " + old);
                } else if (kind == 3) {
                    assertTrue(files.mkdirs(new Path(own, "directories/" + calls % 100)));
                } else {
                    assertEquals(0, files.getFileStatus(there.get(mine.nextInt(there.size()))).getLen());
                }
            }
            List<String> listed = new ArrayList<>();
            for (FileStatus each : files.listStatus(own)) {
                if (each.isFile()) {
                    listed.add(each.getPath().getName());
                }
            }
            assertEquals(there.stream().map(Path::getName).sorted().toList(), listed, "what was acknowledged");
        }
        return calls;
    }

    /** Files of several blocks; what was flushed is read at once and by another client, what was closed in the end too. */
    private int writeUntilTheEnd() throws Exception {
        Random mine = new Random(7);
        int written = 0;
        try (FileSystem files = FileSystem.newInstance(Pair.uri(), pair.client());
                FileSystem reader = FileSystem.newInstance(Pair.uri(), pair.client())) {
            Path path = new Path(BASE, "written");
            for (; !ending.get(); written++) {
                ByteArrayOutputStream expected = new ByteArrayOutputStream();
                try (FSDataOutputStream out = files.create(path, true, 4096, (short) 1, BLOCK)) {
                    for (int i = 0; i < 60 && !ending.get(); i++) {
                        byte[] bytes = new byte[1 + mine.nextInt(MOST_BYTES)];
                        mine.nextBytes(bytes);
                        out.write(bytes);
                        expected.write(bytes);
                        if (i % 5 == 0) {
                            out.hflush();
                            assertBegins(expected.toByteArray(), reader, path);
                        }
                        Thread.sleep(20);
                    }
                }
                try (InputStream in = reader.open(path)) {
                    assertArrayEquals(expected.toByteArray(), in.readAllBytes(), "the closed file");
                }
            }
        }
        return written;
    }

    /**
     * Hadoop's own benchmark, one operation after the other: no call of it fails, and what it has made is there. It asks
     * its first question of the host that has the name of both, which stands for one of them; where that one is just
     * dead, the run begins again.
     */
    private int benchmarkUntilTheEnd() throws Exception {
        NetUtils.addStaticResolution(Pair.uri().getHost(), pair.uri(Pair.IDS[0]).getHost());
        int runs = 0;
        try (FileSystem files = FileSystem.newInstance(Pair.uri(), pair.client())) {
            for (int i = 0; !ending.get(); i++) {
                String operation = OPERATIONS.get(i % OPERATIONS.size());
                Path base = new Path(BASE, "benchmark" + i);
                List<String> arguments = List.of("-op", operation, "-threads", Integer.toString(CALLERS),
                        operation.equals("mkdirs") ? "-dirs" : "-files", Integer.toString(OPERATED), "-nonSuperUser",
                        "-baseDirName", base.toString(), "-keepResults");
                try {
                    new Throughput().run(pair.client(), UserGroupInformation.getCurrentUser(), arguments);
                } catch (IOException e) {
                    assertTrue(e.getMessage().matches("(?s).*\\b" + Pair.uri().getHost() + "\"?:[0-9].*"), e::toString);
                    continue;
                }
                runs++;
                ContentSummary made = files.getContentSummary(base);
                assertEquals(operation.equals("mkdirs") || operation.equals("delete") ? 0 : OPERATED, made.getFileCount(),
                        "after " + operation);
                assertTrue(files.delete(base, true));
            }
        }
        assertTrue(runs > 0, "the benchmark has never run to its end");
        return runs;
    }

    private static void assertBegins(byte[] flushed, FileSystem reader, Path path) throws IOException {
        try (InputStream in = reader.open(path)) {
            assertArrayEquals(flushed, in.readNBytes(flushed.length), "what was flushed");
        }
    }

    /** Callers may not be allowed to read them, and classes are loaded in their requests. */
    private static void assertAllJarsAreOpen(Process process) throws IOException {
        // Another process may look, which has all capabilities again.
        Process look = new ProcessBuilder("find", "/proc/" + process.pid() + "/fd", "-printf", "%l\\n").start();
        Set<String> open = new HashSet<>(List.of(new String(look.getInputStream().readAllBytes()).split("\n")));
        for (String part : System.getProperty("java.class.path").split(":")) {
            assertTrue(!part.endsWith(".jar") || open.contains(java.nio.file.Path.of(part).toRealPath().toString()), part);
        }
    }
}
