package zolt.cli.output;

import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;

/** Names of files as text. */
public final class Names {
    public static final String UNREACHABLE = "a name that is no UTF-8, or has a character beyond U+FFFF, can"
            + " be listed but not reached";

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

    public static String join(String directory, String name) {
        return directory.endsWith("/") ? directory + name : directory + "/" + name;
    }
}
