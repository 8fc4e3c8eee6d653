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

    private final long device;
    private final Optional<HandleLayout> handles;

    private Generations(long device, Optional<HandleLayout> handles) {
        this.device = device;
        this.handles = handles;
    }

    /** Those of a file system; the parameters are those of {@link HandleLayout#of}. */
    public static Generations of(int root, int sample) throws IOException {
        return new Generations(status(root)[NativeFiles.DEVICE], HandleLayout.of(root, sample));
    }

    /** How files are opened by inode and generation; nothing where they cannot be. */
    public Optional<HandleLayout> handles() {
        return handles;
    }

    /**
     * The generation of an open file; 0 where the file system tells none.
     *
     * @throws IOException for a file of another file system, or of another subvolume: what has its inode and its
     *     generation in the one that is exported is another file
     */
    public int of(int descriptor) throws IOException {
        long[] status = status(descriptor);
        if (status[NativeFiles.DEVICE] != device) {
            throw new IOException("The file lies in another file system, or subvolume, than the exported folder: it is"
                    + " neither read nor written by HDFS");
        }
        return handles.isPresent() ? handles.get().generation(descriptor) : Long.hashCode(status[NativeFiles.BIRTH_NANOS]);
    }

    private static long[] status(int descriptor) throws IOException {
        long[] status = new long[NativeFiles.STATUS_WORDS];
        SystemCallException.check(NativeFiles.status(descriptor, ITSELF, status), "the status of a file");
        return status;
    }
}
