package zolt.tour;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Where the blocks of a file lie. */
final class BlocksStop {
    private static final int FILE_BLOCKS = 40;
    private static final int FS_BLOCKS = 0;
    private static final int RANKED_NODES = 3;

    private BlocksStop() {}

    static void visit(Stop stop) throws IOException {
        String file = stop.path("blocks.bin");
        int fsBlock;
        try (RandomAccessFile out = new RandomAccessFile(file, "rw")) {
            out.write(1);
            fsBlock = fsBlockSize(file);
            out.setLength((long) FILE_BLOCKS * fsBlock);
        }
        stop.page.title("Where the blocks of a file lie");
        ZOLTNative.setDefaultBlockSizeReplication(4L * fsBlock, 1);
        draw(stop, file, FS_BLOCKS, "as the file system keeps them");
        ZOLTNative.setReplication(file, (short) 1, true);
        draw(stop, file, FS_BLOCKS, "with a single copy, after a restripe");
        ZOLTNative.setReplication(file, (short) 3, true);
        draw(stop, file, RANKED_NODES, "three copies, as HDFS blocks of the default size; "
                + "each with the nodes that hold most of it");
        ZOLTNative.setBGF(file, 2);
        draw(stop, file, RANKED_NODES, "the same with a block group factor of 2");
    }

    private static void draw(Stop stop, String file, int storageType, String what) {
        Status status = Status.of(file, true);
        // The query takes the file system's own block size from where the record has that of HDFS.
        status.buffer.putInt(status.offset(Status.BLOCK_SIZE), fsBlockSize(file));
        ByteBuffer words = ByteBuffer.allocateDirect(1 << 16).order(ByteOrder.nativeOrder());
        ZOLTNative.getBlockLocationsNative(file, storageType, true, 0, -1, status.buffer, words);
        long blockSize = status.buffer.getLong(Status.HEADER);
        int replicas = status.buffer.getInt(Status.HEADER + Long.BYTES);

        TreeMap<Integer, Set<Integer>> blocksOfNode = new TreeMap<>();
        int blocks = (int) (status.get(Status.SIZE) / blockSize);
        for (int block = 0; block < blocks; block++) {
            for (int replica = 0; replica < replicas; replica++) {
                int node = words.getInt(Integer.BYTES * (2 * replicas * block + replica));
                if (node >= 0) {
                    blocksOfNode.computeIfAbsent(node, n -> new TreeSet<>()).add(block);
                }
            }
        }
        stop.page.line("");
        stop.page.line(what + ":");
        stop.page.line(blocks + " blocks of " + blockSize + " bytes, replicas: " + replicas);
        List<String[]> rows = new ArrayList<>();
        blocksOfNode.forEach((node, held) -> {
            StringBuilder strip = new StringBuilder();
            for (int block = 0; block < blocks; block++) {
                strip.append(held.contains(block) ? '#' : '.');
            }
            rows.add(new String[] {String.valueOf(node), strip.toString()});
        });
        stop.page.table(new String[] {" NODE", "BLOCKS IN FILE ORDER"}, rows);
    }

    private static int fsBlockSize(String file) {
        Status status = Status.of(file, true);
        ZOLTNative.getBlockLocationsNative(file, FS_BLOCKS, true, 0, 0, status.buffer, null);
        return (int) status.buffer.getLong(Status.HEADER);
    }
}
