package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.hdfs.datanode.TestCluster.path;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.List;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.datatransfer.BlockConstructionStage;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.security.token.Token;
import org.junit.jupiter.api.Test;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;

/** The DataNode as a whole. */
class DataNodeTest {
    @Test
    void itTellsHowMuchRoomTheFileSystemHas() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            DataNode datanode = cluster.start();
            File folder = cluster.nameNode.folder.toFile();
            StorageReport report = datanode.getFSDataset().getStorageReports(FakeNameNode.POOL)[0];
            assertEquals(folder.getTotalSpace(), report.getCapacity());
            assertEquals(folder.getUsableSpace(), report.getRemaining(), 1 << 28);
            assertTrue(report.getDfsUsed() > 0 && report.getDfsUsed() < report.getCapacity());
            assertTrue(datanode.getFSDataset().getBlockReports(FakeNameNode.POOL).values().stream()
                    .allMatch(blocks -> blocks.getNumberOfBlocks() == 0));
            assertTrue(datanode.getVolumeInfo().contains("freeSpace"));
        }
    }

    @Test
    void itWorksWithoutTokens() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), false)) {
            cluster.start();
            byte[] bytes = new byte[3 << 20];
            Arrays.fill(bytes, (byte) 7);
            assertArrayEquals(bytes, Files.readAllBytes(cluster.write("file", bytes)));
            assertArrayEquals(bytes, cluster.read("file"));
            // Without a token nobody tells the generation of a file that is written, so its path is asked for: once.
            assertEquals(1, cluster.nameNode.pathsAsked.size());
        }
    }

    /** After a recovery the token names no storages, and the client names those of the other DataNodes: as Hadoop has it. */
    @Test
    void aTokenWithoutStoragesIsForAllStorages() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            cluster.start();
            FakeNameNode.lease(Files.write(cluster.nameNode.file("/file"), new byte[10]), "tester");
            WriteBlock block = new WriteBlock(cluster.nameNode.inode("/file"), 0, 0, 0);
            ExtendedBlock named = new ExtendedBlock(FakeNameNode.POOL, block.id(), 0, block.stamp());
            LocatedBlock located = cluster.nameNode.located(named, 0, "/file", AccessMode.WRITE, List.of());
            SignedBlock.Writer writer = new SignedBlock.Writer(cluster.nameNode.generation("/file"), "tester");
            for (String[] storages : new String[][] {{}, {"DS-other"}}) {
                Token<BlockTokenIdentifier> token = cluster.nameNode.tokens.generateToken("tester", named,
                        EnumSet.of(AccessMode.WRITE), new StorageType[0], SignedBlock.toWrite(storages, writer));
                try (RawClient raw = new RawClient(located)) {
                    assertEquals(storages.length == 0 ? "SUCCESS" : "ERROR_ACCESS_TOKEN", raw.write(named, token,
                            BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, 0, "DS-first", "DS-behind"));
                }
            }
        }
    }

    /** Whatever comes to an end, well or badly, leaves no descriptor of the folder behind. */
    @Test
    void noDescriptorIsLeftOpen() throws Exception {
        try (TestCluster cluster = new TestCluster(Files.createTempDirectory("exported"), true)) {
            cluster.start();
            cluster.write("file", new byte[3000]);
            long before = descriptors(cluster.nameNode.folder);
            for (int i = 0; i < 20; i++) {
                cluster.write("file", new byte[3000]);
                cluster.read("file");
                try (FSDataInputStream in = cluster.client.open(path("file"))) {
                    in.readFully(10, new byte[20]);
                }
                cluster.client.getFileChecksum(path("file"));
                fail(cluster);
            }
            long until = System.currentTimeMillis() + 20_000;
            while (descriptors(cluster.nameNode.folder) > before && System.currentTimeMillis() < until) {
                Thread.sleep(50);
            }
            assertEquals(before, descriptors(cluster.nameNode.folder));
        }
    }

    private static void fail(TestCluster cluster) throws Exception {
        LocatedBlock block = cluster.nameNode.getBlockLocations("/file", 0, 1).get(0);
        try (RawClient raw = new RawClient(block)) {
            assertEquals("ERROR", raw.read(block.getBlock(), block.getBlockToken(), 2900, 101));
        }
        try (RawClient raw = new RawClient(block)) {
            // Leaves before it has all.
            assertEquals("SUCCESS", raw.read(block.getBlock(), block.getBlockToken(), 0, 3000));
        }
        WriteBlock writing = new WriteBlock(cluster.nameNode.inode("/file"), 0, 0, 0);
        ExtendedBlock unleased = new ExtendedBlock(FakeNameNode.POOL, writing.id(), 0, writing.stamp());
        try (RawClient raw = new RawClient(block)) {
            raw.write(unleased, cluster.nameNode.tokens.generateToken("tester", unleased, EnumSet.of(AccessMode.WRITE),
                    new StorageType[] {StorageType.DISK}, SignedBlock.toWrite(block.getStorageIDs(),
                            new SignedBlock.Writer(cluster.nameNode.generation("/file"), "tester"))),
                    BlockConstructionStage.PIPELINE_SETUP_CREATE, 0, 0, 0);
        }
        FSDataOutputStream out = cluster.client.create(path("gone"), true);
        out.write(1);
        out.hflush();
        FakeNameNode.attributes(cluster.nameNode.file("/gone")).delete("lease.holder");
        out.write(1);
        assertThrows(IOException.class, out::close);
    }

    private static long descriptors(Path folder) throws IOException {
        long count = 0;
        for (File each : new File("/proc/self/fd").listFiles()) {
            try {
                count += Files.readSymbolicLink(each.toPath()).startsWith(folder) ? 1 : 0;
            } catch (IOException closed) {
                // That of the listing itself.
            }
        }
        return count;
    }
}
