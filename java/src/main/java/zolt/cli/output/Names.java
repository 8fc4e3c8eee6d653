package zolt.cli.output;

import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.CharsetDecoder;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;
import java.nio.file.Paths;

/** Names of files as text. */
public final class Names {
    public static final String UNREACHABLE = "a name that is no UTF-8, or has a character beyond U+FFFF, can"
            + " be listed but not reached";

    private static final int BYTES = 0xdc00;
    private static final int FIRST_BYTE = 0xdc80;
    private static final int LAST_BYTE = 0xdcff;

    private Names() {}

    /** The name as text, or null where its bytes are no UTF-8. */
    public static String decode(byte[] name, int length) {
        try {
            return StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(name, 0, length))
                    .toString();
        } catch (CharacterCodingException e) {
            return null;
        }
    }

    /** The name as text for people: a byte that is no UTF-8 is one of U+DC80 to U+DCFF, as in the library's strings. */
    public static String text(byte[] name, int length) {
        CharsetDecoder decoder = StandardCharsets.UTF_8.newDecoder();
        ByteBuffer in = ByteBuffer.wrap(name, 0, length);
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

    /** The bytes of such a text. */
    public static byte[] bytes(String text) {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        text.codePoints().forEach(c -> {
            byte[] each = isByte(c) ? new byte[] {(byte) c}
                    : new String(Character.toChars(c)).getBytes(StandardCharsets.UTF_8);
            bytes.write(each, 0, each.length);
        });
        return bytes.toByteArray();
    }

    /** Whether there is a byte in a text that is no UTF-8. */
    public static boolean hasBytes(String text) {
        return text.codePoints().anyMatch(Names::isByte);
    }

    static boolean isByte(int character) {
        return FIRST_BYTE <= character && character <= LAST_BYTE;
    }

    /** The path from the root on, with the slash at its end, which says that it is a directory's. */
    public static String absolute(String path) {
        String absolute = Paths.get(path).toAbsolutePath().toString();
        return path.endsWith("/") && !absolute.endsWith("/") ? absolute + "/" : absolute;
    }

    public static String join(String directory, String name) {
        return directory.endsWith("/") ? directory + name : directory + "/" + name;
    }
}
