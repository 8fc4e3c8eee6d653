package zolt.hdfs.filesystem;

import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;

/** The threads that read many ranges at a time: a few for the whole process, gone when there is nothing to read. */
final class VectoredReads {
    private static final int MOST = Math.max(4, Math.min(16, 2 * Runtime.getRuntime().availableProcessors()));
    private static final int IDLE_SECONDS = 10;

    private static final ThreadPoolExecutor THREADS = threads();

    private VectoredReads() {}

    private static ThreadPoolExecutor threads() {
        ThreadPoolExecutor threads = new ThreadPoolExecutor(MOST, MOST, IDLE_SECONDS, TimeUnit.SECONDS,
                new LinkedBlockingQueue<>(), task -> {
                    Thread thread = new Thread(task, "zolt vectored read");
                    thread.setDaemon(true);
                    return thread;
                });
        threads.allowCoreThreadTimeOut(true);
        return threads;
    }

    /** Has some threads do the same: each takes one range after the other, for to wake a thread takes as long as a read. */
    static void submit(int ranges, Runnable reads) {
        for (int i = 0; i < Math.min(ranges, MOST); i++) {
            THREADS.execute(reads);
        }
    }
}
