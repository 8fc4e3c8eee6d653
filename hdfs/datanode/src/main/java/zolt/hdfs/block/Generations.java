package zolt.hdfs.block;

import java.io.IOException;
import java.util.Optional;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.SystemCallException;

/**
 * Which of the files that had the same inode number one is. File handles tell; where there are none that can be opened,
 * the time when the file was made stands in, which two files with one inode do not share.
 */
public final class Generations {
    private static final byte[] ITSELF = {};

    private final Optional<HandleLayout> handles;

    private Generations(Optional<HandleLayout> handles) {
        this.handles = handles;
    }

    /** Those of a file system; the parameters are those of {@link HandleLayout#of}. */
    public static Generations of(int root, int sample) {
        return new Generations(HandleLayout.of(root, sample));
    }

    /** How files are opened by inode and generation; nothing where they cannot be. */
    public Optional<HandleLayout> handles() {
        return handles;
    }

    /** The generation of an open file; 0 where the file system tells none. */
    public int of(int descriptor) throws IOException {
        if (handles.isPresent()) {
            return handles.get().generation(descriptor);
        }
        long[] status = new long[NativeFiles.STATUS_WORDS];
        SystemCallException.check(NativeFiles.status(descriptor, ITSELF, status), "the time when a file was made");
        return Long.hashCode(status[NativeFiles.BIRTH_NANOS]);
    }
}
