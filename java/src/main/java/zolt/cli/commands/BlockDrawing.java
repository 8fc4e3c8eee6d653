package zolt.cli.commands;

import java.util.Map;
import java.util.TreeMap;
import zolt.cli.output.Session;
import zolt.fs.BlockLocations;

/** A picture of where blocks lie: a line for each node, in columns for the blocks. */
final class BlockDrawing {
    private static final int COLUMNS = 64;

    private final long count;
    private final long perColumn;
    private final int columns;
    /** For each node, how many blocks of each column it has. */
    private final Map<Integer, long[]> held = new TreeMap<>();

    BlockDrawing(long count) {
        this.count = count;
        this.perColumn = Math.max(1, (count + COLUMNS - 1) / COLUMNS);
        this.columns = (int) ((count + perColumn - 1) / perColumn);
    }

    /** Takes blocks, of which the first has this number among all. */
    void add(BlockLocations locations, long first) {
        for (int block = 0; block < locations.count(); block++) {
            int column = (int) ((first + block) / perColumn);
            for (int copy = 0; copy < locations.replicas(); copy++) {
                int node = locations.node(block, copy);
                if (node >= 0 && !isNamedBefore(locations, block, copy)) {
                    held.computeIfAbsent(node, unused -> new long[columns])[column]++;
                }
            }
        }
    }

    private static boolean isNamedBefore(BlockLocations locations, int block, int copy) {
        for (int before = 0; before < copy; before++) {
            if (locations.node(block, before) == locations.node(block, copy)) {
                return true;
            }
        }
        return false;
    }

    void print(Session session) {
        session.out.line("  NODE  BLOCKS IN FILE ORDER"
                + (perColumn > 1 ? ", " + perColumn + " in a column" : ""));
        held.forEach((node, blocks) ->
                session.out.line(String.format("  %4d  %s", node, strip(session, blocks))));
    }

    private String strip(Session session, long[] blocks) {
        StringBuilder strip = new StringBuilder();
        for (int column = 0; column < columns; column++) {
            long there = Math.min(perColumn, count - column * perColumn);
            strip.append(blocks[column] == 0 ? '.' : blocks[column] == there ? '#' : '+');
        }
        return session.outIsTerminal ? strip.toString().replaceAll("([#+]+)", "\033[32m$1\033[0m")
                : strip.toString();
    }
}
