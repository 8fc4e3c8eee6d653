package zolt.hdfs.datanode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Optional;
import java.util.OptionalInt;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;

/**
 * The files that blocks name: by handle where the file system and the block allow it, else by the path that a
 * NameNode knows. A path is kept for the next block of the file, and asked for again when it leads elsewhere.
 */
final class BlockFiles {
    /** Asks a NameNode for the path of an inode, below the exported folder. */
    interface Paths {
        String of(long inode) throws IOException;
    }

    private static final int KEPT = 10_000;

    private final ExportedRoot root;
    private final Paths paths;
    private final Map<Long, String> kept = Collections.synchronizedMap(new LinkedHashMap<>(16, 0.75f, true) {
        private static final long serialVersionUID = 1;

        @Override
        protected boolean removeEldestEntry(Map.Entry<Long, String> eldest) {
            return size() > KEPT;
        }
    });

    BlockFiles(ExportedRoot root, Paths paths) {
        this.root = root;
        this.paths = paths;
    }

    /** The file of a block for reading; {@link FileNotFoundException} when the block no longer fits. */
    BlockFile of(ReadBlock block) throws IOException {
        return root.hasHandles() ? root.byHandle(block.inode(), block.generation())
                : byPath(block.inode(), OptionalInt.of(block.generation()));
    }

    /** The file of a block for writing; its id has no room for the generation, but its token may have told it. */
    BlockFile of(WriteBlock block) throws IOException {
        Optional<SignedBlock.Writer> writer = SignedTokens.writer(block.id());
        if (writer.isEmpty()) {
            return byPath(block.inode(), OptionalInt.empty());
        }
        int generation = writer.get().generation();
        return root.hasHandles() ? root.byHandle(block.inode(), generation)
                : byPath(block.inode(), OptionalInt.of(generation));
    }

    private BlockFile byPath(long inode, OptionalInt generation) throws IOException {
        String known = kept.get(inode);
        if (known != null) {
            try {
                return root.byPath(known, inode, generation);
            } catch (FileNotFoundException moved) {
                kept.remove(inode);
            }
        }
        String path = paths.of(inode);
        BlockFile file = root.byPath(path, inode, generation);
        kept.put(inode, path);
        return file;
    }
}
