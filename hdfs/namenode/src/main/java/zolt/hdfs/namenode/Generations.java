package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.Optional;
import zolt.hdfs.block.HandleLayout;
import zolt.hdfs.namespace.Root;

/** Which of the files that had the same inode number one is: told by the handles of the file system. */
final class Generations {
    private final Optional<HandleLayout> handles;

    Generations(Root root) throws IOException {
        handles = root.withDescriptor(descriptor -> HandleLayout.of(descriptor, descriptor));
    }

    /** The generation of an open file; 0 where the file system tells none. */
    int of(int descriptor) {
        return handles.isPresent() ? handles.get().generation(descriptor) : 0;
    }
}
