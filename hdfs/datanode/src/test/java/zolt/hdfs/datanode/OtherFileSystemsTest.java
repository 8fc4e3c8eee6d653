package zolt.hdfs.datanode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zolt.hdfs.datanode.TestCluster.path;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;

/** File systems that the tests mount for themselves, where they may: a full one, and one without file handles. */
class OtherFileSystemsTest {
    private static final int BLOCK = (int) FakeNameNode.BLOCK;

    @Test
    void aFullFileSystem() throws Exception {
        Path folder = Files.createTempDirectory("full");
        mount(folder, "-t", "tmpfs", "-o", "size=8m", "none");
        try (TestCluster cluster = new TestCluster(folder, true)) {
            cluster.start();
            byte[] kept = bytes(BLOCK);
            cluster.write("kept", kept);
            byte[] bytes = bytes(BLOCK);
            FSDataOutputStream out = cluster.client.create(path("much"), true);
            int acknowledged = 0;
            IOException full = null;
            while (full == null) {
                assertTrue(acknowledged < 10 * BLOCK);
                try {
                    out.write(bytes, 0, BLOCK / 2);
                    out.hflush();
                    acknowledged += BLOCK / 2;
                } catch (IOException e) {
                    full = e;
                }
            }
            assertThrows(IOException.class, out::close);
            byte[] there = Files.readAllBytes(folder.resolve("much"));
            assertTrue(there.length >= acknowledged && acknowledged > 4 * BLOCK, acknowledged + " of " + there.length);
            for (int from = 0; from < acknowledged; from += BLOCK / 2) {
                assertArrayEquals(Arrays.copyOf(bytes, BLOCK / 2), Arrays.copyOfRange(there, from, from + BLOCK / 2));
            }
            assertArrayEquals(kept, cluster.read("kept"));
            // With room again it goes on.
            Files.delete(folder.resolve("much"));
            cluster.write("again", bytes);
            assertArrayEquals(bytes, cluster.read("again"));
        } finally {
            run("umount", folder.toString());
            Files.deleteIfExists(folder);
        }
    }

    /** Its files are found by the path that a NameNode knows, asked for once and again when it leads elsewhere. */
    @Test
    void aFileSystemWithoutHandles() throws Exception {
        Path work = Files.createTempDirectory("overlay");
        for (String name : new String[] {"lower", "upper", "work", "folder"}) {
            Files.createDirectory(work.resolve(name));
        }
        Path folder = work.resolve("folder");
        mount(folder, "-t", "overlay", "-o", "lowerdir=" + work.resolve("lower") + ",upperdir=" + work.resolve("upper")
                + ",workdir=" + work.resolve("work"), "none");
        try (TestCluster cluster = new TestCluster(folder, true)) {
            cluster.start();
            byte[] bytes = bytes(3 * BLOCK + 3);
            cluster.write("file", bytes);
            assertArrayEquals(bytes, cluster.read("file"));
            assertEquals(1, cluster.nameNode.pathsAsked.size());
            try (FSDataInputStream in = cluster.client.open(path("file"))) {
                in.readFully(0, new byte[10]);
                Files.move(folder.resolve("file"), folder.resolve("elsewhere"));
                // The inode is what was asked for, wherever it is by now.
                byte[] rest = new byte[bytes.length];
                in.readFully(0, rest);
                assertArrayEquals(bytes, rest);
            }
            assertEquals(2, cluster.nameNode.pathsAsked.size());
            // Who was told of the file before it went is not given the one that has name and inode now.
            LocatedBlock told = cluster.nameNode.getBlockLocations("/elsewhere", 0, 1).get(0);
            Files.delete(folder.resolve("elsewhere"));
            Files.write(folder.resolve("elsewhere"), new byte[bytes.length]);
            try (RawClient raw = new RawClient(told)) {
                assertEquals("ERROR", raw.read(told.getBlock(), told.getBlockToken(), 0, 10));
            }
        } finally {
            run("umount", folder.toString());
            run("rm", "-r", work.toString());
        }
    }

    private static void mount(Path folder, String... how) throws Exception {
        String[] command = new String[how.length + 2];
        command[0] = "mount";
        System.arraycopy(how, 0, command, 1, how.length);
        command[how.length + 1] = folder.toString();
        Assumptions.assumeTrue(run(command) == 0, "not allowed to mount here");
    }

    private static int run(String... command) throws Exception {
        return new ProcessBuilder(command).inheritIO().start().waitFor();
    }

    private static byte[] bytes(int size) {
        byte[] bytes = new byte[size];
        new Random(size).nextBytes(bytes);
        return bytes;
    }
}
