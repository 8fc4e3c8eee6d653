package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.function.IntFunction;
import java.util.function.LongFunction;
import java.util.stream.IntStream;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;

/** The blocks of files as clients and DataNodes know them: named, located and signed. */
final class Blocks {
    /** How many nodes a reader may try. */
    private static final int READERS = 3;
    /** Two write the same bytes at the same place, so that a writer outlives one of them. */
    static final int WRITERS = 2;

    private final String pool;
    private final Datanodes datanodes;
    private final BlockKeys keys;

    Blocks(String pool, Datanodes datanodes, BlockKeys keys) {
        this.pool = pool;
        this.datanodes = datanodes;
        this.keys = keys;
    }

    Datanodes datanodes() {
        return datanodes;
    }

    /** Some bytes of a file. */
    record Range(long offset, long length) {
        long end(long size) {
            return Math.min(size, length > Long.MAX_VALUE - offset ? Long.MAX_VALUE : offset + length);
        }
    }

    /**
     * The blocks of a range of a file. One that is being written is as long as it is now: its bytes are there when a
     * DataNode has written them.
     *
     * @param hosts where the file system has the byte at an offset; the DataNodes there are the first of a block's
     */
    LocatedBlocks of(FileBlocks file, Range range, boolean written, LongFunction<List<String>> hosts, boolean signed) {
        Map<List<String>, List<DatanodeInfoWithStorage>> chosen = new HashMap<>();
        IntFunction<LocatedBlock> located = index -> locate(file, index, chosen.computeIfAbsent(
                hosts.apply(file.block(index).start()),
                near -> datanodes.choose(READERS, near, Requests.machine(), List.of())), signed);
        long size = file.size();
        long end = range.end(size);
        List<LocatedBlock> all = range.offset() >= end ? List.of()
                : IntStream.rangeClosed(file.indexOf(range.offset()), file.indexOf(end - 1)).mapToObj(located).toList();
        LocatedBlock last = size == 0 ? null : located.apply(file.indexOf(size - 1));
        return new LocatedBlocks(size, written, all, last, true, null, null);
    }

    /** Those of a file that are not to be found. */
    static LocatedBlocks none(long size) {
        return new LocatedBlocks(size, false, List.of(), null, true, null, null);
    }

    private LocatedBlock locate(FileBlocks file, int index, List<DatanodeInfoWithStorage> nodes, boolean signed) {
        ReadBlock block = file.block(index);
        ExtendedBlock name = new ExtendedBlock(pool, block.id(), block.lengthIn(file.size()), block.stamp());
        LocatedBlock located = new LocatedBlock(name, nodes.toArray(new DatanodeInfoWithStorage[0]), ids(nodes),
                types(nodes), block.start(), false, null);
        if (signed) {
            keys.signToRead(located);
        }
        return located;
    }

    /**
     * A block to write.
     *
     * @param writer the client, and the file's generation
     * @param length what the client has written of it
     */
    LocatedBlock toWrite(WriteBlock block, SignedBlock.Writer writer, long length, List<DatanodeInfoWithStorage> nodes) {
        ExtendedBlock name = new ExtendedBlock(pool, block.id(), length, block.stamp());
        LocatedBlock located = new LocatedBlock(name, nodes.toArray(new DatanodeInfoWithStorage[0]), ids(nodes),
                types(nodes), block.start(), false, null);
        keys.signToWrite(located, writer);
        return located;
    }

    private static String[] ids(List<DatanodeInfoWithStorage> nodes) {
        return nodes.stream().map(DatanodeInfoWithStorage::getStorageID).toArray(String[]::new);
    }

    private static StorageType[] types(List<DatanodeInfoWithStorage> nodes) {
        return nodes.stream().map(DatanodeInfoWithStorage::getStorageType).toArray(StorageType[]::new);
    }

    /** The block of a writing client. */
    WriteBlock written(ExtendedBlock block) throws IOException {
        if (!block.getBlockPoolId().equals(pool)) {
            throw new IOException("Unexpected BlockPoolId " + block.getBlockPoolId() + ". Expected " + pool);
        }
        try {
            return WriteBlock.of(block.getBlockId(), block.getGenerationStamp());
        } catch (IllegalArgumentException e) {
            throw new IOException(e.getMessage(), e);
        }
    }
}
