package zolt.hdfs.namespace;

import java.io.Closeable;
import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.lang.ref.Cleaner;
import java.nio.channels.FileChannel;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/** An open file with its bytes. The right to them was asked for when it was opened, and stays. */
public final class DataFile implements Closeable {
    private static final Logger LOG = LoggerFactory.getLogger(DataFile.class);

    private final FileDescriptor descriptor;
    private final FileInputStream in;
    private final FileChannel channel;
    private final Entry entry;
    private final Cleaner.Cleanable closing;

    private DataFile(FileDescriptor descriptor, FileInputStream in, FileChannel channel, Entry entry) {
        this.descriptor = descriptor;
        this.in = in;
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
        FileInputStream in = new FileInputStream(object);
        return new DataFile(object, in, in.getChannel(), entry);
    }

    /** As {@link #toRead}, at the end of the file or at its beginning. */
    @SuppressWarnings("resource")
    static DataFile toWrite(int descriptor, Entry entry, boolean append) throws IOException {
        FileDescriptor object = adopted(descriptor);
        FileChannel channel = new FileOutputStream(object).getChannel();
        if (append) {
            channel.position(entry.size());
        }
        return new DataFile(object, null, channel, entry);
    }

    public FileChannel channel() {
        return channel;
    }

    /**
     * Reads into an array at the position of {@link #channel}, and moves it on. A stream copies to arrays faster than a
     * channel does.
     */
    public int read(byte[] into, int offset, int length) throws IOException {
        return in.read(into, offset, length);
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
