package zolt.hdfs.datanode;

import java.io.Closeable;
import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.util.Optional;
import zolt.hdfs.namespace.HeldLease;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.SystemCallException;

/**
 * The file of a block, found and checked, not yet open for its bytes: an O_PATH descriptor. Whatever a wrong
 * number leads to, a FIFO or a device say, nothing was done to it before it was seen to be the right file.
 */
final class BlockFile implements Closeable {
    private static final byte[] ITSELF = {};
    private static final int MODE_TYPE = 0170000;
    private static final int MODE_REGULAR = 0100000;

    private final int descriptor;
    private final long inode;
    private boolean closed;

    /** Takes over the descriptor. */
    BlockFile(int descriptor, long inode) {
        this.descriptor = descriptor;
        this.inode = inode;
    }

    int descriptor() {
        return descriptor;
    }

    /** Whether this is the regular file of that inode in that file system. */
    boolean isOn(long device) throws IOException {
        long[] status = status();
        return status[NativeFiles.INODE] == inode && status[NativeFiles.DEVICE] == device
                && (status[NativeFiles.MODE] & MODE_TYPE) == MODE_REGULAR;
    }

    /** The size now; a file that is being written grows, and others may cut it. */
    long size() throws IOException {
        return status()[NativeFiles.SIZE];
    }

    /** The bytes from a position on; to be closed by the caller. */
    FileInputStream read(long position) throws IOException {
        FileInputStream in = new FileInputStream(NativeFiles.nameOf(descriptor));
        try {
            in.getChannel().position(position);
            return in;
        } catch (IOException e) {
            in.close();
            throw e;
        }
    }

    /** A descriptor for writing in place from a position on. Whatever stream takes it closes it. */
    FileDescriptor write(long position) throws IOException {
        RandomAccessFile file = new RandomAccessFile(NativeFiles.nameOf(descriptor), "rw");
        try {
            file.seek(position);
            return file.getFD();
        } catch (IOException e) {
            file.close();
            throw e;
        }
    }

    /** The lease of the file; nothing when nobody writes it. */
    synchronized Optional<HeldLease> lease() throws IOException {
        if (closed) {
            throw new IOException("The file of " + this + " is closed");
        }
        return HeldLease.of(descriptor);
    }

    @Override
    public synchronized void close() {
        if (!closed) {
            closed = true;
            NativeFiles.close(descriptor);
        }
    }

    @Override
    public String toString() {
        return "inode " + inode;
    }

    private long[] status() throws IOException {
        long[] status = new long[NativeFiles.STATUS_WORDS];
        SystemCallException.check(NativeFiles.status(descriptor, ITSELF, status), toString());
        return status;
    }
}
