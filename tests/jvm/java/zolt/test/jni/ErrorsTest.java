package zolt.test.jni;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static zolt.test.Cleared.expect;

import java.io.IOException;
import java.nio.BufferOverflowException;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;
import java.util.Arrays;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Failing;
import zolt.test.Frame;
import zolt.test.Level;
import zolt.test.Log;

/** From errno and from C++ exceptions to Java exceptions. */
class ErrorsTest {
    private static final Map<Integer, Class<? extends Exception>> CLASSES = Map.of(
            1, AccessDeniedException.class,
            2, NoSuchFileException.class,
            12, RuntimeException.class,
            13, AccessDeniedException.class);

    @BeforeEach
    void clear() {
        Frame.threshold();
        Log.clear();
    }

    private static Throwable thrown(Executable call) {
        return assertThrows(Throwable.class, call);
    }

    @Test
    void everyErrnoHasItsClass() {
        for (int errno = -1; errno <= 140; errno++) {
            int code = errno;
            Throwable thrown = thrown(() -> Frame.handleError(code, "x".getBytes(UTF_8)));
            assertSame(CLASSES.getOrDefault(errno, IOException.class), thrown.getClass(), "" + errno);
        }
    }

    @Test
    void theTextIsTheSystemsAndTheMessage() {
        expect(NoSuchFileException.class, "No such file or directory: lstat /a/b",
                () -> Frame.handleError(2, "lstat /a/b".getBytes(UTF_8)));
        expect(IOException.class, "Invalid argument: ", () -> Frame.handleError(22, new byte[0]));
        expect(IOException.class, "Success: x", () -> Frame.handleError(0, new byte[] {'x'}));
        expect(IOException.class, "Unknown error 4711: x",
                () -> Frame.handleError(4711, new byte[] {'x'}));
    }

    /** Short ones and long ones are put together in different places. */
    @Test
    void aTextIsWholeAtAnyLength() {
        for (int length = 450; length < 530; length++) {
            byte[] message = new byte[length];
            Arrays.fill(message, (byte) 'x');
            message[length - 1] = 'y';
            expect(IOException.class, "Invalid argument: " + new String(message, UTF_8),
                    () -> Frame.handleError(22, message));
            String name = "x".repeat(length - 1) + "y";
            expect(IOException.class, "Invalid argument: setxattr failed for " + name,
                    () -> Frame.handleXattrError(22, "setxattr", name));
        }
    }

    @Test
    void theFileOfAFileExceptionIsTheWholeText() {
        NoSuchFileException e = assertThrows(NoSuchFileException.class,
                () -> Frame.handleError(2, new byte[] {'x'}));
        assertEquals("No such file or directory: x", e.getFile());
        assertNull(e.getReason());
    }

    @Test
    void theTextIsLoggedAtDebugByHandleError() {
        thrown(() -> Frame.handleError(2, "lstat /a/b".getBytes(UTF_8)));
        Log.expect(Level.DEBUG, "No such file or directory: lstat /a/b");
        Log.lines().forEach(line -> assertEquals("handle_error", line.function()));
    }

    @Test
    void aMessageOfAnyBytesBecomesSomeText() {
        byte[] all = new byte[255];
        for (int i = 0; i < all.length; i++) {
            all[i] = (byte) (i + 1);
        }
        assertSame(IOException.class, thrown(() -> Frame.handleError(5, all)).getClass());
        assertSame(IOException.class,
                thrown(() -> Frame.handleError(5, new byte[] {(byte) 0xe2, (byte) 0x82})).getClass());
    }

    @Test
    void attributeErrorsAreWordedByTheFirstRuleThatFits() {
        Object[][] rules = {
            {17, "", "File exists: setxattr failed"},
            {61, "", "No data available: setxattr failed"},
            {5, "", "Input/output error: setxattr failed"},
            {17, "user.a", "File exists: user.a already exists"},
            {61, "user.a", "No data available: user.a does not exist"},
            {95, "user.a", "Operation not supported: setxattr failed for user.a"},
        };
        for (Object[] rule : rules) {
            expect(IOException.class, (String) rule[2],
                    () -> Frame.handleXattrError((Integer) rule[0], "setxattr", (String) rule[1]));
        }
        expect(AccessDeniedException.class, "Permission denied: removexattr failed for user.a",
                () -> Frame.handleXattrError(13, "removexattr", "user.a"));
    }

    @Test
    void noCxxExceptionLeavesANative() {
        expect(NoSuchFileException.class, "No such file or directory: /a",
                () -> Frame.raise("IOException", "/a"));
        expect(IOException.class, "Buffer overflow: current pos 0 seek 4",
                () -> Frame.raise("out_of_range", "Buffer overflow: current pos 0 seek 4"));
        expect(IOException.class, "too long", () -> Frame.raise("length_error", "too long"));
        expect(BufferOverflowException.class, null, () -> Frame.raise("overflow_error", "claim"));
        expect(RuntimeException.class, "Cannot allocate memory: ",
                () -> Frame.raise("bad_alloc", ""));
        expect(RuntimeException.class, "what", () -> Frame.raise("runtime_error", "what"));
        expect(RuntimeException.class, "unknown exception", () -> Frame.raise("unknown", ""));
    }

    @Test
    void whatTheBoundaryStopsIsLoggedAtError() {
        for (String kind : new String[] {"out_of_range", "overflow_error", "runtime_error"}) {
            Log.clear();
            thrown(() -> Frame.raise(kind, "text of " + kind));
            Log.expect(Level.ERROR, "text of " + kind);
        }
        Log.clear();
        thrown(() -> Frame.raise("bad_alloc", ""));
        Log.expect(Level.ERROR, "out of memory");
        Log.clear();
        thrown(() -> Frame.raise("unknown", ""));
        Log.expect(Level.ERROR, "unknown exception");
        Log.clear();
        thrown(() -> Frame.raise("IOException", "x"));
        Log.expect(Level.ERROR);
    }

    @Test
    void theLaterExceptionReplacesTheEarlier() {
        for (String kind : new String[] {"IOException", "out_of_range", "overflow_error",
                "bad_alloc", "runtime_error", "unknown"}) {
            Throwable thrown = thrown(() -> Frame.raiseOver(kind, "the later one"));
            Throwable alone = thrown(() -> Frame.raise(kind, "the later one"));
            assertSame(alone.getClass(), thrown.getClass());
            assertEquals(alone.getMessage(), thrown.getMessage());
        }
    }

    private static void expectNoMemory(String function, String kind) {
        expect(OutOfMemoryError.class, "injected",
                () -> Failing.run(function, 1, () -> Frame.raise(kind, "x")));
    }

    @Test
    void whatTheVirtualMachineCannotMakeIsItsOwnError() {
        for (String kind : new String[] {"IOException", "out_of_range", "bad_alloc",
                "runtime_error", "unknown"}) {
            expectNoMemory("ThrowNew", kind);
        }
        expectNoMemory("NewObject", "overflow_error");
        expectNoMemory("GetMethodID", "overflow_error");
    }

    @Test
    void whatCannotEvenBeSaidIsAsIfThereWereNoMemory() {
        expect(RuntimeException.class, "Cannot allocate memory: ", () -> Frame.raise("Mute", ""));
    }

    @Test
    void raisingLeavesNoReferenceBehind() {
        for (String kind : new String[] {"IOException", "out_of_range", "overflow_error"}) {
            Failing.Taken taken = Failing.takenBy(() -> thrown(() -> Frame.raise(kind, "x")));
            assertEquals(0, taken.referencesLeft(), kind);
        }
    }
}
