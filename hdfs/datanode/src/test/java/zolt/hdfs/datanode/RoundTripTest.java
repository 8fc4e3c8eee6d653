package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.hdfs.datanode.TestCluster.path;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.Random;
import java.util.zip.CRC32C;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.client.HdfsDataInputStream;
import org.apache.hadoop.hdfs.client.HdfsDataOutputStream;
import org.apache.hadoop.hdfs.client.HdfsDataOutputStream.SyncFlag;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** What Hadoop's own client writes through the DataNode is in the file, and comes back. */
class RoundTripTest {
    private static final int BLOCK = (int) FakeNameNode.BLOCK;
    private static TestCluster cluster;
    private final Random random = new Random(1);

    @BeforeAll
    static void start() throws Exception {
        cluster = TestCluster.ofOne();
    }

    @AfterAll
    static void stop() throws Exception {
        cluster.close();
    }

    @Test
    void everySizeAroundABlock() throws Exception {
        for (int size : new int[] {0, 1, 511, 512, 513, BLOCK - 1, BLOCK, BLOCK + 1, 3 * BLOCK + 77}) {
            byte[] bytes = bytes(size);
            assertArrayEquals(bytes, Files.readAllBytes(cluster.write("size", bytes)), size + " bytes in the file");
            assertArrayEquals(bytes, cluster.read("size"), size + " bytes back");
        }
    }

    @Test
    void anyPartOfAFile() throws Exception {
        byte[] bytes = bytes(2 * BLOCK + 1234);
        cluster.write("parts", bytes);
        try (FSDataInputStream in = cluster.client.open(path("parts"))) {
            for (int i = 0; i < 200; i++) {
                int from = random.nextInt(bytes.length);
                byte[] part = new byte[Math.min(1 + random.nextInt(i % 2 == 0 ? 600 : 200_000), bytes.length - from)];
                in.readFully(from, part);
                assertArrayEquals(Arrays.copyOfRange(bytes, from, from + part.length), part, "from " + from);
            }
        }
    }

    @Test
    void readersSeeWhatAWriterFlushed() throws Exception {
        ByteArrayOutputStream expected = new ByteArrayOutputStream();
        try (FSDataOutputStream out = cluster.client.create(path("growing"), true);
                FSDataInputStream early = openAfter(out, expected)) {
            for (int size : new int[] {1, 100, 411, 512, 5000, 65536, BLOCK - 71560, 1, 3, BLOCK + 5, 700}) {
                byte[] bytes = bytes(size);
                out.write(bytes);
                expected.write(bytes);
                out.hflush();
                assertArrayEquals(expected.toByteArray(), Files.readAllBytes(cluster.nameNode.file("/growing")));
                assertArrayEquals(expected.toByteArray(), cluster.read("growing"), "after " + expected.size());
            }
            // Who opened the file before sees what it was then, or more.
            byte[] seen = new byte[17];
            early.readFully(0, seen);
            assertArrayEquals(Arrays.copyOf(expected.toByteArray(), 17), seen);
        }
        assertArrayEquals(expected.toByteArray(), cluster.read("growing"));
    }

    private FSDataInputStream openAfter(FSDataOutputStream out, ByteArrayOutputStream expected) throws Exception {
        byte[] first = bytes(17);
        out.write(first);
        expected.write(first);
        out.hflush();
        return cluster.client.open(path("growing"));
    }

    /** A block grows while it is sent: its bytes and their checksums end at the same place all the same. */
    @Test
    void aReaderOfAGrowingFileNeedsNoSecondTry() throws Exception {
        byte[] bytes = bytes(400_000);
        try (DistributedFileSystem once = cluster.newClient("dfs.client.max.block.acquire.failures", "0");
                FSDataOutputStream out = cluster.client.create(path("grows"), true)) {
            Thread writer = new Thread(() -> {
                try {
                    for (int i = 0; i < bytes.length; i += 100) {
                        out.write(bytes, i, 100);
                        out.hflush();
                    }
                } catch (IOException e) {
                    throw new UncheckedIOException(e);
                }
            });
            writer.start();
            int read = 0;
            while (writer.isAlive()) {
                try (FSDataInputStream in = once.open(path("grows"))) {
                    byte[] seen = in.readAllBytes();
                    assertArrayEquals(Arrays.copyOf(bytes, seen.length), seen);
                    read++;
                }
            }
            assertTrue(read > 1, read + " times");
        }
        assertArrayEquals(bytes, cluster.read("grows"));
    }

    @Test
    void theVisibleLengthIsThatOfTheFile() throws Exception {
        try (FSDataOutputStream out = cluster.client.create(path("visible"), true)) {
            out.write(bytes(BLOCK + 1000));
            out.hflush();
            try (HdfsDataInputStream in = (HdfsDataInputStream) cluster.client.open(path("visible"))) {
                assertEquals(BLOCK + 1000, in.getVisibleLength());
            }
            out.write(bytes(11));
            ((HdfsDataOutputStream) out).hsync(EnumSet.of(SyncFlag.UPDATE_LENGTH));
            try (HdfsDataInputStream in = (HdfsDataInputStream) cluster.client.open(path("visible"))) {
                assertEquals(BLOCK + 1011, in.getVisibleLength());
            }
        }
    }

    @Test
    void appendingAtAnyByte() throws Exception {
        ByteArrayOutputStream expected = new ByteArrayOutputStream();
        byte[] bytes = bytes(700);
        cluster.write("appended", bytes);
        expected.write(bytes);
        for (int size : new int[] {1, 511, BLOCK, 12, 2 * BLOCK + 9, 0}) {
            bytes = bytes(size);
            try (FSDataOutputStream out = cluster.client.append(path("appended"))) {
                out.write(bytes);
            }
            expected.write(bytes);
            assertArrayEquals(expected.toByteArray(), Files.readAllBytes(cluster.nameNode.file("/appended")));
            assertArrayEquals(expected.toByteArray(), cluster.read("appended"));
        }
    }

    /** The composite checksum of HDFS is the plain one of all bytes, however they are cut into blocks. */
    @Test
    void theChecksumIsThatOfTheBytes() throws Exception {
        byte[] bytes = bytes(2 * BLOCK + 4321);
        cluster.write("summed", bytes);
        try (DistributedFileSystem client = cluster.newClient("dfs.checksum.combine.mode", "COMPOSITE_CRC")) {
            for (int length : new int[] {bytes.length, BLOCK, BLOCK + 1000, 1}) {
                CRC32C crc = new CRC32C();
                crc.update(bytes, 0, length);
                assertArrayEquals(ByteBuffer.allocate(4).putInt((int) crc.getValue()).array(),
                        client.getFileChecksum(path("summed"), length).getBytes(), length + " bytes");
            }
        }
    }

    @Test
    void aHoleIsRead() throws Exception {
        Path file = cluster.nameNode.file("/sparse");
        try (RandomAccessFile out = new RandomAccessFile(file.toFile(), "rw")) {
            out.setLength(2L * BLOCK + 5);
            out.seek(BLOCK + 100);
            out.writeBytes("island");
        }
        byte[] expected = new byte[2 * BLOCK + 5];
        System.arraycopy("island".getBytes(), 0, expected, BLOCK + 100, 6);
        assertArrayEquals(expected, cluster.read("sparse"));
    }

    private byte[] bytes(int size) {
        byte[] bytes = new byte[size];
        random.nextBytes(bytes);
        return bytes;
    }
}
