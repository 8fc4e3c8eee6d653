package zolt.hdfs.filesystem;

import static org.apache.hadoop.fs.statistics.StoreStatisticNames.OP_HFLUSH;
import static org.apache.hadoop.fs.statistics.StoreStatisticNames.OP_HSYNC;
import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_WRITE_BYTES;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.FileChannel;
import java.util.Locale;
import java.util.Objects;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.PathIOException;
import org.apache.hadoop.fs.StreamCapabilities;
import org.apache.hadoop.fs.Syncable;
import org.apache.hadoop.fs.statistics.IOStatistics;
import org.apache.hadoop.fs.statistics.IOStatisticsAggregator;
import org.apache.hadoop.fs.statistics.IOStatisticsSource;
import org.apache.hadoop.fs.statistics.impl.IOStatisticsBinding;
import zolt.hdfs.namespace.DataFile;

/**
 * Writes a file by its descriptor. {@code hflush} gives the kernel what is in the buffer, so that every reader of every
 * node sees it as the file system has it; {@code hsync} has it on the disk (fdatasync(2)).
 */
final class ZoltOutputStream extends OutputStream implements Syncable, StreamCapabilities, IOStatisticsSource {
    private static final ByteBuffer EMPTY = ByteBuffer.allocate(0);

    private final String name;
    private final DataFile file;
    private final FileChannel channel;
    private final FileSystem.Statistics statistics;
    private final int bufferSize;
    private final boolean syncs;
    private final IOStatisticsAggregator aggregator = ThreadStatistics.now();
    private final AtomicLong bytes = new AtomicLong();
    private final AtomicLong flushes = new AtomicLong();
    private final AtomicLong forces = new AtomicLong();
    private IOStatistics ioStatistics;
    private ByteBuffer buffer = EMPTY;
    private boolean closed;

    /** @param syncs whether the file is to be on the disk when it is closed */
    ZoltOutputStream(String name, DataFile file, FileSystem.Statistics statistics, int bufferSize, boolean syncs) {
        this.name = name;
        this.file = file;
        this.statistics = statistics;
        this.bufferSize = Math.max(1, bufferSize);
        this.syncs = syncs;
        channel = file.channel();
    }

    private void requireOpen() throws IOException {
        if (closed) {
            throw new ClosedChannelException();
        }
    }

    private void put(ByteBuffer from) throws IOException {
        try {
            PageMemory.write(channel, from);
        } catch (ClosedChannelException e) {
            throw e;
        } catch (IOException e) {
            throw new PathIOException(name, e.getMessage(), e);
        }
    }

    private void empty() throws IOException {
        if (buffer.position() > 0) {
            buffer.flip();
            try {
                put(buffer);
            } finally {
                buffer.compact();  // what was not written is tried again
            }
        }
    }

    private ByteBuffer room() throws IOException {
        if (buffer.capacity() == 0) {
            buffer = ByteBuffer.allocate(bufferSize);
        } else if (!buffer.hasRemaining()) {
            empty();
        }
        return buffer;
    }

    @Override
    public synchronized void write(int value) throws IOException {
        requireOpen();
        room().put((byte) value);
        count(1);
    }

    @Override
    public synchronized void write(byte[] from, int offset, int length) throws IOException {
        requireOpen();
        Objects.checkFromIndexSize(offset, length, from.length);
        if (length >= bufferSize) {
            empty();
            put(ByteBuffer.wrap(from, offset, length));
            count(length);
            return;
        }
        int first = Math.min(length, room().remaining());
        buffer.put(from, offset, first);
        if (first < length) {
            room().put(from, offset + first, length - first);
        }
        count(length);
    }

    private void count(int taken) {
        bytes.addAndGet(taken);
        statistics.incrementBytesWritten(taken);
    }

    @Override
    public synchronized void flush() throws IOException {
        requireOpen();
        empty();
    }

    @Override
    public synchronized void hflush() throws IOException {
        flush();
        flushes.incrementAndGet();
    }

    @Override
    public synchronized void hsync() throws IOException {
        flush();
        force(false);
        forces.incrementAndGet();
    }

    private void force(boolean all) throws IOException {
        try {
            channel.force(all);
        } catch (ClosedChannelException e) {
            throw e;
        } catch (IOException e) {
            throw new PathIOException(name, e.getMessage(), e);
        }
    }

    @Override
    public boolean hasCapability(String capability) {
        switch (capability.toLowerCase(Locale.ENGLISH)) {
            case StreamCapabilities.HFLUSH:
            case StreamCapabilities.HSYNC:
            case StreamCapabilities.IOSTATISTICS:
            case StreamCapabilities.IOSTATISTICS_CONTEXT:
                return true;
            default:
                return false;
        }
    }

    @Override
    public synchronized IOStatistics getIOStatistics() {
        if (ioStatistics == null) {
            ioStatistics = IOStatisticsBinding.dynamicIOStatistics()
                    .withAtomicLongCounter(STREAM_WRITE_BYTES, bytes)
                    .withAtomicLongCounter(OP_HFLUSH, flushes)
                    .withAtomicLongCounter(OP_HSYNC, forces)
                    .build();
        }
        return ioStatistics;
    }

    /** The descriptor is closed whatever fails. */
    @Override
    public synchronized void close() throws IOException {
        if (closed) {
            return;
        }
        closed = true;
        try (DataFile closing = file) {
            empty();
            if (syncs) {
                force(true);
            }
        } finally {
            buffer = EMPTY;
            aggregator.aggregate(getIOStatistics());
        }
    }

    @Override
    public String toString() {
        return name;
    }
}
