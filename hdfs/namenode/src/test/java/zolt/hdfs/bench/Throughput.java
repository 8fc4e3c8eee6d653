package zolt.hdfs.bench;

import java.io.IOException;
import java.security.PrivilegedExceptionAction;
import java.util.List;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.server.namenode.NNThroughputBenchmark;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.log4j.AppenderSkeleton;
import org.apache.log4j.Level;
import org.apache.log4j.Logger;
import org.apache.log4j.spi.LoggingEvent;

/** One run of Hadoop's own benchmark of a NameNode's calls, which tells what it does in its log. */
public class Throughput extends AppenderSkeleton {
    private static final long SAMPLE_MILLIS = 20;
    private static final long MOST_SECONDS = 120;
    /** How the log begins to tell of a call that has failed; the benchmark then never ends by itself. */
    private static final String FAILED_CALL = "StatsDaemon";

    private volatile String failedCall;
    private volatile String failure;

    /** Runs it to its end, or until one of its calls has failed. */
    public final void run(Configuration conf, UserGroupInformation user, List<String> arguments) throws Exception {
        Logger logger = Logger.getLogger(NNThroughputBenchmark.class);
        logger.addAppender(this);
        logger.setLevel(Level.INFO);
        logger.setAdditivity(false);
        try {
            Thread runner = new Thread(() -> runAs(conf, user, arguments));
            runner.setDaemon(true);
            runner.start();
            long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(MOST_SECONDS);
            while (runner.isAlive() && failedCall == null && System.nanoTime() < end) {
                runner.join(SAMPLE_MILLIS);
                sample();
            }
            if (runner.isAlive() || failedCall != null) {
                throw new AssertionError(arguments + ": " + (failedCall == null ? "it does not end" : failedCall));
            }
            if (failure != null) {
                throw new IOException(arguments + ": " + failure);
            }
        } finally {
            logger.removeAppender(this);
        }
    }

    private void runAs(Configuration conf, UserGroupInformation user, List<String> arguments) {
        try {
            user.doAs((PrivilegedExceptionAction<Void>) () -> {
                NNThroughputBenchmark.runBenchmark(conf, arguments.toArray(new String[0]));
                return null;
            });
        } catch (Exception e) {
            failure = e.toString();
        }
    }

    /** Called now and then while it runs. */
    protected void sample() {
        // Nothing is measured beside it.
    }

    /** Called with each line of its log. */
    protected void said(String line) {
        // Only failures count.
    }

    @Override
    protected final synchronized void append(LoggingEvent event) {
        String line = event.getRenderedMessage();
        if (line.startsWith(FAILED_CALL)) {
            failedCall = line;
        }
        said(line);
    }

    @Override
    public final void close() {
        // Nothing is held.
    }

    @Override
    public final boolean requiresLayout() {
        return false;
    }
}
