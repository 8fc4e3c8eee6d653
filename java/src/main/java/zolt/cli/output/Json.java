package zolt.cli.output;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Base64;
import java.util.List;

/**
 * A JSON object (RFC 8259) that is written as it is filled.
 *
 * <p>A name that is no UTF-8 has no text. It stands there with U+FFFD for each byte that is none, and a
 * second member, its name with "Base64" behind, has the exact bytes. That member is there only then.
 */
public final class Json {
    private final StringBuilder text = new StringBuilder("{");

    public Json put(String key, String value) {
        if (value != null && Names.hasBytes(value)) {
            return put(key, Names.bytes(value));
        }
        key(key);
        if (value == null) {
            text.append("null");
        } else {
            quote(value);
        }
        return this;
    }

    public Json put(String key, long value) {
        key(key).append(value);
        return this;
    }

    public Json put(String key, boolean value) {
        key(key).append(value);
        return this;
    }

    /** Bytes that are text as a rule: a name, a link's target, an attribute. */
    public Json put(String key, byte[] bytes) {
        return put(key, bytes, bytes.length);
    }

    public Json put(String key, byte[] bytes, int length) {
        String decoded = Names.decode(bytes, length);
        if (decoded != null) {
            return put(key, decoded);
        }
        return put(key, new String(bytes, 0, length, StandardCharsets.UTF_8)).put(key + "Base64",
                Base64.getEncoder().encodeToString(Arrays.copyOf(bytes, length)));
    }

    public Json put(String key, List<?> values) {
        key(key).append('[');
        String separator = "";
        for (Object value : values) {
            text.append(separator);
            if (value instanceof String) {
                quote((String) value);
            } else {
                text.append(value); // a number, or an object of this class
            }
            separator = ",";
        }
        text.append(']');
        return this;
    }

    public Json put(String key, Json value) {
        key(key).append(value);
        return this;
    }

    private StringBuilder key(String key) {
        if (text.length() > 1) {
            text.append(',');
        }
        quote(key);
        return text.append(':');
    }

    private void quote(String value) {
        text.append('"');
        value.codePoints().forEach(c -> {
            if (c == '"' || c == '\\') {
                text.append('\\').append((char) c);
            } else if (Shown.isPlain(c)) {
                text.appendCodePoint(c);
            } else {
                for (char each : Character.toChars(c)) {
                    text.append(String.format("\\u%04x", (int) each));
                }
            }
        });
        text.append('"');
    }

    static List<Long> numbers(int... values) {
        List<Long> list = new ArrayList<>(values.length);
        for (int value : values) {
            list.add((long) value);
        }
        return list;
    }

    @Override
    public String toString() {
        return text + "}";
    }
}
