package zolt.hdfs.filesystem;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.util.concurrent.ArrayBlockingQueue;

/**
 * Memory between arrays and the kernel, which begins where a page does. A processor copies to such by half the time that
 * it takes to what begins 16 bytes behind, as arrays and the class library's own buffers do. It is lent, and kept for the
 * next, since to allocate it takes as long as to fill it.
 */
final class PageMemory {
    /** What a stream keeps while it reads ahead. */
    static final int AHEAD = 1 << 17;
    private static final int LARGE = 1 << 20;
    private static final int PAGE = 4096;

    private static final ArrayBlockingQueue<ByteBuffer> FREE = new ArrayBlockingQueue<>(64);
    private static final ArrayBlockingQueue<ByteBuffer> LARGE_FREE = new ArrayBlockingQueue<>(16);

    private PageMemory() {}

    /** What reads as {@link FileChannel#read(ByteBuffer, long)} does. */
    @FunctionalInterface
    interface Source {
        int read(ByteBuffer into, long from) throws IOException;
    }

    private static ArrayBlockingQueue<ByteBuffer> free(int size) {
        return size <= AHEAD ? FREE : LARGE_FREE;
    }

    /** An empty buffer: of this size or more, but not of more than a megabyte. */
    static ByteBuffer take(int size) {
        ByteBuffer kept = free(size).poll();
        return kept != null ? kept.clear() : allocate(size <= AHEAD ? AHEAD : LARGE);
    }

    private static ByteBuffer allocate(int size) {
        try {
            return ByteBuffer.allocateDirect(size + PAGE).alignedSlice(PAGE).limit(size).slice();
        } catch (OutOfMemoryError e) {
            return ByteBuffer.allocate(size);  // a process has a limit of its own for direct memory
        }
    }

    /** Takes back what nobody uses any more. */
    static void give(ByteBuffer buffer) {
        if (buffer.isDirect()) {
            free(buffer.capacity()).offer(buffer);
        }
    }

    /** Reads until the buffer is full, or the file ends; -1 at the end. */
    static int read(Source source, ByteBuffer into, long from) throws IOException {
        if (into.isDirect()) {
            return source.read(into, from);
        }
        ByteBuffer memory = take(into.remaining());
        try {
            int total = 0;
            int wanted;
            int got;
            do {
                wanted = Math.min(into.remaining(), memory.capacity());
                got = source.read(memory.clear().limit(wanted), from + total);
                into.put(memory.flip());
                total += Math.max(0, got);
            } while (got == wanted && into.hasRemaining());
            return total > 0 ? total : got;
        } finally {
            give(memory);
        }
    }

    /** Writes all; after a failure, what was written is behind the buffer's position. */
    static void write(FileChannel channel, ByteBuffer from) throws IOException {
        ByteBuffer memory = take(from.remaining());
        try {
            while (from.hasRemaining()) {
                memory.clear();
                memory.put(from.slice().limit(Math.min(from.remaining(), memory.capacity()))).flip();
                while (memory.hasRemaining()) {
                    from.position(from.position() + channel.write(memory));
                }
            }
        } finally {
            give(memory);
        }
    }
}
