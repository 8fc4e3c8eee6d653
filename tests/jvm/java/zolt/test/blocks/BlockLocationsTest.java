package zolt.test.blocks;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.IntStream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Level;
import zolt.test.Log;

/** Where blocks lie. */
class BlockLocationsTest extends Blocks {
    @Test
    void everyBlockHasItsNodesAndTheRestIsMinusOne() throws IOException {
        ByteBuffer status = status(110);
        ByteBuffer locations = direct(4 * 70);
        locate(0, 0, -1, status, locations);
        expectHeader(unit, 3, status);
        int[] words = words(locations);
        for (int block = 0; block < 10; block++) {
            assertEquals(3, IntStream.range(6 * block, 6 * block + 3).map(at -> words[at]).filter(node -> node >= 0)
                    .distinct().count());
            for (int copy = 0; copy < 3; copy++) {
                assertEquals(copy, words[6 * block + 3 + copy]);
            }
        }
        for (int i = 60; i < 70; i++) {
            assertEquals(-1, words[i]);
        }
        Log.expectAmong(Level.DEBUG, file + " inode 4711 offset 0 length -1 filelen " + 10 * unit);
    }

    @Test
    void withoutAStatusBufferTheFileIsAsked() throws Exception {
        ByteBuffer locations = direct(240);
        locate(0, 0, -1, null, locations);
        int[] words = words(locations);
        ByteBuffer same = direct(240);
        locate(0, 0, -1, status(102), same);
        assertArrayEquals(words, words(same));
        expect(NoSuchFileException.class,
                "No such file or directory: " + dir + "/none",
                () -> ZOLTNative.getBlockLocationsNative(dir + "/none", 0, true, 0, 1, null,
                        locations));
        // Below a file there is nothing, and that is all that is said.
        expect(NoSuchFileException.class,
                "No such file or directory: " + file + "/x",
                () -> ZOLTNative.getBlockLocationsNative(file + "/x", 0, true, 0, 1, null,
                        locations));
    }

    @Test
    void hdfsBlocksAreGroupsOfFileSystemBlocks() throws Exception {
        assertTrue(ZOLTNative.setBGF(file.toString(), 4));
        ByteBuffer status = status(102);
        ByteBuffer locations = direct(4 * 18);
        locate(3, 0, -1, status, locations);
        expectHeader(4 * unit, 3, status);
        ByteBuffer all = direct(4 * 60);
        locate(0, 0, -1, null, all);
        for (int block = 0; block < 3; block++) {
            assertArrayEquals(most(words(all), 4 * block, Math.min(4 * block + 4, 10)),
                    Arrays.copyOfRange(words(locations), 6 * block + 3, 6 * block + 6));
        }

        ByteBuffer firsts = direct(4 * 18);
        locate(2, 0, -1, status, firsts);
        expectHeader(4 * unit, 3, status);
        for (int block = 0; block < 3; block++) {
            assertArrayEquals(Arrays.copyOfRange(words(all), 24 * block, 24 * block + 6),
                    Arrays.copyOfRange(words(firsts), 6 * block, 6 * block + 6));
        }
    }

    /** How many of these blocks each of the three nodes has that have most of them. */
    private static int[] most(int[] words, int from, int to) {
        Map<Integer, Integer> held = new HashMap<>();
        for (int block = from; block < to; block++) {
            for (int copy = 0; copy < 3; copy++) {
                held.merge(words[6 * block + copy], 1, Integer::sum);
            }
        }
        return held.values().stream().mapToInt(each -> -each).sorted().limit(3).map(each -> -each).toArray();
    }

    @Test
    void sizesAloneFillTheLocationsWithMinusOne() throws IOException {
        assertTrue(ZOLTNative.setBGF(file.toString(), 2));
        ByteBuffer status = status(102);
        ByteBuffer locations = direct(40);
        locate(1, 0, 1, status, locations);
        assertEquals(2 * unit, status.getLong(90));
        assertTrue(status.getInt(98) >= 3);
        assertArrayEquals(new int[] {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1}, words(locations));
        locate(1, 0, 1, status, null);
    }

    @Test
    void anUnknownTypeIsAnAnswerWithoutBlocks() throws IOException {
        for (int type : new int[] {-1, 4, Integer.MIN_VALUE, Integer.MAX_VALUE}) {
            ByteBuffer status = status(102);
            ByteBuffer locations = direct(8);
            Log.clear();
            locate(type, 0, 1, status, locations);
            expectHeader(unit, 0, status);
            assertArrayEquals(new int[] {-1, -1}, words(locations));
            Log.expect(Level.ERROR, "Unknown storage type " + type);
        }
    }

    @Test
    void whatIsNoRegularFileHasAnEmptyHeader() throws Exception {
        ByteBuffer locations = direct(40);
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        for (int type = -1; type <= 4; type++) {
            ByteBuffer status = status(102, 4096, 0040755, unit);
            ZOLTNative.getBlockLocationsNative(dir.toString(), type, true, 0, 1, status, locations);
            expectHeader(0, 0, status);
            status = status(102, 4, 0120777, unit);
            ZOLTNative.getBlockLocationsNative(link.toString(), type, false, 0, 1, status, locations);
            expectHeader(0, 0, status);
            ZOLTNative.getBlockLocationsNative(dir.toString(), type, true, 0, 1, null, locations);
            ZOLTNative.getBlockLocationsNative(link.toString(), type, false, 0, 1, null, locations);
        }
        expectUntouched(locations, 0);
        Log.expect(Level.ERROR);
    }

    @Test
    void linksAreFollowedWhenAsked() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        ByteBuffer locations = direct(24);
        ZOLTNative.getBlockLocationsNative(link.toString(), 0, true, 0, 1, null, locations);
        assertTrue(words(locations)[0] >= 0);
        // Whatever the record says: a link is not opened unless it is to be followed.
        expect(IOException.class, "Too many levels of symbolic links: " + link,
                () -> ZOLTNative.getBlockLocationsNative(link.toString(), 0, false, 0, 1,
                        status(102), locations));
        Log.expect(Level.ERROR, "open failed with 40");
    }

    @Test
    void rangesWithinTheFile() throws IOException {
        ByteBuffer all = direct(240);
        locate(0, 0, -1, null, all);
        ByteBuffer part = direct(4 * 14);
        locate(0, 3 * unit + 5, unit, null, part);
        assertArrayEquals(Arrays.copyOfRange(words(all), 18, 30),
                Arrays.copyOf(words(part), 12));
        assertEquals(-1, words(part)[12]);
        // An empty range past the start stands for the block that holds it.
        locate(0, 5 * unit, 0, null, part);
        assertArrayEquals(Arrays.copyOfRange(words(all), 30, 36), Arrays.copyOf(words(part), 6));
        assertEquals(-1, words(part)[6]);
        // The end of the file is the end of any range, and past it there is nothing.
        locate(0, 9 * unit, Long.MAX_VALUE, null, part);
        assertArrayEquals(Arrays.copyOfRange(words(all), 54, 60), Arrays.copyOf(words(part), 6));
        for (long offset : new long[] {10 * unit, 11 * unit, Long.MAX_VALUE}) {
            locate(0, offset, -1, null, part);
            assertEquals(-1, words(part)[0]);
        }
    }

    @Test
    void aNegativeOffsetIsInvalid() {
        ByteBuffer status = status(102);
        for (long offset : new long[] {-1, Long.MIN_VALUE}) {
            expect(IOException.class, "Invalid argument: " + file,
                    () -> locate(0, offset, 1, status, direct(24)));
        }
        expectUntouched(status, 32);
    }

    @Test
    void anEmptyFileHasNoBlocks() throws Exception {
        resize(file, 0);
        assertTrue(ZOLTNative.setBGF(file.toString(), 2));
        for (int type : new int[] {0, 2, 3}) {
            ByteBuffer locations = direct(8);
            locate(type, 0, -1, null, locations);
            assertArrayEquals(new int[] {-1, -1}, words(locations));
        }
    }

    @Test
    void nullPathsAreNothingAndNoError() throws IOException {
        ByteBuffer status = status(102);
        ZOLTNative.getBlockLocationsNative(null, 0, true, 0, 1, status, direct(24));
        expectUntouched(status, 32);
        assertFalse(ZOLTNative.setReplication(null, (short) 2, true));
        assertFalse(ZOLTNative.setBGF(null, 4));
        assertFalse(ZOLTNative.setBGF(null, 0));
        Log.expect(Level.ERROR);
    }

    @Test
    void eightThreadsAskAtOnce() throws Exception {
        assertTrue(ZOLTNative.setBGF(file.toString(), 2));
        ByteBuffer reference = direct(240);
        locate(3, 0, -1, null, reference);
        int[] wanted = words(reference);
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            List<Future<Boolean>> results = new ArrayList<>();
            for (int t = 0; t < 8; t++) {
                Callable<Boolean> work = () -> {
                    for (int round = 0; round < 200; round++) {
                        ByteBuffer locations = direct(240);
                        locate(3, 0, -1, null, locations);
                        assertArrayEquals(wanted, words(locations));
                    }
                    Log.clear();
                    return true;
                };
                results.add(pool.submit(work));
            }
            for (Future<Boolean> result : results) {
                assertTrue(result.get());
            }
        } finally {
            pool.shutdown();
        }
    }
}
