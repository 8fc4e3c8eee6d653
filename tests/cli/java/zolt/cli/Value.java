package zolt.cli;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** A strict reader of JSON (RFC 8259), to tell whether what was written is such. */
public final class Value {
    private final String text;
    private int at;

    private Value(String text) {
        this.text = text;
    }

    @SuppressWarnings("unchecked")
    public static Map<String, Object> object(String text) {
        Value value = new Value(text);
        Object read = value.value();
        if (value.at != text.length()) {
            throw value.wrong("more text");
        }
        return (Map<String, Object>) read;
    }

    private Object value() {
        char next = text.charAt(at);
        if (next == '{') {
            Map<String, Object> members = new LinkedHashMap<>();
            for (at++; text.charAt(at) != '}'; ) {
                String key = string();
                expect(':');
                if (members.put(key, value()) != null) {
                    throw wrong("twice " + key);
                }
                separator('}');
            }
            at++;
            return members;
        }
        if (next == '[') {
            List<Object> values = new ArrayList<>();
            for (at++; text.charAt(at) != ']'; ) {
                values.add(value());
                separator(']');
            }
            at++;
            return values;
        }
        if (next == '"') {
            return string();
        }
        for (Object[] word : new Object[][] {{"true", true}, {"false", false}, {"null", null}}) {
            if (text.startsWith((String) word[0], at)) {
                at += ((String) word[0]).length();
                return word[1];
            }
        }
        int start = at;
        while (at < text.length() && "-0123456789".indexOf(text.charAt(at)) >= 0) {
            at++;
        }
        return Long.valueOf(text.substring(start, at));
    }

    private void separator(char end) {
        if (text.charAt(at) == ',' && text.charAt(at + 1) != end) {
            at++;
        } else if (text.charAt(at) != end) {
            throw wrong("no separator");
        }
    }

    private void expect(char c) {
        if (text.charAt(at++) != c) {
            throw wrong("no " + c);
        }
    }

    private String string() {
        StringBuilder read = new StringBuilder();
        expect('"');
        while (text.charAt(at) != '"') {
            char c = text.charAt(at++);
            if (c < ' ' || Character.isSurrogate(c) && !isPaired(at - 1)) {
                throw wrong("a character that has to be escaped");
            }
            if (c != '\\') {
                read.append(c);
                continue;
            }
            char escaped = text.charAt(at++);
            if (escaped == 'u') {
                read.append((char) Integer.parseInt(text.substring(at, at + 4), 16));
                at += 4;
            } else if (escaped == '"' || escaped == '\\') {
                read.append(escaped);
            } else {
                throw wrong("an escape");
            }
        }
        at++;
        return read.toString();
    }

    private boolean isPaired(int index) {
        return Character.isHighSurrogate(text.charAt(index))
                ? Character.isLowSurrogate(text.charAt(index + 1))
                : Character.isHighSurrogate(text.charAt(index - 1));
    }

    private IllegalArgumentException wrong(String what) {
        return new IllegalArgumentException(what + " at " + at + " of " + text);
    }
}
