package zolt.test.walk;

import java.util.Arrays;
import java.util.HexFormat;
import java.util.Map;
import java.util.TreeMap;

/**
 * How a call ended: what it answered or threw, how it left what it works on, which identity the
 * thread has, and how many streams and allocations it holds more than before.
 */
record Ending(String answer, String state, String identity, int streams, int allocations) {
    static String thrown(Class<?> type, String message) {
        return type.getName() + ": " + message;
    }

    static String thrown(Throwable thrown) {
        return thrown(thrown.getClass(), thrown.getMessage());
    }

    /** An answer as a text, its bytes as hexadecimal digits. */
    static String text(Object answer) {
        if (answer instanceof byte[] bytes) {
            return HexFormat.of().formatHex(bytes);
        }
        if (answer instanceof int[] ints) {
            return Arrays.toString(ints);
        }
        if (answer instanceof Map<?, ?> map) {
            Map<String, String> texts = new TreeMap<>();
            map.forEach((key, value) -> texts.put(text(key), text(value)));
            return texts.toString();
        }
        return String.valueOf(answer);
    }

    Ending answering(String other) {
        return new Ending(other, state, identity, streams, allocations);
    }

    Ending leaving(String other) {
        return new Ending(answer, other, identity, streams, allocations);
    }

    Ending as(String other) {
        return new Ending(answer, state, other, streams, allocations);
    }

    Ending streams(int other) {
        return new Ending(answer, state, identity, other, allocations);
    }

    Ending allocations(int other) {
        return new Ending(answer, state, identity, streams, other);
    }
}
