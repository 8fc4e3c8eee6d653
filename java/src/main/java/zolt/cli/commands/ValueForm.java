package zolt.cli.commands;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Base64;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Names;

/** How values of attributes are written: as getfattr(1) and setfattr(1) do. */
enum ValueForm {
    text, hex, base64;

    private static final String HEX_MARK = "0x";
    private static final String BASE64_MARK = "0s";
    private static final String WRONG = " is no value in ";
    private static final int OCTAL_DIGITS = 3;
    private static final int RADIX_HEX = 16;
    private static final int RADIX_OCTAL = 8;

    /**
     * NAME=VALUE, one character a byte; without a form, as text when all but an eighth of it can be
     * printed.
     */
    static String line(ValueForm form, String name, byte[] value) {
        if (value.length == 0 && form != hex && form != base64) {
            return name + "=\"\"";
        }
        String start = new String(Names.bytes(name), StandardCharsets.ISO_8859_1)
                + "=";
        ValueForm chosen = form != null ? form : isPrintable(value) ? text : base64;
        switch (chosen) {
            case hex:
                StringBuilder digits = new StringBuilder(HEX_MARK);
                for (byte each : value) {
                    digits.append(String.format("%02x", each));
                }
                return start + digits;
            case base64:
                return start + BASE64_MARK + Base64.getEncoder().encodeToString(value);
            default:
                return start + quoted(value);
        }
    }

    /** A NUL at the end is that of a C string, and is not shown. */
    private static int textLength(byte[] value) {
        return value.length > 0 && value[value.length - 1] == 0 ? value.length - 1 : value.length;
    }

    private static boolean isPrintable(byte[] value) {
        int others = 0;
        int length = textLength(value);
        for (int at = 0; at < length; at++) {
            others += value[at] < ' ' || value[at] == 0x7f ? 1 : 0;
        }
        return length >= others * 8;
    }

    private static String quoted(byte[] value) {
        StringBuilder shown = new StringBuilder("\"");
        int length = textLength(value);
        for (int at = 0; at < length; at++) {
            char each = (char) (value[at] & 0xff);
            if (each == 0 || each == '\n' || each == '\r') {
                shown.append(String.format("\\%03o", (int) each));
            } else if (each == '"' || each == '\\') {
                shown.append('\\').append(each);
            } else {
                shown.append(each);
            }
        }
        return shown.append('"').toString();
    }

    /** The bytes of a value that a person has typed. */
    static byte[] parse(ValueForm form, String value) throws Failure {
        String start = value.length() >= 2 ? value.substring(0, 2).toLowerCase() : "";
        ValueForm meant = form != null ? form : start.equals(HEX_MARK) ? hex
                : start.equals(BASE64_MARK) ? base64 : text;
        switch (meant) {
            case hex:
                return hexBytes(start.equals(HEX_MARK) ? value.substring(2) : value);
            case base64:
                try {
                    return Base64.getDecoder().decode(start.equals(BASE64_MARK) ? value.substring(2)
                            : value);
                } catch (IllegalArgumentException e) {
                    throw new Failure(Exit.USAGE, value + WRONG + meant);
                }
            default:
                return textBytes(value);
        }
    }

    private static byte[] hexBytes(String digits) throws Failure {
        if (digits.length() % 2 != 0 || !digits.matches("[0-9a-fA-F]*")) {
            throw new Failure(Exit.USAGE, digits + WRONG + hex);
        }
        byte[] bytes = new byte[digits.length() / 2];
        for (int at = 0; at < bytes.length; at++) {
            bytes[at] = (byte) Integer.parseInt(digits.substring(2 * at, 2 * at + 2), RADIX_HEX);
        }
        return bytes;
    }

    /** In quotes, backslashes are read as they are written there; without, text is what it is. */
    private static byte[] textBytes(String value) {
        byte[] bytes = value.getBytes(StandardCharsets.UTF_8);
        if (value.length() < 2 || !value.startsWith("\"") || !value.endsWith("\"")) {
            return bytes;
        }
        byte[] plain = new byte[bytes.length];
        int used = 0;
        for (int at = 1; at < bytes.length - 1; at++) {
            byte each = bytes[at];
            if (each == '\\' && at + 1 < bytes.length - 1) {
                String digits = new String(bytes, at + 1, Math.min(OCTAL_DIGITS, bytes.length - 2 - at),
                        StandardCharsets.ISO_8859_1);
                if (digits.matches("[0-3][0-7]{2}")) {
                    each = (byte) Integer.parseInt(digits, RADIX_OCTAL);
                    at += OCTAL_DIGITS;
                } else {
                    each = bytes[++at];
                }
            }
            plain[used++] = each;
        }
        return Arrays.copyOf(plain, used);
    }
}
