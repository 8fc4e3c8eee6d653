package zolt.hdfs.namenode;

import java.io.IOException;
import java.time.Duration;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.atomic.LongAdder;
import org.apache.hadoop.fs.permission.FsAction;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.fs.AclEntry;
import zolt.fs.PathFailure;
import zolt.fs.PathFailure.Access;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Caller;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.RefusalListener;
import zolt.hdfs.namespace.Remembered;
import zolt.hdfs.namespace.Root;

/**
 * Why the kernel refused a caller, in words: in the log with names and paths, and without them for the page, which is open
 * to all. A thread of its own looks for the reason, so that no call waits; what comes faster than it can look is counted,
 * and of one caller and path it says the same once a minute.
 */
final class RefusalWords implements RefusalListener, AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(RefusalWords.class);

    private static final int MOST_WAITING = 100;
    private static final int MOST_REMEMBERED = 1000;
    /** Between two looks: a flood of refusals costs no processor. */
    private static final long PAUSE_MILLIS = 50;
    static final String NOT_LOOKED_AT = "not looked at: too many at once";

    private record Refusal(Caller caller, HdfsPath path, Access access) {}

    private final Root root;
    private final BlockingQueue<Refusal> waiting = new ArrayBlockingQueue<>(MOST_WAITING);
    private final Remembered<Refusal, Boolean> said = new Remembered<>(MOST_REMEMBERED, Duration.ofMinutes(1));
    private final Map<String, LongAdder> reasons = new ConcurrentSkipListMap<>();
    private final Thread thread = new Thread(this::work, "refusals");

    RefusalWords(Root root) {
        this.root = root;
        thread.setDaemon(true);
        thread.start();
    }

    @Override
    public void refused(Caller caller, HdfsPath path, FsAction wanted) {
        if (!waiting.offer(new Refusal(caller, path, access(wanted)))) {
            count(NOT_LOOKED_AT);
        }
    }

    /** The kernel was asked for one of them first; to write is what is granted least. */
    private static Access access(FsAction wanted) {
        return wanted.implies(FsAction.WRITE) ? Access.WRITE : wanted.implies(FsAction.READ) ? Access.READ
                : wanted.implies(FsAction.EXECUTE) ? Access.EXECUTE : Access.LOOK;
    }

    /** How often each reason was found. */
    Map<String, LongAdder> reasons() {
        return reasons;
    }

    private void count(String reason) {
        reasons.computeIfAbsent(reason, key -> new LongAdder()).increment();
    }

    private void work() {
        try {
            for (;;) {
                explain(waiting.take());
                Thread.sleep(PAUSE_MILLIS);
            }
        } catch (InterruptedException e) {
            LOG.debug("No refusal is explained any more");
        }
    }

    private void explain(Refusal refusal) {
        try {
            Optional<PathFailure> failure = find(refusal);
            count(failure.map(RefusalWords::withoutNames).orElse("not refused any more"));
            if (failure.isPresent() && said.get(refusal) == null) {
                said.put(refusal, true);
                String words = root.asKnown(failure.get().explain());
                LOG.info("Refused: {}", words.replaceAll("\\p{Cntrl}", "?"));
            }
        } catch (IOException | RuntimeException e) {
            count("not to be found out");
            LOG.debug("It cannot be found out why {} is refused", refusal, e);
        }
    }

    private Optional<PathFailure> find(Refusal refusal) throws IOException {
        try (Acting as = Acting.as(refusal.caller())) {
            return PathFailure.of(root.path() + refusal.path(), refusal.access());
        }
    }

    private static String withoutNames(PathFailure failure) {
        Optional<AclEntry> entry = failure.decidingEntry();
        return entry.isPresent()
                ? words(failure.refused().orElseThrow()) + ": " + words(entry.get().type()) + " has "
                        + AclEntry.letters(entry.get().permissions())
                : words(failure.reason());
    }

    private static String words(Enum<?> name) {
        return name.name().toLowerCase(Locale.ROOT).replace('_', ' ');
    }

    @Override
    public void close() {
        thread.interrupt();
    }
}
