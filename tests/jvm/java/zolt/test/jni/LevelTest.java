package zolt.test.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.test.Binding;
import zolt.test.Failing;
import zolt.test.Frame;
import zolt.test.Level;
import zolt.test.Log;

/** The threshold that the library derives from the Java logger, and what then gets through. */
class LevelTest {
    private static final Map<Level, Integer> THRESHOLDS = Map.of(Level.TRACE, 0, Level.DEBUG, 1,
            Level.INFO, 3, Level.WARN, 3, Level.ERROR, 4, Level.OFF, 5);

    private final int[] loaded = {77, 77, 77};

    @BeforeEach
    void clear() {
        Binding.load();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Log.throwing(null);
        Log.answering(null);
        Binding.load();
    }

    @Test
    void theThresholdFollowsTheJavaLoggerWithWarnAskedBeforeInfo() {
        assertEquals(THRESHOLDS.get(Log.javaLevel()), Frame.threshold());
    }

    @Test
    void loadingSaysSoWhereTheLevelIsDebugOrTrace() {
        Binding.load("nothing", 0, loaded);
        assertArrayEquals(new int[] {0x10006, THRESHOLDS.get(Log.javaLevel()), 1}, loaded);
        Log.expect(Level.DEBUG, "libzolthadoop initializing", "libacl.so loaded");
        Log.lines().stream().limit(1)
                .forEach(line -> assertEquals("JNI_OnLoad", line.function()));
    }

    @Test
    void theLoggerIsAskedUntilItSaysYes() {
        Level[] order = {Level.TRACE, Level.DEBUG, Level.WARN, Level.INFO, Level.ERROR};
        for (int asked = 1; asked <= order.length; asked++) {
            Level only = order[asked - 1];
            Log.answering(level -> level == only || level == Level.DEBUG && only == Level.TRACE);
            Log.clear();
            Binding.load("nothing", 0, loaded);
            assertArrayEquals(new int[] {0x10006, only.ordinal(), 1}, loaded);
            assertEquals(List.of(order).subList(0, asked), Log.questions());
        }
        Log.answering(level -> false);
        Log.clear();
        Binding.load("nothing", 0, loaded);
        assertArrayEquals(new int[] {0x10006, 5, 1}, loaded);
        assertEquals(List.of(order), Log.questions());
    }

    @Test
    void aLoggerThatThrowsAtAnyQuestionIsNotLoggedTo() {
        RuntimeException fromLogger = new IllegalStateException("logger");
        for (Level throwing : List.of(Level.TRACE, Level.WARN, Level.ERROR)) {
            Log.answering(level -> {
                if (level == throwing) {
                    throw fromLogger;
                }
                return false;
            });
            Log.clear();
            assertSame(fromLogger, assertThrows(IllegalStateException.class,
                    () -> Binding.load("nothing", 0, loaded)));
            assertArrayEquals(new int[] {0x10006, 5, 1}, loaded);
            assertEquals(throwing, Log.questions().get(Log.questions().size() - 1));
        }
    }

    @Test
    void aLoggerThatThrowsAtTheFirstLineIsLoggedToAllTheSame() {
        RuntimeException fromLogger = new IllegalStateException("logger");
        Log.answering(level -> true);
        Log.throwing(fromLogger);
        assertSame(fromLogger, assertThrows(IllegalStateException.class,
                () -> Binding.load("nothing", 0, loaded)));
        assertArrayEquals(new int[] {0x10006, 0, 1}, loaded);
        assertEquals(List.of("libzolthadoop initializing", "libacl.so loaded"),
                Log.bodies(Level.DEBUG));
    }

    @Test
    void eachLevelReachesItsOwnMethodOfTheLogger() {
        int level = 0;
        for (Level name : List.of(Level.TRACE, Level.DEBUG, Level.INFO, Level.WARN, Level.ERROR)) {
            if (Log.javaLevel().passes(name)) {
                Log.clear();
                Frame.log("text", level);
                assertEquals(List.of(new Log.Line(name, "text")), Log.lines());
            }
            level++;
        }
    }

    @Test
    void aLevelThatDoesNotExistReachesNoMethod() {
        for (int level : new int[] {-1, 5, 6, Integer.MIN_VALUE, Integer.MAX_VALUE}) {
            Failing.Taken taken = Failing.takenBy(() -> Frame.log("text", level));
            assertEquals(1, taken.references(), "the string is made");
            assertEquals(0, taken.referencesLeft());
        }
        assertEquals(List.of(), Log.lines());
    }
}
