package zolt.test.walk;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Map;
import java.util.TreeMap;
import zolt.test.Faults;

/** What the scenarios of a walk work on: files of their own, and buffers. */
public record Place(Path dir) {
    static final int ALICE = 70001;
    static final int ALICES = 70002;
    /** Alice's identity, and the service's own, on a thread on which Alice was the last user. */
    static final String AS_ALICE = ALICE + ":" + ALICES + " [" + ALICES + "]";
    static final String AS_DAEMON = "0:0 [" + ALICES + "]";

    static void addUsers() {
        Faults.clear();
        Faults.user("alice", ALICE, ALICES, 0);
        Faults.user("bob", 70011, 70012, 0);
    }

    /** A file of that many bytes. */
    Path file(String name, int size) throws IOException {
        return Files.write(dir.resolve(name), new byte[size]);
    }

    /** A directory with empty files of these names. */
    Path directory(String name, String... files) throws IOException {
        Path made = Files.createDirectories(dir.resolve(name));
        for (String each : files) {
            Files.createFile(made.resolve(each));
        }
        return made;
    }

    /** A directory for the service alone. */
    Path closed(String name, String... files) throws IOException {
        return Files.setPosixFilePermissions(directory(name, files),
                PosixFilePermissions.fromString("rwx------"));
    }

    Path link(String name, String target) throws IOException {
        return Files.createSymbolicLink(dir.resolve(name), Path.of(target));
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.ISO_8859_1);
    }

    static ByteBuffer direct(int size) {
        return ByteBuffer.allocateDirect(size).order(ByteOrder.nativeOrder());
    }

    static void fill(ByteBuffer buffer) {
        for (int i = 0; i < buffer.capacity(); i++) {
            buffer.put(i, (byte) 0xee);
        }
    }

    static byte[] content(ByteBuffer buffer) {
        byte[] content = new byte[buffer.capacity()];
        buffer.duplicate().clear().get(content);
        return content;
    }

    /** A state of bytes with some of them being these. */
    static String with(String hex, int at, int... values) {
        StringBuilder text = new StringBuilder(hex);
        for (int i = 0; i < values.length; i++) {
            int digit = 2 * (at + i);
            text.replace(digit, digit + 2, String.format("%02x", values[i]));
        }
        return text.toString();
    }

    private static UserDefinedFileAttributeView view(Path file) {
        return Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
    }

    /** Gives a file these attributes, name and value by turns, and no others. */
    static void attributes(Path file, String... namesAndValues) throws IOException {
        for (String name : view(file).list()) {
            view(file).delete(name);
        }
        for (int i = 0; i < namesAndValues.length; i += 2) {
            view(file).write(namesAndValues[i].substring("user.".length()),
                    ByteBuffer.wrap(bytes(namesAndValues[i + 1])));
        }
    }

    static Map<String, byte[]> attributesOf(Path file) throws IOException {
        Map<String, byte[]> attributes = new TreeMap<>();
        for (String name : view(file).list()) {
            ByteBuffer value = ByteBuffer.allocate(view(file).size(name));
            view(file).read(name, value);
            attributes.put("user." + name, value.array());
        }
        return attributes;
    }

    @SuppressWarnings("unchecked")
    static <T extends Exception> T asUnchecked(Exception e) throws T {
        throw (T) e;
    }
}
