package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.fs.BlockLocations.Form;

class BlockLocationsTest {
    @TempDir Path dir;
    Fixture files;
    final BlockLocations locations = new BlockLocations();

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
    }

    private void read(Form form, long offset, long length) throws IOException {
        locations.read(files.blocks, form, offset, length);
    }

    @Test
    void everyBlockOfTheFileSystem() throws Exception {
        read(Form.FILE_SYSTEM, 0, BlockLocations.TO_THE_END);
        assertEquals(Fixture.BLOCKS, locations.count());
        assertEquals(files.block, locations.blockSize());
        assertEquals(3, locations.replicas());
        for (int block = 0; block < locations.count(); block++) {
            assertEquals((long) block * files.block, locations.offset(block));
            BlockLocation value = locations.list().get(block);
            assertEquals(List.of(locations.node(block, 0), locations.node(block, 1),
                    locations.node(block, 2)), value.nodes());
            assertEquals(3, value.nodes().stream().distinct().count());
        }
    }

    @Test
    void rangesAreWholeBlocks() throws Exception {
        BlockLocations all = BlockLocations.of(files.blocks, Form.FILE_SYSTEM);
        int one = files.block;
        int[][] ranges = {{0, 1, 0, 1}, {one - 1, 1, 0, 1}, {one - 1, 2, 0, 2}, {one, one, 1, 1},
            {one + 1, 5 * one, 1, 6}, {7 * one + 1, 9 * one, 7, 1}, {0, 0, 0, 0}, {8 * one, 10, 0, 0},
            {9 * one, -1, 0, 0}, {8 * one - 1, -1, 7, 1}, {3 * one, -1, 3, 5}};
        for (int[] range : ranges) {
            read(Form.FILE_SYSTEM, range[0], range[1]);
            assertEquals(range[3], locations.count(), range[0] + "+" + range[1]);
            assertEquals(files.block, locations.blockSize());
            assertEquals(3, locations.replicas());
            for (int block = 0; block < range[3]; block++) {
                assertEquals(all.list().get(range[2] + block).toString(),
                        locations.list().get(block).toString());
            }
        }
        Fixture.resize(files.blocks, one + 904);
        read(Form.FILE_SYSTEM, 0, -1);
        assertEquals(List.of((long) one, 904L),
                locations.list().stream().map(BlockLocation::length).toList());
    }

    /** Groups of any size, over more blocks than one answer of the file system describes. */
    @Test
    void rankedBlocksAreTheGroupsOfTheirBlocks() throws Exception {
        int blocks = 6001;
        Fixture.resize(files.blocks, (long) blocks * files.block - 100);
        BlockLocations single = BlockLocations.of(files.blocks, Form.FILE_SYSTEM);
        assertEquals(blocks, single.count());
        for (int factor : new int[] {1, 2, 5, 7, 1000, 1024}) {
            FileOperations.setBlockGroupFactor(files.blocks, factor);
            check(single, factor, blocks);
        }
    }

    /** A default block size may hold more blocks than one answer describes. */
    @Test
    void rankedBlocksLargerThanAnAnswer() throws Exception {
        int blocks = 9000;
        Fixture.resize(files.blocks, (long) blocks * files.block);
        ZoltLibrary.setDefaults(4000L * files.block, 3);
        check(BlockLocations.of(files.blocks, Form.FILE_SYSTEM), 4000, blocks);
    }

    private void check(BlockLocations single, int factor, int blocks) throws IOException {
        for (long offset : new long[] {0, 1, 2500L * files.block + 1}) {
            read(Form.RANKED, offset, BlockLocations.TO_THE_END);
            int first = (int) (offset / files.block / factor);
            assertEquals((blocks + factor - 1) / factor - first, locations.count());
            assertEquals((long) factor * files.block, locations.blockSize());
            for (int group = 0; group < locations.count(); group++) {
                int from = (first + group) * factor;
                assertEquals((long) from * files.block, locations.offset(group));
                Map<Integer, Integer> held = new HashMap<>();
                for (int block = from; block < Math.min(from + factor, blocks); block++) {
                    for (int copy = 0; copy < 3; copy++) {
                        held.merge(single.node(block, copy), 1, Integer::sum);
                    }
                }
                List<Integer> best = held.values().stream().sorted((a, b) -> b - a).limit(3).toList();
                assertEquals(best, locations.list().get(group).weights().stream()
                        .sorted((a, b) -> b - a).toList(), factor + " " + group);
                for (int copy = 0; copy < 3; copy++) {
                    assertEquals(held.get(locations.node(group, copy)),
                            locations.weight(group, copy));
                }
            }
        }
    }

    @Test
    void sizesAlone() throws Exception {
        ZoltLibrary.setDefaults(3 * files.block + 1, 2);
        read(Form.SIZES, 0, BlockLocations.TO_THE_END);
        assertEquals(4 * files.block, locations.blockSize());
        assertEquals(3, locations.replicas());
        assertEquals(0, locations.count());
        read(Form.HDFS, 0, BlockLocations.TO_THE_END);
        assertEquals(4 * files.block, locations.blockSize());
        assertEquals(2, locations.count());
        read(Form.HDFS, 0, 0);
        assertEquals(0, locations.count());
        assertEquals(4 * files.block, locations.blockSize());
    }

    @Test
    void whatHasNoBlocks() throws Exception {
        locations.read(files.directory, Form.FILE_SYSTEM, 0, -1);
        assertEquals(0, locations.count());
        assertEquals(0, locations.blockSize());
        Fixture.resize(files.blocks, 0);
        for (Form form : Form.values()) {
            read(form, 0, BlockLocations.TO_THE_END);
            assertEquals(0, locations.count());
            assertEquals(List.of(), locations.list());
        }
    }

    @Test
    void failuresLeaveNothingToRead() throws Exception {
        assertThrows(IllegalStateException.class, locations::count);
        read(Form.FILE_SYSTEM, 0, -1);
        assertThrows(IndexOutOfBoundsException.class, () -> locations.node(8, 0));
        assertThrows(IndexOutOfBoundsException.class, () -> locations.node(0, 3));
        assertThrows(IndexOutOfBoundsException.class, () -> locations.offset(-1));
        assertThrows(IllegalArgumentException.class, () -> read(Form.HDFS, -1, 1));
        assertThrows(IllegalArgumentException.class, () -> read(Form.HDFS, 0, -2));
        assertThrows(NoSuchFileException.class, () -> locations.read(
                dir.resolve("missing").toString(), Form.SIZES, 0, -1));
        assertThrows(IllegalStateException.class, locations::blockSize);
        assertThrows(IllegalArgumentException.class,
                () -> FileOperations.setReplication(files.blocks, 0, true));
        assertThrows(IllegalArgumentException.class,
                () -> FileOperations.setReplication(files.blocks, 1 << 16, true));
        assertTrue(assertThrows(IOException.class,
                () -> FileOperations.setBlockGroupFactor(files.blocks, 1025)).getMessage()
                        .endsWith("Invalid BGF(1025)"));
    }

    @Test
    void readingTakesNothingOfTheHeap() throws Throwable {
        FileStatus status = FileStatus.of(files.blocks);
        long[] sum = new long[1];
        for (Form form : Form.values()) {
            Allocation.expectAtMost(0, () -> {
                locations.read(status, form, 0, BlockLocations.TO_THE_END);
                for (int block = 0; block < locations.count(); block++) {
                    sum[0] += locations.node(block, 0) + locations.offset(block);
                }
            });
        }
    }
}
