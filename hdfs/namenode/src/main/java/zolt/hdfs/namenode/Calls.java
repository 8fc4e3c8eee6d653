package zolt.hdfs.namenode;

import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.LongAdder;

/**
 * How often each call came, how long it took, and by which exception it was refused. Whose calls those were, and on which
 * paths, is not kept: the page that shows it is open to all.
 */
final class Calls {
    /** What one kind of call came to. */
    static final class Kind {
        private final LongAdder count = new LongAdder();
        private final LongAdder nanos = new LongAdder();
        private final LongAdder refused = new LongAdder();
        private volatile long slowest;
        private volatile String lastRefusal = "";

        long count() {
            return count.sum();
        }

        long refused() {
            return refused.sum();
        }

        long nanos() {
            return nanos.sum();
        }

        long slowestNanos() {
            return slowest;
        }

        String lastRefusal() {
            return lastRefusal;
        }
    }

    private final Map<String, Kind> kinds = new ConcurrentHashMap<>();

    void done(String call, long nanos, Throwable refusal) {
        Kind kind = kinds.computeIfAbsent(call, name -> new Kind());
        kind.count.increment();
        kind.nanos.add(nanos);
        if (nanos > kind.slowest) {
            kind.slowest = nanos;
        }
        if (refusal != null) {
            kind.refused.increment();
            kind.lastRefusal = refusal.getClass().getName();
        }
    }

    Map<String, Kind> kinds() {
        return kinds;
    }
}
