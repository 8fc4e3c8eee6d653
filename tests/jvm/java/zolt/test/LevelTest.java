package zolt.test;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The threshold that the library derives from the Java logger, and what then gets through. */
class LevelTest {
    private static final Map<Level, Integer> THRESHOLDS = Map.of(Level.TRACE, 0, Level.DEBUG, 1,
            Level.INFO, 3, Level.WARN, 3, Level.ERROR, 4, Level.OFF, 5);

    @BeforeEach
    void clear() {
        Frame.threshold();
        Log.clear();
    }

    @Test
    void theThresholdFollowsTheJavaLoggerWithWarnAskedBeforeInfo() {
        assertEquals(THRESHOLDS.get(Log.javaLevel()), Frame.threshold());
    }

    @Test
    void loadingSaysSoWhereTheLevelIsDebugOrTrace() {
        assertArrayEquals(new int[] {0x10006, THRESHOLDS.get(Log.javaLevel())}, Frame.load());
        Log.expectAmong(Level.DEBUG, "libzolthadoop initializing");
        assertEquals(Frame.threshold() <= 1,
                Log.lines().stream().anyMatch(line -> line.function().equals("JNI_OnLoad")));
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
            Frame.log("text", level);
        }
        assertEquals(List.of(), Log.lines());
    }
}
