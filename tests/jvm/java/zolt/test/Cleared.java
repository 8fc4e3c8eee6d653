package zolt.test;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrowsExactly;

import java.io.IOException;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.function.Executable;

/** A test before and after which no fault is armed, no logger throws, and no listing is open. */
public abstract class Cleared {
    @BeforeEach
    protected void clearAll() throws IOException {
        restoreAll();
        Log.clear();
    }

    @AfterEach
    protected void restoreAll() throws IOException {
        Log.throwing(null);
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        ZOLTNative.getDirentsNative("", null, false, true);
    }

    /** Just this exception. */
    public static void expect(Class<? extends Throwable> type, String message, Executable call) {
        assertEquals(message, assertThrowsExactly(type, call).getMessage());
    }

    public static void expectNoMemory(Executable call) {
        expect(RuntimeException.class, "Cannot allocate memory: ", call);
    }

    /** A call during which the logger throws on every line. */
    public static Executable withThrowingLogger(Executable call) {
        return () -> {
            Log.throwing(new IllegalStateException("logger"));
            try {
                call.execute();
            } finally {
                Log.throwing(null);
            }
        };
    }
}
