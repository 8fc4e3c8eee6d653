package zolt.tour;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import zolt.fs.BlockLocation;
import zolt.fs.BlockLocations;
import zolt.fs.FileOperations;
import zolt.fs.ZoltLibrary;

/** Where the blocks of a file lie. */
final class BlocksStop {
    private static final int FILE_BLOCKS = 40;

    private BlocksStop() {}

    static void visit(Stop stop) throws IOException {
        String file = stop.path("blocks.bin");
        stop.file("blocks.bin", "", "rw-r--r--");
        long fsBlock;
        try (RandomAccessFile out = new RandomAccessFile(file, "rw")) {
            out.write(1);
            fsBlock = BlockLocations.of(file, BlockLocations.Form.FILE_SYSTEM).blockSize();
            out.setLength(FILE_BLOCKS * fsBlock);
        }
        stop.page.title("Where the blocks of a file lie");
        ZoltLibrary.setDefaults(4 * fsBlock, 1);
        draw(stop, file, BlockLocations.Form.FILE_SYSTEM, "as the file system keeps them");
        if (isChanged(stop, file, 1)) {
            draw(stop, file, BlockLocations.Form.FILE_SYSTEM, "with a single copy, after a restripe");
        }
        isChanged(stop, file, 3);
        draw(stop, file, BlockLocations.Form.RANKED, "as HDFS blocks of the default size;"
                + " each with the nodes that hold most of it");
        FileOperations.setBlockGroupFactor(file, 2);
        draw(stop, file, BlockLocations.Form.RANKED, "the same with a block group factor of 2");
    }

    /** A file system need not change the number of copies of what is there; then it says so. */
    private static boolean isChanged(Stop stop, String file, int copies) {
        String refusal = Stop.outcome(() -> {
            FileOperations.setReplication(file, copies, true);
            return "";
        });
        if (!refusal.isEmpty()) {
            stop.page.line("");
            stop.page.line("asked for copies: " + copies);
            stop.page.line(refusal);
        }
        return refusal.isEmpty();
    }

    private static void draw(Stop stop, String file, BlockLocations.Form form, String what)
            throws IOException {
        BlockLocations locations = BlockLocations.of(file, form);
        List<BlockLocation> blocks = locations.list();
        TreeMap<Integer, Set<Integer>> blocksOfNode = new TreeMap<>();
        for (int block = 0; block < blocks.size(); block++) {
            for (int node : blocks.get(block).nodes()) {
                blocksOfNode.computeIfAbsent(node, n -> new TreeSet<>()).add(block);
            }
        }
        stop.page.line("");
        stop.page.line(what + ":");
        stop.page.line(blocks.size() + " blocks of " + locations.blockSize() + " bytes, replicas: "
                + locations.replicas());
        List<String[]> rows = new ArrayList<>();
        blocksOfNode.forEach((node, held) -> {
            StringBuilder strip = new StringBuilder();
            for (int block = 0; block < blocks.size(); block++) {
                strip.append(held.contains(block) ? '#' : '.');
            }
            rows.add(new String[] {String.valueOf(node), strip.toString()});
        });
        stop.page.table(new String[] {" NODE", "BLOCKS IN FILE ORDER"}, rows);
    }
}
