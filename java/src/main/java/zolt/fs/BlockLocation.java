package zolt.fs;

import java.util.List;

/**
 * One block of a file and the nodes that hold it, as a value.
 *
 * <pre>{@code
 * BlockLocation first = BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM).list().get(0);
 * System.out.println(first.offset() + " " + first.nodes().size()); // prints: 0 3
 * }</pre>
 */
public final class BlockLocation {
    private final long offset;
    private final long length;
    private final List<Integer> nodes;
    private final List<Integer> weights;

    BlockLocation(long offset, long length, List<Integer> nodes, List<Integer> weights) {
        this.offset = offset;
        this.length = length;
        this.nodes = nodes;
        this.weights = weights;
    }

    /**
     * Where in the file the block begins.
     *
     * <pre>{@code
     * BlockLocations all = BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM);
     * System.out.println(all.list().get(1).offset() == all.blockSize()); // prints: true
     * }</pre>
     *
     * @return bytes from the start of the file
     */
    public long offset() {
        return offset;
    }

    /**
     * How much of the file the block holds: the block size, or less at the end of the file.
     *
     * <pre>{@code
     * BlockLocations all = BlockLocations.of(file, BlockLocations.Form.FILE_SYSTEM);
     * System.out.println(all.list().get(0).length()); // prints: 11
     * }</pre>
     *
     * @return bytes
     */
    public long length() {
        return length;
    }

    /**
     * The nodes that hold the block: one for each copy that has a node.
     *
     * <pre>{@code
     * List<Integer> nodes = BlockLocations.of(file, BlockLocations.Form.FILE_SYSTEM).list().get(0).nodes();
     * System.out.println(nodes.size()); // prints: 3
     * }</pre>
     *
     * @return numbers of nodes, unmodifiable
     */
    public List<Integer> nodes() {
        return nodes;
    }

    /**
     * A second number for each of the nodes, in their order: for {@link BlockLocations.Form#RANKED}
     * how many of the block's file-system blocks the node holds; else the file system's own.
     *
     * <pre>{@code
     * ZoltLibrary.setDefaults(1 << 20, 3);
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.RANKED).list().get(0).weights()); // prints: [1, 1, 1]
     * }</pre>
     *
     * @return the numbers, unmodifiable
     */
    public List<Integer> weights() {
        return weights;
    }

    /** Range and nodes; for a log. */
    @Override
    public String toString() {
        return offset + "+" + length + " " + nodes;
    }
}
