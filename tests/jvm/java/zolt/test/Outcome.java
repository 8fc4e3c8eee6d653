package zolt.test;

import java.nio.BufferOverflowException;
import java.util.Arrays;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;

/** What a call comes to: a value, or one exception with its class and text. Equal as text. */
public record Outcome(String text) {
    /** Answers without an exception. */
    public static final Outcome NOTHING = value(null);
    public static final Outcome ZERO = value(0);
    public static final Outcome TRUE = value(true);

    /** What a native of this type answers where it has nothing to say. */
    public static Outcome neutral(Class<?> type) {
        return type == boolean.class ? value(false) : type.isPrimitive() && type != void.class ? ZERO
                : NOTHING;
    }

    /** This value, or the exception of an errno that is not 0. */
    public static Outcome of(int errno, Object value, String said) {
        return errno == 0 ? value(value) : error(errno, said);
    }

    public static Outcome value(Object value) {
        return new Outcome(show(value));
    }

    public static Outcome thrown(Class<?> type, String message) {
        return new Outcome("throws " + type.getName() + ": " + message);
    }

    public static Outcome thrown(Throwable thrown) {
        return thrown(thrown.getClass(), thrown.getMessage());
    }

    /** The exception of an errno. */
    public static Outcome error(int errno, String message) {
        return thrown(Failure.of(errno, message));
    }

    public static Outcome attributeError(int errno, String operation, String name) {
        return thrown(Failure.ofAttribute(errno, operation, name));
    }

    private static Outcome thrown(Failure failure) {
        return thrown(failure.type(), failure.message());
    }

    public static Outcome overflow() {
        return thrown(BufferOverflowException.class, null);
    }

    public boolean isThrown() {
        return text.startsWith("throws ");
    }

    /** A value for a report, all of it. */
    public static String show(Object value) {
        if (value instanceof byte[] bytes) {
            return bytes.length + " bytes " + Arrays.toString(bytes);
        }
        if (value instanceof int[] ints) {
            return Arrays.toString(ints);
        }
        if (value instanceof Object[] objects) {
            return Arrays.toString(objects);
        }
        if (value instanceof Map<?, ?> map) {
            Map<String, String> shown = map.entrySet().stream().collect(Collectors.toMap(
                    each -> (String) each.getKey(), each -> show(each.getValue())));
            return new TreeMap<>(shown).toString();
        }
        return String.valueOf(value);
    }
}
