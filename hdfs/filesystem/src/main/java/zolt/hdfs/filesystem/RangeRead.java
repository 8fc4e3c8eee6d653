package zolt.hdfs.filesystem;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.concurrent.CompletableFuture;
import java.util.function.Consumer;
import java.util.function.IntFunction;
import org.apache.hadoop.fs.FileRange;

/** One range of a vectored read, in one step or two. */
final class RangeRead {
    private final FileRange range;
    private final IntFunction<ByteBuffer> allocate;
    private final Consumer<ByteBuffer> release;
    private final CompletableFuture<ByteBuffer> data = new CompletableFuture<>();
    private ByteBuffer into;
    private int start;

    RangeRead(FileRange range, IntFunction<ByteBuffer> allocate, Consumer<ByteBuffer> release) {
        this.range = range;
        this.allocate = allocate;
        this.release = release;
        range.setData(data);
    }

    /** Reads something, if there is something. */
    @FunctionalInterface
    interface Step {
        void read(ByteBuffer into, long from) throws IOException;
    }

    /** Whether the range is done with; else there is more to read, and nothing has failed. */
    boolean done(Step step) {
        try {
            if (into == null) {
                into = allocate.apply(range.getLength());
                start = into.position();
                into.limit(start + range.getLength());
            }
            step.read(into, range.getOffset() + into.position() - start);
            if (into.hasRemaining()) {
                return false;
            }
            into.position(start);
            data.complete(into);
        } catch (IOException | RuntimeException | Error e) {
            if (into != null) {
                release.accept(into);
            }
            data.completeExceptionally(e);
        }
        return true;
    }
}
