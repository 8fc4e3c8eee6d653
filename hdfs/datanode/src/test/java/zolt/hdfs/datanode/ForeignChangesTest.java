package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.hdfs.datanode.TestCluster.path;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Arrays;
import java.util.Random;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** Files that others change while HDFS clients have them open: the file system is theirs too. */
class ForeignChangesTest {
    private static final int BLOCK = (int) FakeNameNode.BLOCK;
    private static TestCluster cluster;

    @BeforeAll
    static void start() throws Exception {
        cluster = TestCluster.ofOne();
    }

    @AfterAll
    static void stop() throws Exception {
        cluster.close();
    }

    @Test
    void aFileThatShrinksWhileItIsRead() throws Exception {
        byte[] bytes = bytes(3 * BLOCK);
        Path file = cluster.write("shrinks", bytes);
        try (FSDataInputStream in = cluster.client.open(path("shrinks"))) {
            byte[] part = new byte[1000];
            in.readFully(0, part);
            try (RandomAccessFile cut = new RandomAccessFile(file.toFile(), "rw")) {
                cut.setLength(BLOCK + 100);
            }
            in.readFully(BLOCK - 500L, part, 0, 600);
            assertArrayEquals(Arrays.copyOfRange(bytes, BLOCK - 500, BLOCK + 100), Arrays.copyOf(part, 600));
            assertThrows(IOException.class, () -> in.readFully(2L * BLOCK, part));
        }
        assertArrayEquals(Arrays.copyOf(bytes, BLOCK + 100), cluster.read("shrinks"));
    }

    @Test
    void aFileThatIsRewrittenIsReadAsItIs() throws Exception {
        byte[] before = bytes(2 * BLOCK);
        byte[] after = bytes(2 * BLOCK);
        Path file = cluster.write("rewritten", before);
        try (FSDataInputStream in = cluster.client.open(path("rewritten"))) {
            byte[] part = new byte[2 * BLOCK];
            in.readFully(0, part, 0, 10);
            try (RandomAccessFile over = new RandomAccessFile(file.toFile(), "rw")) {
                over.write(after);
            }
            in.readFully(0, part);
            assertArrayEquals(after, part);
        }
    }

    /** Whoever rewrites all the time makes clients try again, but no mixture passes for a chunk of bytes. */
    @Test
    void aFileThatIsRewrittenAllTheTime() throws Exception {
        byte[] ones = new byte[BLOCK];
        Arrays.fill(ones, (byte) 1);
        Path file = cluster.write("restless", ones);
        Thread writer = new Thread(() -> rewrite(file));
        writer.start();
        int read = 0;
        for (int i = 0; i < 20; i++) {
            try {
                assertEquals(BLOCK, cluster.read("restless").length);
                read++;
            } catch (IOException tooRestless) {
                assertTrue(writer.isAlive());
            }
        }
        writer.interrupt();
        writer.join();
        assertEquals(BLOCK, cluster.read("restless").length, "after " + read + " reads of 20");
    }

    private static void rewrite(Path file) {
        byte[] bytes = new byte[BLOCK];
        try (RandomAccessFile over = new RandomAccessFile(file.toFile(), "rw")) {
            for (int i = 2; !Thread.interrupted(); i++) {
                Arrays.fill(bytes, (byte) i);
                over.seek(0);
                over.write(bytes);
                Thread.sleep(1);
            }
        } catch (IOException | InterruptedException e) {
            // The test is over.
        }
    }

    @Test
    void aRenamedFileIsReadToItsEnd() throws Exception {
        byte[] bytes = bytes(2 * BLOCK + 5);
        Path file = cluster.write("before", bytes);
        try (FSDataInputStream in = cluster.client.open(path("before"))) {
            Files.move(file, file.resolveSibling("after"));
            assertArrayEquals(bytes, in.readAllBytes());
        }
    }

    @Test
    void aReplacedFileIsNotTakenForTheOneThatWasOpened() throws Exception {
        Path file = cluster.write("replaced", bytes(BLOCK));
        try (FSDataInputStream in = cluster.client.open(path("replaced"))) {
            Path other = Files.write(file.resolveSibling("other"), new byte[BLOCK]);
            Files.move(other, file, StandardCopyOption.REPLACE_EXISTING);
            // The client asks again, and sees that the name has another file by now.
            assertThrows(IOException.class, () -> in.readFully(0, new byte[BLOCK]));
        }
        assertArrayEquals(new byte[BLOCK], cluster.read("replaced"));
    }

    /** The number of an inode is used again at once on many file systems: its generation tells the files apart. */
    @Test
    void anInodeThatIsUsedAgainIsAnotherFile() throws Exception {
        for (int i = 0; i < 20; i++) {
            Path file = cluster.write("mine", bytes(1000));
            long inode = cluster.nameNode.inode("/mine");
            var mine = cluster.nameNode.getBlockLocations("/mine", 0, 1000).get(0);
            Files.delete(file);
            Path secret = Files.write(file.resolveSibling("secret"), bytes(1000));
            try (RawClient raw = new RawClient(mine)) {
                assertEquals("ERROR", raw.read(mine.getBlock(), mine.getBlockToken(), 0, 1000));
            }
            boolean again = inode == cluster.nameNode.inode("/secret");
            Files.delete(secret);
            if (again) {
                return;
            }
        }
        Assumptions.abort("this file system uses no inode again");
    }

    @Test
    void aFileThatIsCutWhileItIsWrittenIsNotAcknowledged() throws Exception {
        FSDataOutputStream out = cluster.client.create(path("cut"), true);
        out.write(bytes(100_000));
        out.hflush();
        try (RandomAccessFile cut = new RandomAccessFile(cluster.nameNode.file("/cut").toFile(), "rw")) {
            cut.setLength(10);
        }
        assertThrows(IOException.class, out::close);
    }

    /** Who takes the lease away stops the writer: nothing of it reaches the file any more. */
    @Test
    void aWriterWithoutItsLeaseWritesNothing() throws Exception {
        FSDataOutputStream out = cluster.client.create(path("leased"), true);
        out.write(bytes(5000));
        out.hflush();
        Path file = cluster.nameNode.file("/leased");
        FakeNameNode.lease(file, "another client");
        byte[] before = Files.readAllBytes(file);
        out.write(bytes(5000));
        assertThrows(IOException.class, out::hflush);
        assertThrows(IOException.class, out::close);
        assertArrayEquals(before, Files.readAllBytes(file));
        assertTrue(FakeNameNode.attributes(file).list().contains("lease.holder"));
    }

    private static byte[] bytes(int size) {
        byte[] bytes = new byte[size];
        new Random().nextBytes(bytes);
        return bytes;
    }
}
