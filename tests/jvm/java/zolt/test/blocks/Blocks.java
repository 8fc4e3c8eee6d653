package zolt.test.blocks;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;
import zolt.test.Descriptors;
import zolt.test.Kernel;

/** A file of ten blocks of the file system, and buffers to ask about it with. */
abstract class Blocks extends Cleared {
    static final int REGULAR = 0100644;
    static final byte UNTOUCHED = 0x55;

    @TempDir Path dir;
    Path file;
    /** The file system's block. */
    int unit;

    @BeforeEach
    void create() throws Exception {
        file = Files.createFile(dir.resolve("file"));
        unit = (int) Kernel.stat(file.toString(), true)[Kernel.BLOCK];
        resize(file, 10L * unit);
    }

    @AfterEach
    void nothingStaysOpen() throws Exception {
        Descriptors.expectNone(dir);
    }

    static void resize(Path path, long length) throws IOException {
        try (RandomAccessFile out = new RandomAccessFile(path.toFile(), "rw")) {
            out.setLength(length);
        }
    }

    static ByteBuffer direct(int size) {
        ByteBuffer buffer = ByteBuffer.allocateDirect(size).order(ByteOrder.nativeOrder());
        for (int i = 0; i < size; i++) {
            buffer.put(i, UNTOUCHED);
        }
        return buffer;
    }

    /** A status record as far as it matters, in a buffer of that size. */
    static ByteBuffer status(int size, long length, int mode, int blockSize) {
        ByteBuffer buffer = direct(size);
        buffer.putLong(0, 4711).putLong(8, length).putInt(24, mode).putInt(28, blockSize);
        return buffer;
    }

    ByteBuffer status(int size) {
        return status(size, 10L * unit, REGULAR, unit);
    }

    static byte[] bytes(ByteBuffer buffer) {
        byte[] all = new byte[buffer.capacity()];
        buffer.duplicate().clear().get(all);
        return all;
    }

    static void expectUntouched(ByteBuffer buffer, int from) {
        byte[] found = bytes(buffer);
        byte[] wanted = found.clone();
        Arrays.fill(wanted, from, wanted.length, UNTOUCHED);
        assertArrayEquals(wanted, found);
    }

    static int[] words(ByteBuffer buffer) {
        int[] all = new int[buffer.capacity() / 4];
        buffer.duplicate().order(ByteOrder.nativeOrder()).clear().asIntBuffer().get(all);
        return all;
    }

    static void expectHeader(long blockSize, int replicas, ByteBuffer status) {
        assertEquals(blockSize, status.getLong(90));
        assertEquals(replicas, status.getInt(98));
        expectUntouched(status, 102);
    }

    void locate(int type, long offset, long length, ByteBuffer status,
            ByteBuffer locations) throws IOException {
        ZOLTNative.getBlockLocationsNative(file.toString(), type, true, offset, length, status,
                locations);
    }
}
