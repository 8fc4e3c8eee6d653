package zolt.test;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.function.Predicate;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

/**
 * What the library logs on the current thread.
 *
 * <p>The suite runs in virtual machines of different levels, and a test does not know in which one it
 * is: a line is expected exactly where the native threshold lets it through, and nowhere else.
 */
public final class Log {
    private static final Level JAVA_LEVEL =
            Level.valueOf(System.getProperty("zolt.test.level", "OFF").toUpperCase(Locale.ROOT));
    private static final ThreadLocal<List<Line>> LINES = ThreadLocal.withInitial(ArrayList::new);
    private static final ThreadLocal<RuntimeException> TO_THROW = new ThreadLocal<>();
    private static final ThreadLocal<Integer> ONLY_LINE = ThreadLocal.withInitial(() -> 0);
    private static final ThreadLocal<Predicate<Level>> ANSWERS =
            ThreadLocal.withInitial(() -> JAVA_LEVEL::passes);
    private static final ThreadLocal<List<Level>> QUESTIONS =
            ThreadLocal.withInitial(ArrayList::new);
    private static final Pattern LINE = Pattern.compile("@([\\w~]+):\\d+ (.*)", Pattern.DOTALL);

    private Log() {}

    public record Line(Level level, String text) {
        /** The text without "@function:line "; only the list of a thread's groups has none. */
        public String body() {
            return text.contains("(dump group ids):") ? text : part(2);
        }

        public String function() {
            return part(1);
        }

        private String part(int group) {
            Matcher matcher = LINE.matcher(text);
            assertTrue(matcher.matches(), () -> "no prefix: " + text);
            return matcher.group(group);
        }
    }

    public static Level javaLevel() {
        return JAVA_LEVEL;
    }

    /** The threshold that the library takes from the level: at INFO it is WARN. */
    public static Level nativeThreshold() {
        return JAVA_LEVEL == Level.INFO ? Level.WARN : JAVA_LEVEL;
    }

    static void record(Level level, String text) {
        LINES.get().add(new Line(level, text));
        RuntimeException thrown = TO_THROW.get();
        int only = ONLY_LINE.get();
        if (thrown != null && (only == 0 || only == LINES.get().size())) {
            throw thrown;
        }
    }

    /** The logger's answer to a question of the library, whether a level is enabled. */
    static boolean isEnabled(Level level) {
        QUESTIONS.get().add(level);
        return ANSWERS.get().test(level);
    }

    /** From now on, the logger answers so on this thread, and takes such lines; null ends that. */
    public static void answering(Predicate<Level> answers) {
        if (answers == null) {
            ANSWERS.remove();
        } else {
            ANSWERS.set(answers);
        }
    }

    /** Whether the library may log at that level. */
    public static boolean takes(Level level) {
        return ANSWERS.get().test(level);
    }

    /** The levels that the library asked for since the last clear, in that order. */
    public static List<Level> questions() {
        return List.copyOf(QUESTIONS.get());
    }

    /** From now on, logging on this thread throws; null ends that. */
    public static void throwing(RuntimeException thrown) {
        throwing(0, thrown);
    }

    /** What is being thrown; null for nothing. */
    public static RuntimeException throwing() {
        return TO_THROW.get();
    }

    /** The same for one line, counted from 1 since the last clear; 0: every one. */
    public static void throwing(int line, RuntimeException thrown) {
        TO_THROW.set(thrown);
        ONLY_LINE.set(line);
    }

    /** Forgets this thread's lines. Call it before the call whose lines count. */
    public static void clear() {
        LINES.get().clear();
        QUESTIONS.get().clear();
    }

    public static List<Line> lines() {
        return List.copyOf(LINES.get());
    }

    public static List<String> bodies(Level level) {
        return lines().stream()
                .filter(line -> line.level() == level)
                .map(Line::body)
                .collect(Collectors.toList());
    }

    /** Exactly these bodies at that level where it is on; none where it is off. */
    public static void expect(Level level, String... bodies) {
        assertEquals(nativeThreshold().passes(level) ? List.of(bodies) : List.of(), bodies(level));
    }

    /** Among the lines of that level one with this body, where it is on; no such line otherwise. */
    public static void expectAmong(Level level, String body) {
        assertEquals(nativeThreshold().passes(level), bodies(level).contains(body), () -> "" + lines());
    }

    /** The same with a regular expression for the whole body. */
    public static void expectMatch(Level level, String regex) {
        assertEquals(nativeThreshold().passes(level),
                bodies(level).stream().anyMatch(body -> body.matches(regex)), () -> "" + lines());
    }

    public static void expectNothingAbove(Level level) {
        assertTrue(lines().stream().allMatch(line -> line.level().ordinal() <= level.ordinal()),
                () -> "" + lines());
    }
}
