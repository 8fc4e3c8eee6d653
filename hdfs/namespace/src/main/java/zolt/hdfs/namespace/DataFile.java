package zolt.hdfs.namespace;

import java.io.Closeable;
import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.lang.ref.Cleaner;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/** An open file with its bytes. The right to them was asked for when it was opened, and stays. */
public final class DataFile implements Closeable {
    private static final Logger LOG = LoggerFactory.getLogger(DataFile.class);

    private final int number;
    private final FileDescriptor descriptor;
    private final FileChannel channel;
    private final Entry entry;
    private final Cleaner.Cleanable closing;

    private DataFile(int number, FileDescriptor descriptor, FileChannel channel, Entry entry) {
        this.number = number;
        this.descriptor = descriptor;
        this.channel = channel;
        this.entry = entry;
        closing = Forgotten.watch(this, () -> {
            try {
                channel.close();
            } catch (IOException e) {
                LOG.debug("A descriptor that was forgotten", e);
            }
        });
    }

    private static FileDescriptor adopted(int descriptor) {
        FileDescriptor object = new FileDescriptor();
        NativeFiles.adopt(object, descriptor);
        return object;
    }

    /** Takes a descriptor over, which is closed with the answer. */
    @SuppressWarnings("resource")  // the channel closes the stream
    static DataFile toRead(int descriptor, Entry entry) {
        FileDescriptor object = adopted(descriptor);
        return new DataFile(descriptor, object, new FileInputStream(object).getChannel(), entry);
    }

    /** As {@link #toRead}, at the end of the file or at its beginning. */
    @SuppressWarnings("resource")
    static DataFile toWrite(int descriptor, Entry entry, boolean append) throws IOException {
        FileDescriptor object = adopted(descriptor);
        FileChannel channel = new FileOutputStream(object).getChannel();
        if (append) {
            channel.position(entry.size());
        }
        return new DataFile(descriptor, object, channel, entry);
    }

    public FileChannel channel() {
        return channel;
    }

    /**
     * Reads as {@link #channel} does, but for a thread that is interrupted too: that would close a channel. No other
     * thread may close this file meanwhile.
     *
     * @param what its name, for a failure
     */
    public int read(ByteBuffer into, long from, String what) throws IOException {
        if (!into.isDirect()) {
            return channel.read(into, from);
        }
        int got = SystemCallException.check(read(into, from, 0), what);
        return got > 0 || !into.hasRemaining() ? got : -1;
    }

    /** As {@link #read}, of what the kernel has in memory: what it would have to wait for is left out. */
    public int readPresent(ByteBuffer into, long from) {
        return into.isDirect() ? Math.max(0, read(into, from, NativeFiles.RWF_NOWAIT)) : 0;
    }

    private int read(ByteBuffer into, long from, int flags) {
        int got = NativeFiles.read(number, into, into.position(), into.remaining(), from, flags);
        into.position(into.position() + Math.max(0, got));
        return got;
    }

    public FileDescriptor descriptor() {
        return descriptor;
    }

    /** What the file was like when it was opened. */
    public Entry entry() {
        return entry;
    }

    @Override
    public void close() throws IOException {
        try {
            channel.close();
        } finally {
            closing.clean();
        }
    }
}
