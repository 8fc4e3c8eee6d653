package zolt.cli.output;

import java.nio.charset.StandardCharsets;

/**
 * How people are shown what others have written: names, targets of links, holders, attributes.
 *
 * <p>What moves the cursor, changes the terminal or the order of its letters, or cannot be seen, stands
 * there byte by byte as a backslash and three octal digits, and so does a byte that is no UTF-8: as
 * {@code ls -b} has it, and getfacl(1).
 */
public final class Shown {
    /** Without these two, some languages cannot be written. */
    private static final int NON_JOINER = 0x200c;
    private static final int JOINER = 0x200d;

    /**
     * Letters and marks without a shape (Unicode, Default_Ignorable_Code_Point): a joiner of graphemes, the fillers
     * of Hangul, vowels of Khmer, selectors of Mongolian; and the pattern of Braille that has no dots.
     */
    private static final String UNSEEN = "\u034f\u115f\u1160\u3164\uffa0\u17b4\u17b5\u180b\u180c\u180d\u180f\u2800";
    private static final int FIRST_SELECTOR = 0xfe00;
    private static final int LAST_SELECTOR = 0xfe0f;
    private static final int FIRST_MORE_SELECTOR = 0xe0100;
    private static final int LAST_MORE_SELECTOR = 0xe01ef;

    private Shown() {}

    /**
     * A name by itself, or a message, whose own words have no backslash. One in a name is two, so that different
     * names look different.
     */
    public static String name(String name) {
        return text(name, "\\");
    }

    public static String name(byte[] name, int length) {
        return name(Names.text(name, length));
    }

    /** A line with backslashes of its own: a value, or a command for a shell. */
    public static String line(String line) {
        return text(line, "");
    }

    public static String line(byte[] line, int length) {
        return line(Names.text(line, length));
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
            case Character.SPACE_SEPARATOR:
                return character == ' ';
            case Character.FORMAT:
                return character == NON_JOINER || character == JOINER;
            default:
                return UNSEEN.indexOf(character) < 0 && !(FIRST_SELECTOR <= character && character <= LAST_SELECTOR)
                        && !(FIRST_MORE_SELECTOR <= character && character <= LAST_MORE_SELECTOR);
        }
    }

    /** The bytes of a character as a backslash and three octal digits each. */
    public static String octal(int character) {
        byte[] bytes = Names.isByte(character) ? new byte[] {(byte) character}
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
}
