package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.attribute.FileTime;
import java.time.Duration;
import java.time.Instant;
import java.util.EnumSet;
import java.util.Random;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.io.EnumSetWritable;
import org.apache.hadoop.ipc.RemoteException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Clients that write, and what becomes of them. */
class WritersTest {
    private static final Path BASE = new Path("/writers");
    private static final Path FILE = new Path(BASE, "file");
    private static final int SIZE = 300_000;

    private DistributedFileSystem one;
    private DistributedFileSystem other;
    private byte[] bytes;

    @BeforeEach
    void connect() throws Exception {
        one = (DistributedFileSystem) Service.shared().client();
        other = (DistributedFileSystem) Service.shared().client();
        one.mkdirs(BASE);
        bytes = new byte[SIZE];
        new Random(7).nextBytes(bytes);
    }

    @AfterEach
    void close() throws IOException {
        one.close();
        other.delete(BASE, true);
        other.close();
    }

    private static byte[] read(FileSystem client) throws IOException {
        try (java.io.InputStream in = client.open(FILE)) {
            return in.readAllBytes();
        }
    }

    @Test
    void oneWritesAtATime() throws Exception {
        try (FSDataOutputStream out = one.create(FILE)) {
            out.write(bytes);
            out.hflush();
            assertFalse(other.isFileClosed(FILE));
            RemoteException refused = assertThrows(RemoteException.class, () -> other.append(FILE));
            assertEquals(AlreadyBeingCreatedException.class.getName(), refused.getClassName());
            RemoteException again = assertThrows(RemoteException.class, () -> other.create(FILE, false));
            assertEquals(AlreadyBeingCreatedException.class.getName(), again.getClassName());
            assertArrayEquals(bytes, read(other), "what is flushed is read");
        }
        assertTrue(other.isFileClosed(FILE));
        assertThrows(FileAlreadyExistsException.class, () -> other.create(FILE, false));
    }

    @Test
    void blocksOfTheClientsSizeMakeOneFile() throws Exception {
        long block = 1 << 20;
        byte[] much = new byte[5 * (1 << 20) + 123];
        new Random(8).nextBytes(much);
        try (FSDataOutputStream out = one.create(FILE, true, 4096, (short) 2, block)) {
            out.write(much);
        }
        assertArrayEquals(much, read(other));
        assertEquals(block, other.getFileStatus(FILE).getBlockSize());
        assertEquals(2, other.getFileStatus(FILE).getReplication());
        assertEquals(6, other.getFileBlockLocations(FILE, 0, much.length).length);
        try (FSDataOutputStream out = other.append(FILE)) {
            out.write(bytes);
        }
        byte[] all = read(one);
        assertEquals(much.length + SIZE, all.length);
        assertArrayEquals(bytes, java.util.Arrays.copyOfRange(all, much.length, all.length));
    }

    /** The writer is gone without a word; another one takes the lease, and every acknowledged byte is there. */
    @Test
    void whatADeadWriterFlushedStays() throws Exception {
        FSDataOutputStream out = one.create(FILE);
        out.write(bytes);
        out.hsync();
        assertThrows(RemoteException.class, () -> other.append(FILE));
        assertTrue(other.recoverLease(FILE));
        assertArrayEquals(bytes, read(other));
        try (FSDataOutputStream more = other.append(FILE)) {
            more.write(1);
        }
        assertEquals(SIZE + 1, other.getFileStatus(FILE).getLen());
        assertThrows(IOException.class, () -> {
            out.write(bytes);
            out.close();
        }, "the lease of the first writer is over");
        assertEquals(SIZE + 1, other.getFileStatus(FILE).getLen());
    }

    @Test
    void aFileKeepsItsWriterWhenItIsRenamed() throws Exception {
        Path moved = new Path(BASE, "moved");
        try (FSDataOutputStream out = one.create(FILE)) {
            out.write(bytes);
            out.hflush();
            assertTrue(other.rename(FILE, moved));
            out.write(bytes);
        }
        assertEquals(2 * SIZE, other.getFileStatus(moved).getLen());
        assertFalse(other.exists(FILE));
    }

    @Test
    void overwritingIsAnotherFile() throws Exception {
        try (FSDataOutputStream out = one.create(FILE)) {
            out.write(bytes);
        }
        long before = Files.getLastModifiedTime(local()).toMillis();
        try (java.io.InputStream in = other.open(FILE)) {
            one.create(FILE, true).close();
            assertArrayEquals(new byte[0], read(one));
        }
        assertTrue(Files.getLastModifiedTime(local()).toMillis() >= before);
    }

    private static java.nio.file.Path local() {
        return java.nio.file.Path.of(Service.FOLDER + FILE);
    }

    @Test
    void aNameNodeMayEndAtAnyTime() throws Exception {
        try (Service service = Service.start()) {
            Configuration conf = service.conf();
            conf.setBoolean(HdfsClientConfigKeys.Retry.POLICY_ENABLED_KEY, true);
            try (FileSystem client = FileSystem.newInstance(service.uri(), conf);
                    FSDataOutputStream out = client.create(FILE)) {
                out.write(bytes);
                out.hflush();
                service.restartNameNode();
                out.write(bytes);
            }
            assertEquals(2 * SIZE, one.getFileStatus(FILE).getLen());
        }
    }

    /** Two NameNodes on one folder know the same, at once. */
    @Test
    void twoNameNodesAreOne() throws Exception {
        try (Service second = Service.start(); FileSystem there = second.client()) {
            FSDataOutputStream out = one.create(FILE);
            out.write(bytes);
            out.hflush();
            assertThrows(RemoteException.class, () -> there.append(FILE));
            out.close();
            assertArrayEquals(bytes, read(there));
            there.delete(FILE, false);
            assertFalse(one.exists(FILE));
        }
    }

    /** Records are the service's, and no quota counts them: who writes nothing makes none. */
    @Test
    void whoHasNoLeaseIsNotNoted() throws Exception {
        java.nio.file.Path holders = java.nio.file.Path.of(Service.FOLDER, ".zolt", "holders");
        ClientProtocol raw = other.getClient().getNamenode();
        long before = Files.list(holders).count();
        raw.renewLease("made-up", null);
        assertThrows(RemoteException.class, () -> raw.append("/nowhere", "made-up",
                new EnumSetWritable<>(EnumSet.of(CreateFlag.APPEND))));
        assertThrows(RemoteException.class, () -> raw.create("/nowhere/x", FsPermission.getFileDefault(), "made-up",
                new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE)), false, (short) 1, 1 << 20,
                new CryptoProtocolVersion[0], null, null));
        assertEquals(before, Files.list(holders).count());
    }

    @Test
    void recordsOfHoldersAreSweptWhenTheyAreOld() throws Exception {
        java.nio.file.Path holders = java.nio.file.Path.of(Service.FOLDER, ".zolt", "holders");
        java.nio.file.Path old = Files.write(holders.resolve("old"), new byte[0]);
        Files.setLastModifiedTime(old, FileTime.from(Instant.now().minus(Duration.ofHours(2))));
        zolt.hdfs.namespace.ServiceFolder service =
                new zolt.hdfs.namespace.ServiceFolder(zolt.hdfs.namespace.Root.open(Service.FOLDER));
        zolt.hdfs.namespace.Holders records = new zolt.hdfs.namespace.Holders(service);
        Files.write(holders.resolve("young"), new byte[0]);
        long before = Files.list(holders).count();
        records.sweep(Duration.ofHours(1));
        assertFalse(Files.exists(old));
        assertEquals(before - 1, Files.list(holders).count());
    }
}
