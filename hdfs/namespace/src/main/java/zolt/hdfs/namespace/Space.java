package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.file.FileStore;
import java.nio.file.Files;
import java.nio.file.Path;

/** How much the file system holds. */
public final class Space {
    private final FileStore store;

    public Space(Root root) throws IOException {
        store = Files.getFileStore(Path.of(root.path()));
    }

    public long total() throws IOException {
        return store.getTotalSpace();
    }

    public long free() throws IOException {
        return store.getUsableSpace();
    }
}
