package zolt.test.hostile;

import java.nio.BufferOverflowException;
import java.util.Arrays;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;
import zolt.test.Failure;

/** What a call comes to: a value, or one exception with its class and text. Equal as text. */
record Outcome(String text) {
    /** The neutral answers without an exception. */
    static final Outcome NOTHING = value(null);
    static final Outcome ZERO = value(0);
    static final Outcome FALSE = value(false);

    static Outcome value(Object value) {
        return new Outcome(show(value));
    }

    static Outcome thrown(Class<?> type, String message) {
        return new Outcome("throws " + type.getName() + ": " + message);
    }

    static Outcome thrown(Throwable thrown) {
        return thrown(thrown.getClass(), thrown.getMessage());
    }

    /** The exception of an errno. */
    static Outcome error(int errno, String message) {
        return thrown(Failure.of(errno, message));
    }

    static Outcome attributeError(int errno, String operation, String name) {
        return thrown(Failure.ofAttribute(errno, operation, name));
    }

    private static Outcome thrown(Failure failure) {
        return thrown(failure.type(), failure.message());
    }

    static Outcome overflow() {
        return thrown(BufferOverflowException.class, null);
    }

    boolean isThrown() {
        return text.startsWith("throws ");
    }

    private static String show(Object value) {
        if (value instanceof byte[] bytes) {
            return bytes.length + " bytes " + Arrays.toString(bytes);
        }
        if (value instanceof int[] ints) {
            return Arrays.toString(ints);
        }
        if (value instanceof Map<?, ?> map) {
            Map<String, String> shown = map.entrySet().stream().collect(Collectors.toMap(
                    each -> (String) each.getKey(), each -> show(each.getValue())));
            return new TreeMap<>(shown).toString();
        }
        return String.valueOf(value);
    }
}
