package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.sun.management.ThreadMXBean;
import java.lang.management.ManagementFactory;
import java.util.Set;
import org.junit.jupiter.api.function.Executable;

/** What calls take of the heap. */
final class Allocation {
    private static final int CALLS = 2000;
    private static final ThreadMXBean THREADS =
            (ThreadMXBean) ManagementFactory.getThreadMXBean();

    private Allocation() {}

    /** Expects that a body takes no more bytes each time than that, once it has been warm. */
    static void expectAtMost(int bytes, Executable body) throws Throwable {
        assumeTrue(Set.of("OFF", "INFO").contains(System.getProperty("zolt.test.level")),
                "log lines are objects");
        for (int call = 0; call < CALLS; call++) {
            body.execute();
        }
        long thread = Thread.currentThread().getId();
        long before = THREADS.getThreadAllocatedBytes(thread);
        for (int call = 0; call < CALLS; call++) {
            body.execute();
        }
        long taken = THREADS.getThreadAllocatedBytes(thread) - before;
        // What the measuring itself takes is shared by all calls.
        assertTrue(taken < (bytes + 1L) * CALLS, () -> taken + " bytes in " + CALLS + " calls");
    }
}
