package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.hdfs.datanode.TestCluster.path;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.junit.jupiter.api.Test;

/** DataNodes that are killed at work: what a client was told is written is in the file. */
class PipelineTest {
    private static final int BLOCK = (int) FakeNameNode.BLOCK;
    private final Random random = new Random(2);

    @Test
    void aWriterOutlivesTheDeathOfEitherDataNode() throws Exception {
        for (boolean first : new boolean[] {true, false}) {
            try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
                Process victim = first ? cluster.startApart() : null;
                cluster.start();
                victim = first ? victim : cluster.startApart();
                writeThroughTheDeathOf(victim, cluster);
            }
        }
    }

    private void writeThroughTheDeathOf(Process victim, TestCluster cluster) throws Exception {
        ByteArrayOutputStream expected = new ByteArrayOutputStream();
        Path file = cluster.nameNode.file("/file");
        try (FSDataOutputStream out = cluster.client.create(path("file"), true)) {
            for (int i = 0; i < 60; i++) {
                byte[] bytes = new byte[1 + random.nextInt(100_000)];
                random.nextBytes(bytes);
                out.write(bytes);
                expected.write(bytes);
                if (i == 20) {
                    // Packets are on their way just now.
                    victim.destroyForcibly();
                }
                if (i % 7 == 0 || i == 21) {
                    out.hflush();
                    assertArrayEquals(expected.toByteArray(), Files.readAllBytes(file), "acknowledged, after " + i);
                }
            }
        }
        assertFalse(victim.isAlive());
        assertArrayEquals(expected.toByteArray(), Files.readAllBytes(file));
        assertArrayEquals(expected.toByteArray(), cluster.read("file"));
    }

    /**
     * The kernel takes the set-user-id bit from a file that is written to; that the DataNode writes as root is no way
     * round.
     */
    @Test
    void aFileThatIsWrittenLosesItsSetUserIdBit() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            cluster.startApart();
            Path file = cluster.write("program", new byte[] {1, 2, 3});
            Files.setAttribute(file, "unix:mode", 06755);
            try (FSDataOutputStream out = cluster.client.append(path("program"))) {
                out.write(4);
            }
            assertEquals(0100755, Files.getAttribute(file, "unix:mode"));
        }
    }

    /** With nobody to go on with, the writer is told, and what it was told before is there. */
    @Test
    void theDeathOfTheOnlyDataNodeIsAnError() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            Process victim = cluster.startApart();
            byte[] bytes = new byte[BLOCK + 4321];
            random.nextBytes(bytes);
            FSDataOutputStream out = cluster.client.create(path("file"), true);
            out.write(bytes);
            out.hflush();
            victim.destroyForcibly().waitFor();
            assertThrows(IOException.class, () -> {
                out.write(bytes);
                out.hflush();
            });
            assertThrows(IOException.class, out::close);
            byte[] there = Files.readAllBytes(cluster.nameNode.file("/file"));
            assertTrue(there.length >= bytes.length);
            assertArrayEquals(bytes, Arrays.copyOf(there, bytes.length));
        }
    }

    /** A reader goes on with another DataNode: both see the file. */
    @Test
    void aReaderOutlivesTheDeathOfADataNode() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            DataNode stays = cluster.start();
            byte[] bytes = new byte[6 * BLOCK];
            random.nextBytes(bytes);
            cluster.write("file", bytes);
            Process victim = cluster.startApart();
            try (var in = cluster.client.open(path("file"))) {
                byte[] read = new byte[bytes.length];
                in.readFully(read, 0, BLOCK / 2);
                victim.destroyForcibly().waitFor();
                in.readFully(read, BLOCK / 2, bytes.length - BLOCK / 2);
                assertArrayEquals(bytes, read);
            }
            assertTrue(stays.isDatanodeUp());
        }
    }
}
