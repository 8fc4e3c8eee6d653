package zolt.hdfs.filesystem;

import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_READ_BYTES;
import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_READ_OPERATIONS;
import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_READ_SEEK_OPERATIONS;
import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_READ_VECTORED_INCOMING_RANGES;
import static org.apache.hadoop.fs.statistics.StreamStatisticNames.STREAM_READ_VECTORED_OPERATIONS;

import java.io.EOFException;
import java.io.FileDescriptor;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Objects;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.Consumer;
import java.util.function.IntFunction;
import org.apache.hadoop.fs.ByteBufferPositionedReadable;
import org.apache.hadoop.fs.ByteBufferReadable;
import org.apache.hadoop.fs.CanUnbuffer;
import org.apache.hadoop.fs.FSExceptionMessages;
import org.apache.hadoop.fs.FSInputStream;
import org.apache.hadoop.fs.FileRange;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.HasFileDescriptor;
import org.apache.hadoop.fs.StreamCapabilities;
import org.apache.hadoop.fs.VectoredReadUtils;
import org.apache.hadoop.fs.statistics.IOStatistics;
import org.apache.hadoop.fs.statistics.IOStatisticsAggregator;
import org.apache.hadoop.fs.statistics.IOStatisticsSource;
import org.apache.hadoop.fs.statistics.impl.IOStatisticsBinding;
import zolt.hdfs.namespace.DataFile;

/**
 * Reads a file by its descriptor. The right to it was asked for when it was opened; what reads needs no identity.
 */
final class ZoltInputStream extends FSInputStream implements ByteBufferReadable, ByteBufferPositionedReadable, CanUnbuffer,
        HasFileDescriptor, StreamCapabilities, IOStatisticsSource {
    private static final ByteBuffer EMPTY = ByteBuffer.allocate(0);
    /** What goes past the buffer: one call for so much is enough, and a direct buffer needs no copy. */
    private static final int LARGE = 1 << 15;
    private static final int GROWTH = 8;

    private final String name;
    private final DataFile file;
    private final FileChannel channel;
    private final FileSystem.Statistics statistics;
    private final int bufferSize;
    private final IOStatisticsAggregator aggregator = ThreadStatistics.now();
    private final AtomicLong bytes = new AtomicLong();
    private final AtomicLong operations = new AtomicLong();
    private final AtomicLong seeks = new AtomicLong();
    private final AtomicLong vectored = new AtomicLong();
    private final AtomicLong ranges = new AtomicLong();
    private IOStatistics ioStatistics;

    /** What is left in it comes before the position of the file. */
    private ByteBuffer buffer = EMPTY;
    /** Where the file is read on, behind what is in the buffer. */
    private long position;
    private long knownSize;
    /** How much the buffer takes in next. */
    private int ahead;
    private volatile boolean closed;

    ZoltInputStream(String name, DataFile file, FileSystem.Statistics statistics, int bufferSize) {
        this.name = name;
        this.file = file;
        this.statistics = statistics;
        this.bufferSize = Math.max(1, Math.min(bufferSize, PageMemory.AHEAD));
        ahead = this.bufferSize;
        channel = file.channel();
        knownSize = file.entry().size();
    }

    private void requireOpen() throws IOException {
        if (closed) {
            throw new IOException(name + ": " + FSExceptionMessages.STREAM_IS_CLOSED);
        }
    }

    private int count(int got) {
        operations.incrementAndGet();
        if (got > 0) {
            bytes.addAndGet(got);
            statistics.incrementBytesRead(got);
        }
        return got;
    }

    /** Reads on, past the buffer. */
    private int readOn(ByteBuffer into) throws IOException {
        int got = PageMemory.read((some, from) -> file.read(some, from, name), into, position);
        position += Math.max(0, got);
        return got;
    }

    /** Reads ahead, more each time, as long as the reader goes on where it was. */
    private boolean fill() throws IOException {
        if (buffer == EMPTY) {
            buffer = PageMemory.take(PageMemory.AHEAD);
        }
        buffer.clear().limit(ahead);
        try {
            return readOn(buffer) > 0;
        } finally {
            buffer.flip();
            readMoreAhead();
        }
    }

    private void readMoreAhead() {
        ahead = Math.min(GROWTH * ahead, PageMemory.AHEAD);
    }

    @Override
    public synchronized int read() throws IOException {
        requireOpen();
        if (!buffer.hasRemaining() && !fill()) {
            return -1;
        }
        count(1);
        return buffer.get() & 0xff;
    }

    @Override
    public synchronized int read(byte[] into, int offset, int length) throws IOException {
        requireOpen();
        validatePositionedReadArgs(getPos(), into, offset, length);
        return read(ByteBuffer.wrap(into, offset, length));
    }

    @Override
    public synchronized int read(ByteBuffer into) throws IOException {
        requireOpen();
        if (!into.hasRemaining()) {
            return 0;
        }
        int before = into.remaining();
        int got = 0;
        while (into.hasRemaining() && got >= 0) {
            if (buffer.hasRemaining()) {
                int some = Math.min(into.remaining(), buffer.remaining());
                into.put(buffer.slice().limit(some));
                buffer.position(buffer.position() + some);
            } else if (into.remaining() >= Math.min(ahead, LARGE)) {
                buffer.limit(0);  // what was in it lies before the position no more
                readMoreAhead();
                got = readOn(into);
            } else if (!fill()) {
                got = -1;
            }
        }
        return count(into.remaining() == before ? -1 : before - into.remaining());
    }

    @Override
    public int read(long from, byte[] into, int offset, int length) throws IOException {
        validatePositionedReadArgs(from, into, offset, length);
        return read(from, ByteBuffer.wrap(into, offset, length));
    }

    @Override
    public void readFully(long from, byte[] into, int offset, int length) throws IOException {
        validatePositionedReadArgs(from, into, offset, length);
        readFully(from, ByteBuffer.wrap(into, offset, length));
    }

    @Override
    public int read(long from, ByteBuffer into) throws IOException {
        requireOpen();
        if (from < 0) {
            throw new EOFException(FSExceptionMessages.NEGATIVE_SEEK);
        }
        return into.hasRemaining() ? count(PageMemory.read(channel::read, into, from)) : 0;
    }

    @Override
    public void readFully(long from, ByteBuffer into) throws IOException {
        requireOpen();
        long at = from;
        while (into.hasRemaining()) {
            int got = read(at, into);
            if (got < 0) {
                throw new EOFException(FSExceptionMessages.EOF_IN_READ_FULLY);
            }
            at += got;
        }
    }

    @Override
    public synchronized void seek(long to) throws IOException {
        requireOpen();
        if (to < 0) {
            throw new EOFException(FSExceptionMessages.NEGATIVE_SEEK + " " + to);
        }
        if (to > knownSize) {
            knownSize = channel.size();
            if (to > knownSize) {
                throw new EOFException(FSExceptionMessages.CANNOT_SEEK_PAST_EOF + " " + to);
            }
        }
        seeks.incrementAndGet();
        long first = position - buffer.limit();
        if (to >= first && to <= position) {
            buffer.position((int) (to - first));
        } else {
            position = to;
            buffer.clear().limit(0);
            ahead = bufferSize;
        }
    }

    @Override
    public synchronized long getPos() throws IOException {
        return position - buffer.remaining();
    }

    @Override
    public synchronized long skip(long wanted) throws IOException {
        requireOpen();
        long skipped = Math.max(0, Math.min(wanted, channel.size() - getPos()));
        if (skipped > 0) {
            seek(getPos() + skipped);
        }
        return skipped;
    }

    @Override
    public synchronized int available() throws IOException {
        requireOpen();
        return (int) Math.max(0, Math.min(Integer.MAX_VALUE, channel.size() - getPos()));
    }

    /** There is but one. */
    @Override
    public boolean seekToNewSource(long target) {
        return false;
    }

    /** The descriptor stays: another one would need the user's rights. */
    @Override
    public synchronized void unbuffer() {
        position -= buffer.remaining();
        drop();
        ahead = bufferSize;
    }

    private void drop() {
        PageMemory.give(buffer);
        buffer = EMPTY;
    }

    @Override
    public void readVectored(List<? extends FileRange> wanted, IntFunction<ByteBuffer> allocate) throws IOException {
        readVectored(wanted, allocate, released -> { });
    }

    /**
     * Each range is a read of its own; nothing is read that nobody asked for. What the kernel has in memory is read here,
     * sooner than a thread wakes; from the first on that it has not, several are read at a time.
     */
    @Override
    public void readVectored(List<? extends FileRange> wanted, IntFunction<ByteBuffer> allocate,
            Consumer<ByteBuffer> release) throws IOException {
        requireOpen();
        Objects.requireNonNull(release);
        List<? extends FileRange> sorted = VectoredReadUtils.sortRangeList(wanted);
        for (FileRange range : sorted) {
            VectoredReadUtils.validateRangeRequest(range);
        }
        vectored.incrementAndGet();
        ranges.addAndGet(sorted.size());
        List<RangeRead> all = new ArrayList<>(sorted.size());
        for (FileRange range : sorted) {
            all.add(new RangeRead(range, allocate, release));
        }
        int present = present(all);
        AtomicInteger next = new AtomicInteger(present);
        VectoredReads.submit(all.size() - present, () -> {
            for (int i = next.getAndIncrement(); i < all.size(); i = next.getAndIncrement()) {
                all.get(i).done((into, from) -> readFully(from, into));
            }
        });
    }

    /** How many ranges, from the first on, needed no waiting. */
    private synchronized int present(List<RangeRead> all) throws IOException {
        requireOpen();
        int done = 0;
        while (done < all.size() && all.get(done).done(this::readPresent)) {
            done++;
        }
        return done;
    }

    private void readPresent(ByteBuffer into, long from) throws IOException {
        int got = PageMemory.read(file::readPresent, into, from);
        if (got > 0) {
            count(got);
        }
    }

    @Override
    public FileDescriptor getFileDescriptor() {
        return file.descriptor();
    }

    @Override
    public boolean hasCapability(String capability) {
        switch (capability.toLowerCase(Locale.ENGLISH)) {
            case StreamCapabilities.READBYTEBUFFER:
            case StreamCapabilities.PREADBYTEBUFFER:
            case StreamCapabilities.UNBUFFER:
            case StreamCapabilities.VECTOREDIO:
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
                    .withAtomicLongCounter(STREAM_READ_BYTES, bytes)
                    .withAtomicLongCounter(STREAM_READ_OPERATIONS, operations)
                    .withAtomicLongCounter(STREAM_READ_SEEK_OPERATIONS, seeks)
                    .withAtomicLongCounter(STREAM_READ_VECTORED_OPERATIONS, vectored)
                    .withAtomicLongCounter(STREAM_READ_VECTORED_INCOMING_RANGES, ranges)
                    .build();
        }
        return ioStatistics;
    }

    @Override
    public void close() throws IOException {
        synchronized (this) {
            if (closed) {
                return;
            }
            closed = true;
            drop();
        }
        try {
            file.close();
        } finally {
            aggregator.aggregate(getIOStatistics());
        }
    }

    @Override
    public String toString() {
        return name;
    }
}
