package zolt.hdfs.datanode;

import java.io.IOException;
import java.util.concurrent.atomic.AtomicReference;

/** The thread that receives a block: one at a time, and the next stops the one before. */
final class Writer {
    private final AtomicReference<Thread> thread = new AtomicReference<>(Thread.currentThread());

    void set(Thread writer) {
        thread.set(writer);
    }

    boolean replace(Thread before, Thread next) {
        return thread.compareAndSet(before, next);
    }

    void interrupt() {
        Thread writer = thread.get();
        if (writer != null && writer != Thread.currentThread()) {
            writer.interrupt();
        }
    }

    /** Interrupts the thread and waits for its end; returns at once when it is the calling one. */
    void stop(long millis) throws IOException {
        Thread writer = thread.get();
        if (writer == null || writer == Thread.currentThread()) {
            return;
        }
        writer.interrupt();
        try {
            writer.join(millis);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new IOException("Interrupted while waiting for the end of " + writer);
        }
        if (writer.isAlive()) {
            throw new IOException(writer + " goes on writing; it was asked to stop " + millis + " ms ago");
        }
    }
}
