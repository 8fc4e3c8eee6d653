package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.List;
import org.apache.hadoop.fs.permission.FsAction;
import zolt.fs.BlockLocation;
import zolt.fs.BlockLocations;

/** A file that is held, so that what is told of it is told of one and the same file. */
public final class OpenedFile implements AutoCloseable {
    private static final ThreadLocal<BlockLocations> BLOCKS = ThreadLocal.withInitial(BlockLocations::new);

    private final int descriptor;
    private final boolean readable;
    private final Entry entry;

    private OpenedFile(int descriptor, boolean readable) throws SystemCallException {
        this.descriptor = descriptor;
        this.readable = readable;
        try {
            entry = Entry.of(descriptor);
        } catch (SystemCallException e) {
            NativeFiles.close(descriptor);
            throw e;
        }
    }

    /** A file that the kernel lets the caller read. */
    public static OpenedFile toRead(Folder folder, HdfsPath path) throws IOException {
        try {
            return open(folder, path, NativeFiles.O_RDONLY);
        } catch (SystemCallException e) {
            folder.requireFile(path);
            throw folder.refusal(path, e, FsAction.READ);
        }
    }

    /** A file that the caller may see, with no right to what is in it. */
    public static OpenedFile toName(Folder folder, HdfsPath path) throws IOException {
        try {
            return open(folder, path, NativeFiles.O_PATH);
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ);
        }
    }

    private static OpenedFile open(Folder folder, HdfsPath path, int flags) throws IOException {
        try (Place place = folder.place(path)) {
            OpenedFile file = new OpenedFile(SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY,
                    place.bytes(), flags | NativeFiles.O_NOFOLLOW, 0), path.toString()), flags == NativeFiles.O_RDONLY);
            if (!file.entry.isFile()) {
                file.close();
                throw new FileNotFoundException("Path is not a file: " + path);
            }
            return file;
        }
    }

    public int descriptor() {
        return descriptor;
    }

    /** Whether the descriptor gives the right to read. */
    boolean isReadable() {
        return readable;
    }

    public Entry entry() {
        return entry;
    }

    /** The blocks of a range, each with the nodes that hold most of it; whoever may see the file may know. */
    public List<BlockLocation> blocks(long offset, long length) throws IOException {
        try (Acting own = Acting.service()) {
            BlockLocations blocks = BLOCKS.get();
            blocks.read(NativeFiles.nameOf(descriptor), BlockLocations.Form.RANKED, offset, length);
            return blocks.list();
        }
    }

    @Override
    public void close() {
        NativeFiles.close(descriptor);
    }
}
