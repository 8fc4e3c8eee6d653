package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.HashMap;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;

/**
 * A file whose attributes are looked at by Java's own library, and texts that stand for values, one
 * char a byte.
 */
abstract class XattrFixture extends Cleared {
    static final short ANY = 0;
    static final short CREATE = 1;
    static final short REPLACE = 2;

    @TempDir Path dir;
    Path file;
    String path;

    @BeforeEach
    void makeFile() throws IOException {
        file = Files.createFile(dir.resolve("file"));
        path = file.toString();
    }

    static byte[] bytes(String text) {
        return text.getBytes(ISO_8859_1);
    }

    /** Java's view leaves the "user." off the names. */
    private static UserDefinedFileAttributeView view(Path file) {
        return Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
    }

    private static String bare(String name) {
        assertEquals("user.", name.substring(0, 5));
        return name.substring(5);
    }

    static void store(Path file, String name, String value) throws IOException {
        view(file).write(bare(name), ByteBuffer.wrap(bytes(value)));
    }

    void store(String name, String value) throws IOException {
        store(file, name, value);
    }

    /** The value; null when there is none. */
    static String stored(Path file, String name) throws IOException {
        if (!view(file).list().contains(bare(name))) {
            return null;
        }
        ByteBuffer value = ByteBuffer.allocate(view(file).size(bare(name)));
        view(file).read(bare(name), value);
        return new String(value.array(), ISO_8859_1);
    }

    String stored(String name) throws IOException {
        return stored(file, name);
    }

    /** A map's values. */
    static Map<String, String> texts(HashMap<String, byte[]> map) {
        Map<String, String> texts = new HashMap<>();
        map.forEach((name, value) -> texts.put(name, new String(value, ISO_8859_1)));
        return texts;
    }

}
