package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
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

    /** As a NameNode has it done when a writer is gone: the writer is stopped, and the block has what is in the file. */
    @Test
    void aNameNodeHasABlockRecovered() throws Exception {
        RecoveringBlock recovering = new RecoveringBlock(located.getBlock(), new DatanodeInfo[0], block.recovered().stamp());
        try (RawClient raw = new RawClient(located)) {
            begin(raw, 0);
            assertEquals(SIZE - START, datanode.initReplicaRecovery(recovering).getNumBytes());
            assertThrows(IOException.class, () -> {
                raw.send(0, 0, bytes("too late"), false);
                raw.send(1, 8, bytes("too late"), false);
            });
        }
        long stamp = block.recovered().stamp();
        assertEquals(located.getStorageIDs()[0],
                datanode.updateReplicaUnderRecovery(located.getBlock(), stamp, block.id(), SIZE - START));
        assertThrows(IOException.class,
                () -> datanode.updateReplicaUnderRecovery(located.getBlock(), stamp, block.id(), SIZE - START + 1));
        assertArrayEquals(expected, Files.readAllBytes(file));
        Files.delete(file);
        assertNull(datanode.initReplicaRecovery(recovering));
    }
}
