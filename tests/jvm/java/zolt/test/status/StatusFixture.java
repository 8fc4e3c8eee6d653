package zolt.test.status;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

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
import zolt.test.Faults;
import zolt.test.Log;

/** What the tests of a file's status share: a file, a buffer for its record, and what is in it. */
public abstract class StatusFixture {
    static final int INODE = 0;
    static final int SIZE = 8;
    static final int UID = 16;
    static final int GID = 20;
    static final int MODE = 24;
    public static final int BLOCK_SIZE = 28;
    static final int MTIME = 48;
    static final int CTIME = 64;
    static final int ACL = 80;
    public static final int REPLICATION = 82;
    static final int LEASE = 84;
    static final byte FILLER = (byte) 0xee;

    @TempDir Path dir;
    Path file;
    final ByteBuffer buffer = ByteBuffer.allocateDirect(100).order(ByteOrder.nativeOrder());

    @BeforeEach
    void prepare() throws Exception {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        file = Files.writeString(dir.resolve("file"), "12345");
        fill();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
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

    static <T extends Throwable> void expect(Class<T> type, String message, Executable call) {
        T thrown = assertThrows(type, call);
        assertSame(type, thrown.getClass());
        assertEquals(message, thrown.getMessage());
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
