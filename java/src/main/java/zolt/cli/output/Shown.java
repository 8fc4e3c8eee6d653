package zolt.cli.output;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharsetDecoder;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;

/**
 * How people are shown what others have written: names, targets of links, holders, attributes.
 *
 * <p>What moves the cursor, changes the terminal or the order of its letters, or cannot be seen, stands
 * there byte by byte as a backslash and three octal digits, and so does a byte that is no UTF-8: as
 * {@code ls -b} has it, and getfacl(1).
 */
public final class Shown {
    /** The library's strings have a byte that is no UTF-8 as one of U+DC80 to U+DCFF. */
    private static final int BYTES = 0xdc00;
    private static final int FIRST_BYTE = 0xdc80;
    private static final int LAST_BYTE = 0xdcff;

    /** Without these two, some languages cannot be written. */
    private static final int NON_JOINER = 0x200c;
    private static final int JOINER = 0x200d;

    private Shown() {}

    /** A name by itself. A backslash is two, so that different names look different. */
    public static String name(String name) {
        return text(name, "\\");
    }

    public static String name(byte[] name, int length) {
        return name(decoded(name, length));
    }

    /** A line in which there are names, or values that have backslashes of their own. */
    public static String line(String line) {
        return text(line, "");
    }

    public static String line(byte[] line, int length) {
        return line(decoded(line, length));
    }

    /** Several lines with columns. */
    public static String lines(String lines) {
        StringBuilder shown = new StringBuilder(lines.length());
        for (String part : lines.split("(?<=[\t\n])|(?=[\t\n])")) {
            shown.append(part.equals("\t") || part.equals("\n") ? part : line(part));
        }
        return shown.toString();
    }

    /** Whether a character is left as it is. */
    public static boolean isPlain(int character) {
        switch (Character.getType(character)) {
            case Character.CONTROL:
            case Character.LINE_SEPARATOR:
            case Character.PARAGRAPH_SEPARATOR:
            case Character.SURROGATE:
            case Character.UNASSIGNED:
                return false;
            case Character.FORMAT:
                return character == NON_JOINER || character == JOINER;
            default:
                return true;
        }
    }

    /** The bytes of a character as a backslash and three octal digits each. */
    public static String octal(int character) {
        byte[] bytes = FIRST_BYTE <= character && character <= LAST_BYTE
                ? new byte[] {(byte) character}
                : new String(Character.toChars(character)).getBytes(StandardCharsets.UTF_8);
        StringBuilder digits = new StringBuilder();
        for (byte each : bytes) {
            digits.append(String.format("\\%03o", each & 0xff));
        }
        return digits.toString();
    }

    private static String text(String text, String doubled) {
        StringBuilder shown = new StringBuilder(text.length());
        text.codePoints().forEach(c -> {
            if (!isPlain(c)) {
                shown.append(octal(c));
            } else {
                shown.appendCodePoint(c);
                if (doubled.indexOf(c) >= 0) {
                    shown.appendCodePoint(c);
                }
            }
        });
        return shown.toString();
    }

    private static String decoded(byte[] bytes, int length) {
        CharsetDecoder decoder = StandardCharsets.UTF_8.newDecoder();
        ByteBuffer in = ByteBuffer.wrap(bytes, 0, length);
        CharBuffer out = CharBuffer.allocate(length);
        for (CoderResult result = decoder.decode(in, out, true); result.isError();
                result = decoder.decode(in, out, true)) {
            for (int left = result.length(); left > 0; left--) {
                out.put((char) (BYTES | in.get() & 0xff));
            }
        }
        out.flip();
        return out.toString();
    }
}
