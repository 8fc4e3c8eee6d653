package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.datatransfer.BlockConstructionStage;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.hdfs.server.protocol.BlockRecoveryCommand.RecoveringBlock;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.hdfs.block.WriteBlock;

/** Blocks that one writer begins and another takes up. */
class RecoveryTest {
    private static final int START = 1000;
    private static final int SIZE = 5000;
    private static TestCluster cluster;
    private static DataNode datanode;
    private final byte[] expected = new byte[SIZE];
    private Path file;
    private WriteBlock block;
    private LocatedBlock located;

    @BeforeAll
    static void start() throws Exception {
        cluster = new TestCluster(Files.createTempDirectory("exported"), true);
        datanode = cluster.start();
    }

    @AfterAll
    static void stop() throws Exception {
        cluster.close();
    }

    /** A file of which the first bytes are closed and the others are a block that is being written. */
    @BeforeEach
    void open() throws Exception {
        Arrays.fill(expected, (byte) 'x');
        file = Files.write(cluster.nameNode.file("/file"), expected);
        FakeNameNode.lease(file, "tester");
        block = new WriteBlock(cluster.nameNode.inode("/file"), 0, START, 0);
        located = cluster.nameNode.located(new ExtendedBlock(FakeNameNode.POOL, block.id(), SIZE - START, block.stamp()),
                START, "/file", AccessMode.WRITE, List.of());
    }

    private void begin(RawClient raw, long acknowledged) throws IOException {
        assertEquals("SUCCESS", raw.write(located.getBlock(), located.getBlockToken(),
                BlockConstructionStage.PIPELINE_SETUP_STREAMING_RECOVERY, block.recovered().stamp(), acknowledged, SIZE));
    }

    private void expect(int offset, String text) throws IOException {
        System.arraycopy(bytes(text), 0, expected, START + offset, text.length());
        assertArrayEquals(expected, Files.readAllBytes(file));
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    /**
     * A DataNode that was started anew knows nothing of a block but what its id says, and goes on in the midst of a chunk of
     * which the client sends the rest only.
     */
    @Test
    void aBlockIsTakenUpInTheMidstOfAChunk() throws Exception {
        try (RawClient raw = new RawClient(located)) {
            begin(raw, 3700);
            assertEquals("SUCCESS", raw.send(0, 3700, bytes("first"), false));
            assertEquals("SUCCESS", raw.send(1, 3705, bytes("second"), false));
            assertEquals("SUCCESS", raw.send(2, 3711, new byte[0], true));
        }
        expect(3700, "firstsecond");
    }

    @Test
    void theNextWriterStopsTheOneBefore() throws Exception {
        for (BlockConstructionStage stage : new BlockConstructionStage[] {
            BlockConstructionStage.PIPELINE_SETUP_STREAMING_RECOVERY, BlockConstructionStage.PIPELINE_SETUP_CREATE}) {
            try (RawClient first = new RawClient(located); RawClient second = new RawClient(located)) {
                begin(first, 0);
                assertEquals("SUCCESS", first.send(0, 0, bytes("of the first"), false));
                assertEquals("SUCCESS", second.write(located.getBlock(), located.getBlockToken(), stage,
                        block.recovered().stamp(), 0, SIZE));
                assertThrows(IOException.class, () -> {
                    first.send(1, 0, bytes("too late, much too late"), false);
                    first.send(2, 0, bytes("and not to be seen anywhere"), false);
                });
                assertEquals("SUCCESS", second.send(0, 0, bytes("of the other"), false));
            }
            expect(0, "of the other");
        }
    }

    /** A DataNode that goes on in the midst of a chunk reads what there is of some hundred into memory. */
    @Test
    void aChecksumIsOfSoManyBytesAtMost() throws Exception {
        for (int bytes : new int[] {1 << 16, (1 << 16) + 1, Integer.MAX_VALUE}) {
            try (RawClient raw = new RawClient(located)) {
                raw.bytesPerChecksum = bytes;
                assertEquals(bytes == 1 << 16, raw.write(located.getBlock(), located.getBlockToken(),
                        BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, SIZE).equals("SUCCESS"));
            }
        }
    }

    /** DataNodes ask each other that with no word of whom for: it would stop any writer, and tell the size of any file. */
    @Test
    void noDataNodeRecoversABlockForAnother() throws Exception {
        RecoveringBlock recovering = new RecoveringBlock(located.getBlock(), new DatanodeInfo[0], block.recovered().stamp());
        try (RawClient raw = new RawClient(located)) {
            begin(raw, 0);
            assertThrows(UnsupportedOperationException.class, () -> datanode.initReplicaRecovery(recovering));
            assertThrows(UnsupportedOperationException.class, () -> datanode.updateReplicaUnderRecovery(
                    located.getBlock(), block.recovered().stamp(), block.id(), SIZE - START));
            assertEquals("SUCCESS", raw.send(0, 0, bytes("goes on"), false));
            assertEquals("SUCCESS", raw.send(1, 7, new byte[0], true));
        }
        expect(0, "goes on");
    }
}
