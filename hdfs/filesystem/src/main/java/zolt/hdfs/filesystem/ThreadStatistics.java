package zolt.hdfs.filesystem;

import org.apache.hadoop.fs.statistics.IOStatistics;
import org.apache.hadoop.fs.statistics.IOStatisticsAggregator;
import org.apache.hadoop.fs.statistics.IOStatisticsContext;

/** Where a stream tells what its thread has read and written. Hadoop 3.3.4, which Spark 3 ships, has no such place. */
final class ThreadStatistics {
    private static final boolean KNOWN = isKnown();

    private ThreadStatistics() {}

    private static boolean isKnown() {
        try {
            return Context.ofThread() != null;
        } catch (NoClassDefFoundError e) {
            return false;
        }
    }

    static IOStatisticsAggregator now() {
        return KNOWN ? Context.ofThread() : ThreadStatistics::ignore;
    }

    private static boolean ignore(IOStatistics statistics) {
        return false;
    }

    /** Names the class that may be missing. */
    private static final class Context {
        private Context() {}

        static IOStatisticsAggregator ofThread() {
            return IOStatisticsContext.getCurrentIOStatisticsContext().getAggregator();
        }
    }
}
