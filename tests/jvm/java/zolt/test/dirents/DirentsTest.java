package zolt.test.dirents;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.test.dirents.Dirents.direct;
import static zolt.test.dirents.Dirents.parse;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Body;
import zolt.test.Cleared;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.dirents.Dirents.Entry;

class DirentsTest extends Cleared {
    @TempDir Path dir;

    private static Map<String, Entry> byName(List<Entry> entries) {
        Map<String, Entry> map = new TreeMap<>();
        entries.forEach(entry -> assertEquals(null, map.put(entry.name(), entry), "twice"));
        return map;
    }

    private static Map<String, Entry> expected(Path path) throws IOException {
        Map<String, Entry> map = new TreeMap<>();
        try (Stream<Path> list = Files.list(path)) {
            for (Path child : (Iterable<Path>) list::iterator) {
                int type = Files.isSymbolicLink(child) ? 10 : Files.isDirectory(child) ? 4 : 8;
                long inode = (Long) Files.getAttribute(child, "unix:ino",
                        java.nio.file.LinkOption.NOFOLLOW_LINKS);
                String name = child.getFileName().toString();
                map.put(name, new Entry(inode, type, name));
            }
        }
        return map;
    }

    private void fill(int files, int dirs) throws IOException {
        for (int i = 0; i < files; i++) {
            Files.createFile(dir.resolve("file" + i));
        }
        for (int i = 0; i < dirs; i++) {
            Files.createDirectory(dir.resolve("dir" + i));
        }
        Files.createSymbolicLink(dir.resolve("link"), Path.of("nowhere"));
    }

    @Test
    void aListingIsWhatTheDirectoryHolds() throws Exception {
        fill(200, 20);
        Map<String, Entry> wanted = expected(dir);
        for (int size : new int[] {32, 100, 4096, 65536}) {
            assertEquals(wanted, byName(Dirents.listAll(dir, direct(size), false)));
        }
        assertEquals(221, ZOLTNative.getDirentCountNative(dir.toString()));
        assertEquals(20, Dirents.listAll(dir, direct(100), true).size());
    }

    @Test
    void anEmptyDirectoryIsCountZero() throws IOException {
        ByteBuffer buffer = direct(64);
        buffer.putInt(0, 77);
        assertEquals(0, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(0, buffer.getInt(0));
        assertEquals(0, ZOLTNative.getDirentCountNative(dir.toString()));
    }

    @Test
    void positionAndLimitOfTheBufferDoNotMatter() throws Exception {
        fill(1, 0);
        ByteBuffer buffer = direct(100);
        buffer.position(50).limit(60);
        assertEquals(0, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(2, parse(buffer).size());
        assertEquals(50, buffer.position());
    }

    @Test
    void closeEndsTheListingAndLeavesTheBufferAlone() throws Exception {
        fill(5, 0);
        ByteBuffer buffer = direct(30);
        assertEquals(1, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(1, Descriptors.under(dir));
        buffer.putInt(0, 77);
        Log.clear();
        assertEquals(0, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, true));
        Log.expect(Level.DEBUG, "close dir" + dir);
        assertEquals(77, buffer.getInt(0));
        Descriptors.expectNone(dir);
        Log.clear();
        assertEquals(0, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, true));
        Log.expect(Level.DEBUG);
    }

    /** The path comes first: without one there is nothing to end either. */
    @Test
    void withoutAPathTheListingGoesOn() throws Exception {
        fill(5, 0);
        ByteBuffer buffer = direct(30);
        assertEquals(1, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(0, ZOLTNative.getDirentsNative(null, null, false, true));
        assertEquals(1, Descriptors.under(dir));
        buffer.putInt(0, 77);
        assertEquals(0, ZOLTNative.getDirentsNative(null, buffer, false, false));
        assertEquals(77, buffer.getInt(0));
        assertEquals(1, Descriptors.under(dir));
    }

    @Test
    void theLogTellsTheStory() throws Exception {
        fill(1, 0);
        ByteBuffer buffer = direct(4096);
        ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false);
        Log.expectMatch(Level.DEBUG, "open dir " + dir + " dirp=0x[0-9a-f]+, ent count=0, "
                + "buffer report=capacity: 4096 total write: 0 remaining: 4096");
        Log.expectMatch(Level.TRACE, "close dir " + dir + " dirp=0x[0-9a-f]+, ent count=2, "
                + "buffer report=capacity: 4096 total write: 41 remaining: 4055");
        Log.expectMatch(Level.DEBUG, "yield dir " + dir + " dirp=0, ent count=2, "
                + "buffer report=capacity: 4096 total write: 4 remaining: 4092");
        Log.expectMatch(Level.TRACE, "wrapper buffer addr=0x[0-9a-f]+ capacity=4096");
        Log.expectMatch(Level.TRACE, "unwrapper buffer addr=0x[0-9a-f]+ capacity=4096");
    }

    @Test
    void aLargeDirectoryIsWarnedAbout() throws IOException {
        Faults.directorySize(104857601);
        ZOLTNative.getDirentsNative(dir.toString(), direct(64), false, false);
        Log.expect(Level.WARN, "Dir " + dir + " is too large: 104857601");
        ZOLTNative.getDirentCountNative(dir.toString());
        Log.expect(Level.WARN, "Dir " + dir + " is too large: 104857601",
                "Dir " + dir + " is too large: 104857601");
        Log.clear();
        Faults.directorySize(104857600);
        ZOLTNative.getDirentCountNative(dir.toString());
        Log.expect(Level.WARN);
    }

    /** A listing passes names as bytes; a Java path cannot name each of them again. */
    @Test
    void namesAreBytes() throws Exception {
        String astral = "x\ud83d\ude00"; // listed as UTF-8, sent as two surrogates of three bytes each
        Files.createFile(dir.resolve(astral));
        assertEquals(List.of(astral),
                Dirents.listAll(dir, direct(64), false).stream().map(Entry::name).toList());
        Files.createDirectory(dir.resolve("d\ud83d\ude00"));
        assertEquals(0, ZOLTNative.getDirentCountNative(dir.resolve("d\ud83d\ude00").toString()));
        Path plain = Files.createDirectory(dir.resolve("d\u4e2d"));
        Files.createFile(plain.resolve("x"));
        assertEquals(1, ZOLTNative.getDirentCountNative(plain.toString()));
    }

    /** The shell makes the name: a Java path can hold none that is no text. */
    @Test
    void aNameThatIsNoTextArrivesByteForByte() throws Exception {
        Process shell = new ProcessBuilder("/bin/sh", "-c",
                "cd \"$1\" && : > \"$(printf 'a\\377\\200\\001z')\"", "sh", dir.toString()).start();
        assertEquals(0, shell.waitFor());
        ByteBuffer buffer = direct(64);
        assertEquals(0, ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(List.of("a\u00ff\u0080\u0001z"),
                parse(buffer, ISO_8859_1).stream().map(Entry::name).toList());
    }

    @Test
    void aThreadThatEndsTakesItsListingAlong() throws Exception {
        fill(5, 0);
        Body list = () -> assertEquals(1,
                ZOLTNative.getDirentsNative(dir.toString(), direct(30), false, false));
        Thread thread = new Thread(list);
        thread.start();
        thread.join();
        Descriptors.awaitNone(dir);
    }

    @Test
    void eightThreadsListEightDirectoriesAtOnce() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            List<Future<Boolean>> results = new ArrayList<>();
            for (int t = 0; t < 8; t++) {
                Path own = Files.createDirectory(dir.resolve("thread" + t));
                Set<String> names = new HashSet<>();
                for (int i = 0; i < 500; i++) {
                    names.add("t" + t + "-" + i);
                    Files.createFile(own.resolve("t" + t + "-" + i));
                }
                Callable<Boolean> work = () -> {
                    ByteBuffer buffer = direct(256);
                    for (int round = 0; round < 10; round++) {
                        Set<String> found = new HashSet<>();
                        for (Entry entry : Dirents.listAll(own, buffer, false)) {
                            assertTrue(found.add(entry.name()));
                        }
                        assertEquals(names, found);
                    }
                    Log.clear();
                    return true;
                };
                results.add(pool.submit(work));
            }
            for (Future<Boolean> result : results) {
                assertTrue(result.get());
            }
            Descriptors.expectNone(dir);
        } finally {
            pool.shutdown();
        }
    }

    @Test
    void manyFilesListExactlyThroughEveryBuffer() throws Exception {
        int files = Integer.getInteger("zolt.test.files");
        Path large = Files.createDirectory(dir.resolve("large"));
        for (int i = 0; i < files; i++) {
            Files.createFile(large.resolve("f" + i));
        }
        for (int size : new int[] {4 << 10, 64 << 10, 1 << 20}) {
            boolean[] seen = new boolean[files];
            int count = 0;
            ByteBuffer buffer = direct(size);
            int more;
            do {
                more = ZOLTNative.getDirentsNative(large.toString(), buffer, false, false);
                for (Entry entry : parse(buffer)) {
                    int number = Integer.parseInt(entry.name().substring(1));
                    assertTrue(!seen[number], () -> entry.name() + " came twice");
                    seen[number] = true;
                    count++;
                }
                Log.clear();
            } while (more == 1);
            assertEquals(files, count);
        }
        assertEquals(files, ZOLTNative.getDirentCountNative(large.toString()));
        Descriptors.expectNone(dir);
    }

    @Test
    void nothingIsWrittenPastTheRecords() throws Exception {
        Files.createFile(dir.resolve("ab"));
        byte[] wanted = new byte[64];
        ByteBuffer buffer = direct(64);
        for (int i = 0; i < 64; i++) {
            buffer.put(i, (byte) 7);
            wanted[i] = 7;
        }
        long inode = (Long) Files.getAttribute(dir.resolve("ab"), "unix:ino");
        ByteBuffer.wrap(wanted).order(ByteOrder.nativeOrder()).putInt(1).putLong(inode)
                .putShort((short) 8).putInt(2).put((byte) 'a').put((byte) 'b');
        ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false);
        byte[] found = new byte[64];
        buffer.get(0, found);
        assertArrayEquals(wanted, found);
    }
}
