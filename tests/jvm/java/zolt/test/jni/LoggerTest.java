package zolt.test.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Frame;
import zolt.test.Level;
import zolt.test.Log;

/** What a log line may and may not change for the call that it reports on. */
class LoggerTest {
    private final RuntimeException fromLogger = new IllegalStateException("logger");

    @BeforeEach
    void clear() {
        Frame.threshold();
        Log.clear();
    }

    @AfterEach
    void stopThrowing() {
        Log.throwing(null);
    }

    @Test
    void aLineLeavesErrnoAlone() {
        assertEquals(Faults.EACCES, Frame.logKeepsErrno(Faults.EACCES));
        Log.expect(Level.ERROR, "between");
    }

    @Test
    void aPendingExceptionSurvivesALine() {
        RuntimeException e =
                assertThrows(RuntimeException.class, () -> Frame.logWhilePending("the cause"));
        assertEquals("the cause", e.getMessage());
        Log.expect(Level.ERROR, "while pending");
    }

    @Test
    void aPendingExceptionSurvivesALoggerThatThrows() {
        Log.throwing(fromLogger);
        RuntimeException e =
                assertThrows(RuntimeException.class, () -> Frame.logWhilePending("the cause"));
        assertEquals("the cause", e.getMessage());
    }

    @Test
    void withNonePendingWhatTheLoggerThrowsStays() {
        assumeTrue(Log.nativeThreshold().passes(Level.ERROR), "nothing is logged at this level");
        Log.throwing(fromLogger);
        assertSame(fromLogger, assertThrows(IllegalStateException.class, () -> Frame.log("x", 4)));
    }

    @Test
    void aNativeGoesOnAfterALoggerThrew() {
        if (Log.nativeThreshold().passes(Level.ERROR)) {
            Log.throwing(fromLogger);
            assertSame(fromLogger,
                    assertThrows(IllegalStateException.class, Frame::logThenMake));
            Log.throwing(null);
        }
        assertArrayEquals(new byte[] {'o', 'k'}, Frame.logThenMake());
    }

    @Test
    void aLineForWhichTheVirtualMachineHasNoMemoryIsNotLogged() {
        // logger2::log itself does not look at the threshold; its callers do.
        assertThrows(OutOfMemoryError.class,
                () -> Failing.run("NewStringUTF", 1, () -> Frame.log("x", 4)));
        assertEquals(List.of(), Log.lines());
    }

    /** The checks of the virtual machine are what fails here: NewByteArray with an error pending. */
    @Test
    void aNativeGoesOnAfterALineForWhichThereWasNoMemory() {
        Executable call = () -> Failing.run("a log line's NewStringUTF", 1, Frame::logThenMake);
        if (Log.nativeThreshold().passes(Level.ERROR)) {
            assertEquals("injected", assertThrows(OutOfMemoryError.class, call).getMessage());
        } else {
            assertDoesNotThrow(call);
        }
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void anErrorOfTheNativesOwnTakesThePlaceOfWhatTheLoggerThrew() {
        Log.throwing(fromLogger);
        assertThrows(OutOfMemoryError.class,
                () -> Failing.run("NewByteArray", 1, Frame::logThenMake));
    }

    @Test
    void aThreadThatTheVirtualMachineDoesNotKnowLogsNothing() {
        Frame.logUnattached("x");
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void aLineLeavesNoReferenceBehind() {
        assumeTrue(Log.nativeThreshold().passes(Level.ERROR), "nothing is logged at this level");
        Failing.Taken taken = Failing.takenBy(() -> Frame.log("x", 4));
        assertEquals(1, taken.references());
        assertEquals(0, taken.referencesLeft());
        taken = Failing.takenBy(() -> assertThrows(RuntimeException.class,
                () -> Frame.logWhilePending("x")));
        assertEquals(2, taken.references(), "the line and the exception set aside");
        assertEquals(0, taken.referencesLeft());
    }

    @Test
    void bytesPassAsTheyAre() {
        assumeTrue(Log.javaLevel().passes(Level.ERROR), "the recorder takes nothing at this level");
        String text = "a\u0000b \u00e9 \u4e2d \ud83d\ude00 \ud800";
        Frame.log(text, 4);
        assertEquals(List.of(new Log.Line(Level.ERROR, text)), Log.lines());
    }
}
