package zolt.cli.commands;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.cli.output.Output;
import zolt.fs.DirectoryListing;

/**
 * Writes the names of a directory while the next ones are read: buffers go round between the thread that
 * lists, whose identity and listing are its own, and one that writes.
 */
final class NameStream {
    private static final int BUFFERS = 4;
    private static final int TO_LENGTH = Long.BYTES + Short.BYTES;
    private static final ByteBuffer END = ByteBuffer.allocate(0);

    private final BlockingQueue<ByteBuffer> empty = new ArrayBlockingQueue<>(BUFFERS + 1);
    private final BlockingQueue<ByteBuffer> filled = new ArrayBlockingQueue<>(BUFFERS + 1);
    private final Output out;
    private volatile Output.Lost lost;

    private NameStream(Output out) {
        this.out = out;
        for (int each = 0; each < BUFFERS; each++) {
            empty.add(ByteBuffer.allocateDirect(DirectoryListing.DEFAULT_BUFFER_BYTES)
                    .order(ByteOrder.nativeOrder()));
        }
    }

    /** Writes a line for each entry. What was written before a failure stays written. */
    static void copy(String path, boolean directoriesOnly, Output out)
            throws IOException, InterruptedException {
        NameStream stream = new NameStream(out);
        Thread writer = new Thread(stream::write, "writer");
        writer.start();
        try {
            stream.read(path, directoriesOnly);
        } finally {
            stream.filled.put(END);
            writer.join();
        }
        if (stream.lost != null) {
            throw stream.lost;
        }
    }

    private void read(String path, boolean directoriesOnly) throws IOException, InterruptedException {
        int more = 1;
        while (more != 0 && lost == null) {
            ByteBuffer buffer = empty.take();
            more = ZOLTNative.getDirentsNative(path, buffer, directoriesOnly, false);
            filled.put(buffer);
        }
        if (more != 0) {
            ZOLTNative.getDirentsNative(path, null, false, true);
        }
    }

    private void write() {
        try {
            for (ByteBuffer buffer = filled.take(); buffer != END; buffer = filled.take()) {
                if (lost == null) {
                    names(buffer);
                }
                empty.put(buffer);
            }
        } catch (InterruptedException e) {
            throw new IllegalStateException(e); // nobody interrupts it
        }
    }

    private void names(ByteBuffer buffer) {
        try {
            int at = Integer.BYTES;
            for (int left = buffer.getInt(0); left > 0; left--) {
                int length = buffer.getInt(at + TO_LENGTH);
                at += TO_LENGTH + Integer.BYTES;
                buffer.position(at);
                out.line(buffer, length);
                at += length;
            }
            buffer.clear();
        } catch (Output.Lost e) {
            lost = e;
        }
    }
}
