package zolt.test.status;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;

/** What the tests of a file's status share: a file, a buffer for its record, and what is in it. */
public abstract class StatusFixture extends Cleared implements StatusRecord {
    static final byte FILLER = (byte) 0xee;

    @TempDir Path dir;
    Path file;
    final ByteBuffer buffer = ByteBuffer.allocateDirect(100).order(ByteOrder.nativeOrder());

    @BeforeEach
    void prepare() throws Exception {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        file = Files.writeString(dir.resolve("file"), "12345");
        fill();
    }

    @AfterEach
    void restore() {
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
    }

    void fill() {
        for (int i = 0; i < buffer.capacity(); i++) {
            buffer.put(i, FILLER);
        }
    }

    void expectUntouched() {
        for (int i = 0; i < buffer.capacity(); i++) {
            assertEquals(FILLER, buffer.get(i), "byte " + i);
        }
    }

    int full(Path path) throws IOException {
        return ZOLTNative.getFileStatusNative(path.toString(), true, true, buffer, 0, 0, 0, 0);
    }

    /** Both forms, for a file that changed. */
    static List<Executable> bothForms(String path, ByteBuffer to) {
        return List.of(() -> ZOLTNative.getFileStatusNative(path, true, true, to, 0, 0, 0, 0),
                () -> ZOLTNative.getFileStatusFastNative(path, true, to, 0, 0));
    }

    public static Throwable thrown(Executable call) {
        try {
            call.execute();
            return null;
        } catch (Throwable e) {
            return e;
        }
    }
}
