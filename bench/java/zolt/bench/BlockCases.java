package zolt.bench;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.Random;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Block locations of files of 1, 100 and 100 000 blocks, and the counting of nodes in groups. */
final class BlockCases {
    private static final int COPIES = 3;
    private static final int GROUP = 16; // file-system blocks an HDFS block
    private static final int FS_BLOCKS = 0;
    private static final int RANKED = 3;

    private BlockCases() {}

    static void add(Bench bench, Workspace space, int[] sizes) throws Exception {
        for (int blocks : sizes) {
            locations(bench, space, blocks);
        }
        placement(bench, space);
    }

    /** Replication and block group factor, set again and again. */
    private static void placement(Bench bench, Workspace space) throws Exception {
        String path = space.file("placed", 0).toString();
        bench.measure(new Case("setReplication", space.type, 0, 1)
                .floor(() -> Floor.replication(path, (short) COPIES) ? 1 : 0)
                .library(() -> ZOLTNative.setReplication(path, (short) COPIES, false) ? 1 : 0));
        bench.measure(new Case("setBGF", space.type, 0, 1)
                .floor(() -> Floor.groupFactor(path, GROUP) ? 1 : 0)
                .library(() -> ZOLTNative.setBGF(path, GROUP) ? 1 : 0));
    }

    private static void locations(Bench bench, Workspace space, int blocks) throws Exception {
        Path file = space.folder.resolve("blocks-" + blocks);
        ByteBuffer status = Workspace.direct(102);
        String path = file.toString();
        fill(path, blocks, status);
        ZOLTNative.setBGF(path, GROUP);
        ByteBuffer words = Workspace.direct(blocks * 2 * COPIES * 4);
        bench.measure(new Case("block locations", space.type, blocks, blocks)
                .way(Case.FLOOR, () -> floor(path, status, words),
                        () -> sum(floor(path, status, words), status, words))
                .way(Case.LIBRARY, () -> library(path, FS_BLOCKS, status, words),
                        () -> sum(library(path, FS_BLOCKS, status, words), status, words))
                .goal(Case.FLOOR, 1.10));
        bench.measure(new Case("block locations, grouped", space.type, blocks, blocks)
                .library(() -> library(path, RANKED, status, words)));
    }

    /** A file of that many blocks of the file system, none of them written, and its status in full. */
    static void fill(String path, int blocks, ByteBuffer status) throws IOException {
        try (RandomAccessFile sparse = new RandomAccessFile(path, "rw")) {
            ZOLTNative.getFileStatusNative(path, true, false, status, 0, 0, 0, 0);
            ZOLTNative.getBlockLocationsNative(path, FS_BLOCKS, true, 0, 0, status, null);
            int block = (int) status.getLong(90);
            sparse.setLength((long) block * blocks);
            status.putLong(8, (long) block * blocks).putInt(28, block);
        }
    }

    private static long floor(String path, ByteBuffer status, ByteBuffer words) {
        Floor.blocks(path, FS_BLOCKS, status, words);
        return 1;
    }

    private static long library(String path, int type, ByteBuffer status, ByteBuffer words)
            throws IOException {
        ZOLTNative.getBlockLocationsNative(path, type, true, 0, -1, status, words);
        return 1;
    }

    private static long sum(long seed, ByteBuffer status, ByteBuffer words) {
        return seed + 31L * words.duplicate().clear().hashCode()
                + status.getLong(90) * 7 + status.getInt(98);
    }

    /** Blocks on nodes in any order, three different ones each. */
    static void addCounting(Bench bench) throws Exception {
        for (int nodes : new int[] {6, 100}) {
            for (int group : new int[] {16, 128}) {
                counting(bench, nodes, group);
            }
        }
    }

    private static void counting(Bench bench, int nodes, int group) throws Exception {
        int blocks = 2688 / group * group; // what one reply holds
        int[] words = new int[blocks * 2 * COPIES];
        Random random = new Random(nodes);
        for (int at = 0; at < words.length; at += 2 * COPIES) {
            words[at] = random.nextInt(nodes);
            words[at + 1] = (words[at] + 1 + random.nextInt(nodes / 2)) % nodes;
            words[at + 2] = (words[at] + 1 + nodes / 2 + random.nextInt(nodes / 2 - 1)) % nodes;
        }
        ByteBuffer out = Workspace.direct(words.length * 4);
        bench.measure(new Case("nodes counted, " + nodes + " nodes", "-", group, blocks)
                .way("std::map", () -> Floor.mapCounts(words, group, out))
                .library(() -> Floor.libraryCounts(words, group, out))
                .goal("std::map", 0.334));
    }
}
