package zolt.cli.output;

import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;

/** A signal asks long work to end: it finishes the step that it is at, says how far it came, and ends. */
public final class Stop {
    /** What work that says nothing else says then. */
    public static final String SAID = "stopped by a signal before the end";
    private static final int LONGEST_STEP_SECONDS = 5;

    private final CountDownLatch ended = new CountDownLatch(1);
    private volatile boolean asked;
    private boolean listening;

    /** From now on the machine does not end by a signal before the work has, or has taken too long. */
    public void listen() {
        if (!listening) {
            listening = true;
            Runtime.getRuntime().addShutdownHook(new Thread(this::ask, "stop"));
        }
    }

    public void ask() {
        asked = true;
        try {
            ended.await(LONGEST_STEP_SECONDS, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }

    public boolean isAsked() {
        return asked;
    }

    /** Says that the work is at its end. */
    public void end() {
        ended.countDown();
    }

    /** Where a signal has come, the machine ends with its number. */
    public void letEnd() {
        while (asked) {
            LockSupport.park();
        }
    }
}
