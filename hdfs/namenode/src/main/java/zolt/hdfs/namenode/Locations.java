package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.Optional;
import java.util.TreeMap;
import java.util.function.LongFunction;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import zolt.fs.BlockLocation;
import zolt.hdfs.block.Generations;
import zolt.hdfs.namespace.Folder;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.NodeHosts;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.OpenedFile;
import zolt.hdfs.namespace.Statuses;

/** Where the blocks of files are read. */
final class Locations {
    private final Folder folder;
    private final Statuses statuses;
    private final OpenFiles open;
    private final Blocks blocks;
    private final BlockLimits limits;
    private final Generations generations;
    private final KnownPaths paths;
    private final NodeHosts nodes;

    Locations(Parts parts, Blocks blocks, BlockLimits limits, Generations generations, KnownPaths paths, NodeHosts nodes) {
        this.nodes = nodes;
        this.limits = limits;
        folder = parts.folder();
        statuses = parts.statuses();
        open = parts.open();
        this.blocks = blocks;
        this.generations = generations;
        this.paths = paths;
    }

    /** The blocks of a range of a file that the kernel lets the caller read, signed for reading. */
    LocatedBlocks toRead(HdfsPath path, long offset, long length) throws IOException {
        try (OpenedFile file = OpenedFile.toRead(folder, path)) {
            return of(path, file, offset, length, true);
        }
    }

    /** All blocks of a file; signed only for whom the kernel lets read it. */
    LocatedBlocks of(HdfsPath path, boolean signed) throws IOException {
        try (OpenedFile file = signed ? OpenedFile.toRead(folder, path) : OpenedFile.toName(folder, path)) {
            return of(path, file, 0, Long.MAX_VALUE, signed);
        }
    }

    private LocatedBlocks of(HdfsPath path, OpenedFile file, long offset, long length, boolean signed)
            throws IOException {
        long inode = file.entry().inode();
        paths.put(inode, path);
        int generation = generations.of(file.descriptor());
        FileBlocks cut = FileBlocks.of(inode, generation, file.entry().size(), statuses.details(file).blockSize(),
                limits);
        return blocks.of(cut, new Blocks.Range(offset, length), open.isWritten(file), hosts(file, offset, length), signed);
    }

    /** On which hosts the file system has a byte of the range, as far as they are known. */
    private LongFunction<List<String>> hosts(OpenedFile file, long offset, long length) throws IOException {
        if (nodes.isEmpty()) {
            return at -> List.of();
        }
        NavigableMap<Long, BlockLocation> byOffset = new TreeMap<>();
        for (BlockLocation block : file.blocks(offset, length)) {
            byOffset.put(block.offset(), block);
        }
        return at -> Optional.ofNullable(byOffset.floorEntry(at)).map(Map.Entry::getValue)
                .filter(block -> at < block.offset() + block.length()).map(nodes::of).orElse(List.of());
    }
}
