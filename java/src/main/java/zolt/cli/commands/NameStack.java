package zolt.cli.commands;

import java.io.Closeable;
import java.io.EOFException;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Arrays;

/**
 * A stack of bytes of any size in a few megabytes of memory. What does not fit there lies in a file that has
 * no name: it is gone with the process, however that ends.
 */
final class NameStack implements Closeable {
    private static final int IN_MEMORY = 4 << 20;
    private static final int FIRST = 64 << 10;
    private static final int BLOCK = 64 << 10;

    private final int limit;
    private byte[] memory;
    private SeekableByteChannel file;
    /** What is on top and not yet in the file, and where it begins. */
    private final ByteBuffer tail = ByteBuffer.allocate(BLOCK);
    private long tailStart;
    /** A part of the file as it was read last. */
    private final ByteBuffer window = ByteBuffer.allocate(BLOCK);
    private long windowStart;
    private long end;

    NameStack() {
        this(IN_MEMORY);
    }

    NameStack(int limit) {
        this.limit = limit;
        this.memory = new byte[Math.min(limit, FIRST)];
        this.tailStart = limit;
        this.window.limit(0);
    }

    /** Where the next byte will be. */
    long end() {
        return end;
    }

    void push(byte[] bytes, int length) throws IOException {
        int first = (int) Math.max(0, Math.min(length, limit - end));
        if (end + first > memory.length) {
            memory = Arrays.copyOf(memory, (int) Math.min(limit, Math.max(2L * memory.length, end + first)));
        }
        if (first > 0) {
            System.arraycopy(bytes, 0, memory, (int) end, first);
        }
        for (int at = first; at < length; ) {
            if (!tail.hasRemaining()) {
                spill();
            }
            int part = Math.min(length - at, tail.remaining());
            tail.put(bytes, at, part);
            at += part;
        }
        end += length;
    }

    private void spill() throws IOException {
        if (file == null) {
            Path path = Files.createTempFile("zolt-", null);
            try {
                file = Files.newByteChannel(path, StandardOpenOption.READ, StandardOpenOption.WRITE);
            } finally {
                Files.delete(path);
            }
        }
        tail.flip();
        file.position(tailStart - limit);
        tailStart += tail.remaining();
        while (tail.hasRemaining()) {
            file.write(tail);
        }
        tail.clear();
    }

    /** The bytes from a place on. */
    void read(long from, byte[] into, int length) throws IOException {
        int done = 0;
        while (done < length) {
            long at = from + done;
            int wanted = length - done;
            if (at < limit) {
                wanted = (int) Math.min(wanted, limit - at);
                System.arraycopy(memory, (int) at, into, done, wanted);
            } else if (at >= tailStart) {
                System.arraycopy(tail.array(), (int) (at - tailStart), into, done, wanted);
            } else {
                wanted = fromFile(at, into, done, wanted);
            }
            done += wanted;
        }
    }

    private int fromFile(long at, byte[] into, int to, int wanted) throws IOException {
        if (at < windowStart || at >= windowStart + window.limit()) {
            window.clear().limit((int) Math.min(BLOCK, tailStart - at));
            windowStart = at;
            file.position(at - limit);
            while (window.hasRemaining()) {
                if (file.read(window) < 0) {
                    throw new EOFException("a temporary file has lost its end");
                }
            }
            window.flip();
        }
        int offset = (int) (at - windowStart);
        int there = Math.min(wanted, window.limit() - offset);
        System.arraycopy(window.array(), offset, into, to, there);
        return there;
    }

    /** Takes away what is beyond a place. */
    void cut(long newEnd) throws IOException {
        end = newEnd;
        if (newEnd >= tailStart) {
            tail.position((int) (newEnd - tailStart));
            return;
        }
        tail.clear();
        if (tailStart > limit) {
            tailStart = Math.max(limit, newEnd);
            file.truncate(tailStart - limit);
            window.limit(0);
        }
    }

    @Override
    public void close() throws IOException {
        if (file != null) {
            file.close();
        }
    }
}
