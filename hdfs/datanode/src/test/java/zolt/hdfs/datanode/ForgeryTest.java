package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.EnumSet;
import java.util.Random;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.DFSUtilClient;
import org.apache.hadoop.hdfs.protocol.ClientDatanodeProtocol;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.datatransfer.BlockConstructionStage;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenSecretManager;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.security.token.Token;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;

/** What a client gets with a token that is not for what it asks, and with blocks of its own invention. */
class ForgeryTest {
    private static TestCluster cluster;
    private static Path file;
    private static LocatedBlock good;

    @BeforeAll
    static void start() throws Exception {
        cluster = TestCluster.ofOne();
        file = cluster.write("file", new byte[3000]);
        cluster.write("secret", new byte[3000]);
        good = cluster.nameNode.getBlockLocations("/file", 0, 1).get(0);
    }

    @AfterAll
    static void stop() throws Exception {
        cluster.close();
    }

    private static String read(ExtendedBlock block, Token<BlockTokenIdentifier> token) throws Exception {
        try (RawClient raw = new RawClient(good)) {
            return raw.read(block, token, 0, 100);
        }
    }

    private static ExtendedBlock block(long id, long stamp) {
        return new ExtendedBlock(FakeNameNode.POOL, id, 3000, stamp);
    }

    private static Token<BlockTokenIdentifier> token(ExtendedBlock block, AccessMode mode, String... storageIds) {
        return cluster.nameNode.tokens.generateToken("tester", block, EnumSet.of(mode),
                new StorageType[] {StorageType.DISK}, storageIds);
    }

    @Test
    void theRightTokenReads() throws Exception {
        assertEquals("SUCCESS", read(good.getBlock(), good.getBlockToken()));
    }

    @Test
    void noTokenReadsNothing() throws Exception {
        assertEquals("ERROR_ACCESS_TOKEN", read(good.getBlock(), new Token<>()));
        Token<BlockTokenIdentifier> changed = new Token<>(good.getBlockToken());
        changed.getPassword()[3] ^= 1;
        assertEquals("ERROR_ACCESS_TOKEN", read(good.getBlock(), changed));
        BlockTokenSecretManager others = new BlockTokenSecretManager(1000, 1000, 0, 1, FakeNameNode.POOL, null, false);
        assertEquals("ERROR_ACCESS_TOKEN", read(good.getBlock(), others.generateToken("tester", good.getBlock(),
                EnumSet.of(AccessMode.READ), new StorageType[0], new String[0])));
    }

    @Test
    void aTokenIsForOneBlock() throws Exception {
        LocatedBlock secret = cluster.nameNode.getBlockLocations("/secret", 0, 1).get(0);
        assertEquals("ERROR_ACCESS_TOKEN", read(secret.getBlock(), good.getBlockToken()));
    }

    /** Neither for another file that has the inode by now, nor for more of this one. */
    @Test
    void aTokenIsForOneStamp() throws Exception {
        ReadBlock mine = ReadBlock.of(good.getBlock().getBlockId(), good.getBlock().getGenerationStamp());
        for (ReadBlock other : new ReadBlock[] {
            new ReadBlock(mine.inode(), mine.index(), 0, mine.blockSize()),
            new ReadBlock(mine.inode(), mine.index(), mine.generation() + 1, mine.blockSize()),
            new ReadBlock(mine.inode(), mine.index(), mine.generation(), 2 * mine.blockSize())}) {
            assertEquals("ERROR_ACCESS_TOKEN", read(block(other.id(), other.stamp()), good.getBlockToken()));
        }
        assertEquals("ERROR_ACCESS_TOKEN", read(good.getBlock(), token(good.getBlock(), AccessMode.READ)));
    }

    /** How long a block is, a reader asks by RPC, with the same token. */
    @Test
    void aTokenForAnotherBlockTellsNoLength() throws Exception {
        LocatedBlock wrong = cluster.nameNode.getBlockLocations("/secret", 0, 1).get(0);
        assertEquals(3000, length(good));
        wrong.setBlockToken(good.getBlockToken());
        assertThrows(IOException.class, () -> length(wrong));
    }

    private static long length(LocatedBlock block) throws Exception {
        ClientDatanodeProtocol node = DFSUtilClient.createClientDatanodeProtocolProxy(
                block.getLocations()[0], cluster.conf(), 20_000, false, block);
        try {
            return node.getReplicaVisibleLength(block.getBlock());
        } finally {
            RPC.stopProxy(node);
        }
    }

    /** Even a NameNode cannot sign what is not there. */
    @Test
    void aGenerationThatIsGoneIsNotFound() throws Exception {
        ReadBlock mine = ReadBlock.of(good.getBlock().getBlockId(), good.getBlock().getGenerationStamp());
        for (int generation : new int[] {0, mine.generation() + 1, -1}) {
            ReadBlock other = new ReadBlock(mine.inode(), mine.index(), generation, mine.blockSize());
            assertEquals("ERROR", readSigned(block(other.id(), other.stamp())));
        }
    }

    private static String readSigned(ExtendedBlock block) throws Exception {
        return read(block, token(block, AccessMode.READ, SignedBlock.toRead(new String[0], block.getGenerationStamp())));
    }

    @Test
    void inventedBlocksAreNotFound() throws Exception {
        Random random = new Random(5);
        for (int i = 0; i < 100; i++) {
            ExtendedBlock forged = block(random.nextLong() >>> random.nextInt(64), random.nextLong() >>> random.nextInt(64));
            String answer = readSigned(forged);
            assertTrue(answer.equals("ERROR") || answer.equals("ERROR_ACCESS_TOKEN"), forged + " " + answer);
        }
    }

    @Test
    void aDirectoryOrAFifoIsNoBlock() throws Exception {
        Path directory = Files.createDirectory(file.resolveSibling("directory"));
        Path fifo = file.resolveSibling("fifo");
        assertEquals(0, new ProcessBuilder("mkfifo", fifo.toString()).start().waitFor());
        for (Path each : new Path[] {directory, fifo}) {
            int generation = cluster.nameNode.generation("/" + each.getFileName());
            ReadBlock block = new ReadBlock((long) Files.getAttribute(each, "unix:ino"), 0, generation, 4096);
            ExtendedBlock forged = block(block.id(), block.stamp());
            assertEquals("ERROR", readSigned(forged));
            WriteBlock writing = new WriteBlock(block.inode(), 0, 0, 0);
            assertNotEquals("SUCCESS", write(writing, writing.stamp(), BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0,
                    generation));
        }
    }

    @Test
    void aTokenForReadingDoesNotWrite() throws Exception {
        WriteBlock writing = new WriteBlock(cluster.nameNode.inode("/file"), 0, 0, 0);
        ExtendedBlock block = block(writing.id(), writing.stamp());
        try (RawClient raw = new RawClient(good)) {
            assertEquals("ERROR_ACCESS_TOKEN", raw.write(block,
                    token(block, AccessMode.READ, signed(0, "tester")),
                    BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, 0));
        }
    }

    /** A token for writing outlives the lease; without a lease it is worth nothing. */
    @Test
    void aTokenWithoutALeaseDoesNotWrite() throws Exception {
        WriteBlock writing = new WriteBlock(cluster.nameNode.inode("/file"), 0, 0, 0);
        int generation = cluster.nameNode.generation("/file");
        assertNotEquals("SUCCESS", write(writing, 0, BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, generation));
        FakeNameNode.lease(file, "tester");
        try {
            assertEquals("SUCCESS", write(writing, 0, BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, generation));
            assertNotEquals("SUCCESS",
                    write(writing, 0, BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, generation + 1));
            // Nor is it worth anything while the same client has the file open anew, or another has.
            FakeNameNode.session(file, "anew");
            assertNotEquals("SUCCESS", write(writing, 0, BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, generation));
            FakeNameNode.lease(file, "another");
            assertNotEquals("SUCCESS", write(writing, 0, BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, generation));
        } finally {
            FakeNameNode.attributes(file).delete("lease.holder");
        }
    }

    /** A recovery may not move the block to another place of the file, nor claim bytes that are not there. */
    @Test
    void aForgedRecoveryIsRefused() throws Exception {
        WriteBlock writing = new WriteBlock(cluster.nameNode.inode("/file"), 0, 1000, 3);
        int generation = cluster.nameNode.generation("/file");
        BlockConstructionStage recovery = BlockConstructionStage.PIPELINE_SETUP_STREAMING_RECOVERY;
        FakeNameNode.lease(file, "tester");
        try {
            long next = writing.recovered().stamp();
            assertEquals("SUCCESS", write(writing, next, recovery, 2000, 2000, generation));
            assertNotEquals("SUCCESS", write(writing, next, recovery, 2001, 2001, generation));
            assertNotEquals("SUCCESS", write(writing, next, recovery, -1, 2000, generation));
            assertNotEquals("SUCCESS", write(writing, writing.stamp() - 1, recovery, 0, 0, generation));
            assertNotEquals("SUCCESS", write(writing, writing.next(1).stamp(), recovery, 0, 0, generation));
            BlockConstructionStage close = BlockConstructionStage.PIPELINE_CLOSE_RECOVERY;
            assertEquals("SUCCESS", write(writing, next, close, 2000, 2000, generation));
            assertNotEquals("SUCCESS", write(writing, next, close, 2001, 2001, generation));
            assertArrayEquals(new byte[3000], Files.readAllBytes(file));
        } finally {
            FakeNameNode.attributes(file).delete("lease.holder");
        }
    }

    private static String write(WriteBlock block, long stamp, BlockConstructionStage stage, long acknowledged, long sent,
            int generation) throws Exception {
        ExtendedBlock wanted = block(block.id(), block.stamp());
        try (RawClient raw = new RawClient(good)) {
            return raw.write(wanted, token(wanted, AccessMode.WRITE, signed(generation, "tester")), stage, stamp,
                    acknowledged, sent);
        }
    }

    private static String[] signed(int generation, String holder) {
        return SignedBlock.toWrite(good.getStorageIDs(), new SignedBlock.Writer(generation, holder));
    }

    @Test
    void garbageIsRefusedAndOthersAreServedOn() throws Exception {
        Random random = new Random(6);
        for (int i = 0; i < 50; i++) {
            byte[] garbage = new byte[1 + random.nextInt(5000)];
            random.nextBytes(garbage);
            if (i % 2 == 0) {
                // The version and an operation as they should be, then garbage.
                garbage[0] = 0;
                if (garbage.length > 2) {
                    garbage[1] = 28;
                    garbage[2] = (byte) (80 + i % 8);
                }
            }
            try (RawClient raw = new RawClient(good)) {
                assertTrue(raw.isRefused(garbage));
            }
        }
        theRightTokenReads();
    }
}
