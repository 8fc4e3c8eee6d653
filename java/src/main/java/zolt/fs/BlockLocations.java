package zolt.fs;

import java.io.IOException;
import java.nio.BufferOverflowException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Where the blocks of a file lie: a reader that is filled again and again. {@link
 * FileOperations#setReplication} and {@link FileOperations#setBlockGroupFactor} decide how a file is stored.
 *
 * <p>Nodes are the numbers by which the file system knows them. Reading allocates nothing once the
 * buffer has grown to the largest answer, and neither do the getters of numbers; {@link #list} makes
 * values. A reader is for one thread at a time. Symbolic links are followed.
 *
 * <pre>{@code
 * BlockLocations locations = new BlockLocations();
 * locations.read(blocks, BlockLocations.Form.FILE_SYSTEM, 0, BlockLocations.TO_THE_END);
 * System.out.println(locations.count() + " blocks, " + locations.replicas() + " copies"); // prints: 8 blocks, 3 copies
 * }</pre>
 */
public final class BlockLocations {
    /** The length that reaches to the end of the file. */
    public static final long TO_THE_END = -1;

    /** What counts as a block, and what is told of it. */
    public enum Form {
        /** The blocks of the file system, with the nodes of their copies. */
        FILE_SYSTEM(0),
        /** No blocks: only the size of an HDFS block and the number of copies. */
        SIZES(1),
        /** HDFS blocks, with the nodes that the file system names for blocks of that size. */
        HDFS(2),
        /** HDFS blocks, each with the nodes that hold most of its file-system blocks. */
        RANKED(3);

        private final int storageType;

        Form(int storageType) {
            this.storageType = storageType;
        }
    }

    private static final int FIRST_BUFFER_BYTES = 4096;
    private static final int HEADER_BYTES = Long.BYTES + Integer.BYTES;
    /** The header stands two bytes past the status record. */
    private static final int HEADER = FileStatus.RECORD_BYTES + Short.BYTES;
    /** The most copies that one answer of the file system describes. */
    private static final int REPLY_COPIES = 8064;

    private final FileStatus own = new FileStatus();
    private final ByteBuffer status = direct(HEADER + HEADER_BYTES);
    private ByteBuffer words = direct(FIRST_BUFFER_BYTES);
    private String path;
    private Form form;
    private long fileSize;
    private long start;
    private long blockSize;
    private int replicas;
    private int count;

    /**
     * A reader that holds nothing yet.
     *
     * <pre>{@code
     * BlockLocations locations = new BlockLocations();
     * }</pre>
     */
    public BlockLocations() {}

    private static ByteBuffer direct(int bytes) {
        return ByteBuffer.allocateDirect(bytes).order(ByteOrder.nativeOrder());
    }

    /**
     * All blocks of a file, in a reader of its own. For many files keep one reader.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM).count()); // prints: 8
     * }</pre>
     *
     * @param path the path of a file
     * @param form what is asked for
     * @return a reader that holds the answer
     * @throws IOException as {@link #read(String, Form, long, long)}
     */
    public static BlockLocations of(String path, Form form) throws IOException {
        BlockLocations locations = new BlockLocations();
        locations.read(path, form, 0, TO_THE_END);
        return locations;
    }

    /**
     * As {@link #of(String, Form)}.
     *
     * <pre>{@code
     * Path path = Paths.get(blocks);
     * System.out.println(BlockLocations.of(path, BlockLocations.Form.FILE_SYSTEM).count()); // prints: 8
     * }</pre>
     *
     * @param path a file
     * @param form what is asked for
     * @return a reader that holds the answer
     * @throws IOException as {@link #read(String, Form, long, long)}
     */
    public static BlockLocations of(Path path, Form form) throws IOException {
        return of(Check.text(path), form);
    }

    /**
     * Reads the blocks that hold a range of a file. What is no regular file has no blocks, and block
     * size and copies of 0. So has a range of no bytes, or past the end, but for the sizes.
     *
     * <p>Blocks of the size 0, that is HDFS blocks of a file without a block group factor while {@link
     * ZoltLibrary#setDefaults} has not been called, are none.
     *
     * <pre>{@code
     * BlockLocations locations = new BlockLocations();
     * locations.read(blocks, BlockLocations.Form.FILE_SYSTEM, 1, 1);
     * System.out.println(locations.count() + " at " + locations.offset(0)); // prints: 1 at 0
     * }</pre>
     *
     * @param path the path of a file
     * @param form what is asked for
     * @param offset the first byte of the range, not negative
     * @param length the length of the range in bytes, or {@link #TO_THE_END}
     * @throws IOException when the file's status or its blocks cannot be had; the message has the path
     * @throws IllegalArgumentException for a negative offset, and any other negative length
     */
    public void read(String path, Form form, long offset, long length) throws IOException {
        this.path = null;
        own.readFast(path);
        read(own, form, offset, length);
    }

    /**
     * The same for a file whose status is already there, which saves reading it.
     *
     * <pre>{@code
     * FileStatus status = FileStatus.of(blocks);
     * BlockLocations locations = new BlockLocations();
     * locations.read(status, BlockLocations.Form.FILE_SYSTEM, 0, status.size());
     * System.out.println(locations.count()); // prints: 8
     * }</pre>
     *
     * @param file a status, full or fast, of the file
     * @param form what is asked for
     * @param offset the first byte of the range, not negative
     * @param length the length of the range in bytes, or {@link #TO_THE_END}
     * @throws IOException as {@link #read(String, Form, long, long)}
     */
    public void read(FileStatus file, Form form, long offset, long length) throws IOException {
        if (offset < 0 || length < TO_THE_END) {
            throw new IllegalArgumentException("no range: offset " + offset + ", length " + length);
        }
        this.path = null;
        this.form = Check.notNull(form, "form");
        file.copyTo(status);
        fileSize = file.size();
        start = 0;
        count = 0;
        blockSize = 0;
        replicas = 0;
        if (file.type() == FileType.FILE) {
            long end = length == TO_THE_END ? fileSize : offset + Math.min(length, fileSize - offset);
            locate(file.path(), offset, end);
        }
        this.path = file.path();
    }

    private void locate(String file, long offset, long end) throws IOException {
        if (form == Form.FILE_SYSTEM && offset < end) {
            // The answer itself says how large the blocks are.
            ask(file, Form.FILE_SYSTEM, offset, end - offset);
            describe(offset, end);
            return;
        }
        // The library takes the file system's own block size from where the record has that of HDFS.
        ask(file, Form.FILE_SYSTEM, 0, 0);
        long fileSystemBlock = blockSize;
        if (form == Form.FILE_SYSTEM) {
            return;
        }
        FileStatus.setBlockSize(status, fileSystemBlock);
        ask(file, form, 0, 0);
        if (form == Form.SIZES || offset >= end || blockSize == 0) {
            return;
        }
        long hdfsBlock = blockSize;
        long first = offset - offset % hdfsBlock;
        if (form == Form.HDFS) {
            ask(file, form, first, end - first);
        } else {
            rank(file, first, end, hdfsBlock / fileSystemBlock);
        }
        describe(offset, end);
    }

    private void describe(long offset, long end) {
        start = offset - offset % blockSize;
        long wanted = (end - start + blockSize - 1) / blockSize;
        long room = replicas == 0 ? 0 : words.capacity() / blockBytes();
        count = (int) Math.min(wanted, room);
    }

    private int blockBytes() {
        return 2 * replicas * Integer.BYTES;
    }

    /**
     * The library counts the file-system blocks of an HDFS block anew with each answer of the file
     * system, so a call asks for no more HDFS blocks than one answer holds.
     */
    private void rank(String file, long first, long end, long group) throws IOException {
        long hdfsBlock = blockSize;
        int copies = Math.max(1, replicas);
        long perCall = Math.max(1, REPLY_COPIES / copies / group);
        long wanted = (end - first + hdfsBlock - 1) / hdfsBlock;
        if (wanted <= perCall) {
            ask(file, form, first, end - first);
            return;
        }
        reserve(wanted * 2 * copies * Integer.BYTES);
        int done = 0;
        for (long at = first; at < end; at += perCall * hdfsBlock) {
            words.position(done);
            ByteBuffer rest = words.slice();
            words.clear();
            call(file, at, Math.min(perCall * hdfsBlock, end - at), rest);
            done += (int) (perCall * blockBytes());
        }
    }

    private void ask(String file, Form what, long offset, long length) throws IOException {
        for (;;) {
            try {
                ZOLTNative.getBlockLocationsNative(file, what.storageType, true, offset, length, status,
                        words);
                takeHeader();
                return;
            } catch (BufferOverflowException e) {
                reserve(2L * words.capacity());
            }
        }
    }

    private void call(String file, long offset, long length, ByteBuffer into) throws IOException {
        ZOLTNative.getBlockLocationsNative(file, form.storageType, true, offset, length, status, into);
        takeHeader();
    }

    private void takeHeader() {
        blockSize = status.getLong(HEADER);
        replicas = status.getInt(HEADER + Long.BYTES);
    }

    private void reserve(long bytes) {
        if (bytes > Integer.MAX_VALUE - Long.BYTES) {
            throw new IllegalArgumentException("the locations take " + bytes
                    + " bytes, more than a buffer has: ask for a shorter range");
        }
        if (words.capacity() < bytes) {
            words = direct((int) bytes);
        }
    }

    /**
     * The file that was read last.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.SIZES).path().equals(file)); // prints: true
     * }</pre>
     *
     * @return the path as it was given
     * @throws IllegalStateException when the reader holds nothing, as all getters
     */
    public String path() {
        if (path == null) {
            throw new IllegalStateException("no locations were read");
        }
        return path;
    }

    /**
     * What was asked for.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.SIZES).form()); // prints: SIZES
     * }</pre>
     *
     * @return the form
     */
    public Form form() {
        path();
        return form;
    }

    /**
     * The size of a block, of the kind that was asked for.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.FILE_SYSTEM).blockSize()); // prints: 4096
     * }</pre>
     *
     * @return bytes
     */
    public long blockSize() {
        path();
        return blockSize;
    }

    /**
     * The number of copies of each block; some of them may have no node.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.FILE_SYSTEM).replicas()); // prints: 3
     * }</pre>
     *
     * @return copies
     */
    public int replicas() {
        path();
        return replicas;
    }

    /**
     * The number of blocks.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(directory, BlockLocations.Form.FILE_SYSTEM).count()); // prints: 0
     * }</pre>
     *
     * @return blocks
     */
    public int count() {
        path();
        return count;
    }

    /**
     * Where in the file a block begins.
     *
     * <pre>{@code
     * System.out.println(BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM).offset(2)); // prints: 8192
     * }</pre>
     *
     * @param block 0 to {@link #count} - 1
     * @return bytes from the start of the file
     * @throws IndexOutOfBoundsException when there is no such block
     */
    public long offset(int block) {
        checkIndex(block, count(), "block");
        return start + block * blockSize;
    }

    /**
     * The node of a copy.
     *
     * <pre>{@code
     * BlockLocations locations = BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM);
     * System.out.println(locations.node(0, 0) >= 0); // prints: true
     * }</pre>
     *
     * @param block 0 to {@link #count} - 1
     * @param copy 0 to {@link #replicas} - 1
     * @return the number of the node; -1 for none
     * @throws IndexOutOfBoundsException when there is no such block or copy
     */
    public int node(int block, int copy) {
        return word(block, copy, 0);
    }

    /**
     * The second number of a copy: see {@link BlockLocation#weights}.
     *
     * <pre>{@code
     * ZoltLibrary.setDefaults(1 << 20, 3);
     * System.out.println(BlockLocations.of(file, BlockLocations.Form.RANKED).weight(0, 0)); // prints: 1
     * }</pre>
     *
     * @param block 0 to {@link #count} - 1
     * @param copy 0 to {@link #replicas} - 1
     * @return the number
     * @throws IndexOutOfBoundsException when there is no such block or copy
     */
    public int weight(int block, int copy) {
        return word(block, copy, replicas);
    }

    private int word(int block, int copy, int half) {
        checkIndex(block, count(), "block");
        checkIndex(copy, replicas, "copy");
        return words.getInt(block * blockBytes() + (half + copy) * Integer.BYTES);
    }

    private static void checkIndex(int index, int size, String what) {
        if (index < 0 || index >= size) {
            throw new IndexOutOfBoundsException("no " + what + " " + index + " of " + size);
        }
    }

    /**
     * The blocks as values, which stay when the reader is filled again.
     *
     * <pre>{@code
     * List<BlockLocation> all = BlockLocations.of(blocks, BlockLocations.Form.FILE_SYSTEM).list();
     * System.out.println(all.get(7).offset()); // prints: 28672
     * }</pre>
     *
     * @return the blocks in the order of the file, unmodifiable
     */
    public List<BlockLocation> list() {
        List<BlockLocation> blocks = new ArrayList<>(count());
        for (int block = 0; block < count; block++) {
            List<Integer> nodes = new ArrayList<>(replicas);
            List<Integer> weights = new ArrayList<>(replicas);
            for (int copy = 0; copy < replicas; copy++) {
                if (node(block, copy) >= 0) {
                    nodes.add(node(block, copy));
                    weights.add(weight(block, copy));
                }
            }
            long at = offset(block);
            blocks.add(new BlockLocation(at, Math.min(blockSize, fileSize - at),
                    Collections.unmodifiableList(nodes), Collections.unmodifiableList(weights)));
        }
        return Collections.unmodifiableList(blocks);
    }

    /** The file and the number of blocks; for a log. */
    @Override
    public String toString() {
        return path == null ? "no locations" : form + " " + count + " blocks of " + blockSize + ", "
                + replicas + " copies, of " + path;
    }
}
