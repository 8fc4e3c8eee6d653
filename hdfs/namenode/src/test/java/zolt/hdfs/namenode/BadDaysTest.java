package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.io.InputStream;
import java.util.List;
import java.util.Random;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.tools.DFSAdmin;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A file system that is full or may only be read, and a service without DataNodes. */
class BadDaysTest {
    private static final Path FILE = new Path("/file");
    private static final int MB = 1 << 20;
    private static final int ROOM = 16;

    @TempDir
    private java.nio.file.Path folder;

    private static int run(String... command) throws Exception {
        return new ProcessBuilder(command).inheritIO().start().waitFor();
    }

    private void mount() throws Exception {
        assumeTrue(run("mount", "-t", "tmpfs", "-o", "size=" + ROOM + "m,nosymfollow,mode=755", "none",
                folder.toString()) == 0,
                "not allowed to mount here");
    }

    private static byte[] bytes(int size) {
        byte[] bytes = new byte[size];
        new Random(size).nextBytes(bytes);
        return bytes;
    }

    private static byte[] read(FileSystem client, Path path) throws IOException {
        try (InputStream in = client.open(path)) {
            return in.readAllBytes();
        }
    }

    private static void write(FileSystem client, Path path, byte[] bytes) throws IOException {
        try (FSDataOutputStream out = client.create(path)) {
            out.write(bytes);
        }
    }

    /** Who writes is told that there is no room; what was acknowledged stays, and all else goes on. */
    @Test
    void aFullFileSystem() throws Exception {
        mount();
        try (Service service = Service.start(folder.toString()); FileSystem client = service.client()) {
            byte[] kept = bytes(3 * MB);
            FSDataOutputStream out = client.create(FILE);
            out.write(kept);
            out.hflush();
            FSDataOutputStream other = client.create(new Path("/other"));
            IOException full = assertThrows(IOException.class, () -> {
                for (int i = 0; i < 2 * ROOM; i++) {
                    other.write(bytes(MB));
                    other.hflush();
                }
            });
            assertThrows(IOException.class, other::close);
            assertTrue(full.getMessage().length() < 1000, full.getMessage());
            assertEquals(3 * MB, client.getFileStatus(FILE).getLen());
            assertArrayEquals(kept, read(client, FILE), "what was flushed before");
            assertTrue(client.delete(new Path("/other"), false), "room is made");
            out.write(kept);
            out.close();
            assertEquals(2 * 3 * MB, client.getFileStatus(FILE).getLen());
            write(client, new Path("/again"), kept);
            assertArrayEquals(kept, read(client, new Path("/again")));
        } finally {
            run("umount", folder.toString());
        }
    }

    /** It may be read as before; each change is refused in a line that says why, and nothing is left half done. */
    @Test
    void aFileSystemThatMayOnlyBeRead() throws Exception {
        mount();
        try (Service service = Service.start(folder.toString()); FileSystem client = service.client()) {
            byte[] bytes = bytes(MB);
            write(client, FILE, bytes);
            client.mkdirs(new Path("/directory"));
            assertEquals(0, run("mount", "-o", "remount,ro", folder.toString()));
            assertArrayEquals(bytes, read(client, FILE));
            FileStatus status = client.getFileStatus(FILE);
            List<org.junit.jupiter.api.function.Executable> changes = List.of(
                    () -> client.mkdirs(new Path("/new")), () -> write(client, new Path("/new"), bytes),
                    () -> client.append(FILE), () -> client.delete(FILE, false),
                    () -> client.rename(FILE, new Path("/new")),
                    () -> client.setPermission(FILE, new FsPermission((short) 0)),
                    () -> client.setOwner(FILE, "nobody", null), () -> client.setTimes(FILE, 1, 1),
                    () -> client.truncate(FILE, 1), () -> client.setXAttr(FILE, "user.a", new byte[1]));
            for (int i = 0; i < changes.size(); i++) {
                IOException refused = assertThrows(IOException.class, changes.get(i), "change " + i);
                assertTrue(refused.getMessage().contains("Read-only file system"), i + ": " + refused.getMessage());
            }
            Commands.Result put = Commands.run(service.conf(), new FsShell(), "root", "-mkdir", "/new");
            assertEquals("mkdir: Read-only file system", put.err().trim().replaceAll(": /.*", ""), put.err());
            assertEquals(2, client.listStatus(new Path("/")).length);
            assertEquals(status, client.getFileStatus(FILE));
            assertEquals(status.getModificationTime(), client.getFileStatus(FILE).getModificationTime());
            service.restartNameNode();
            Configuration patient = service.conf();
            patient.setBoolean("dfs.client.retry.policy.enabled", true);
            patient.set("dfs.client.retry.policy.spec", "100,10");
            try (FileSystem later = FileSystem.newInstance(service.uri(), patient)) {
                assertArrayEquals(bytes, read(later, FILE), "it is served by one that starts now, too");
                assertEquals(0, run("mount", "-o", "remount,rw", folder.toString()));
                assertTrue(later.delete(FILE, false));
                write(later, new Path("/new"), bytes);
            }
        } finally {
            run("umount", folder.toString());
        }
    }

    /** All that is of names goes on; bytes cannot be written or read, and it is said why. */
    @Test
    void noDataNode() throws Exception {
        try (Service service = Service.startWithoutDataNodes(); FileSystem client = service.client()) {
            Path base = new Path("/no-data-node");
            client.delete(base, true);
            assertTrue(client.mkdirs(base));
            client.create(new Path(base, "empty")).close();
            assertEquals(0, read(client, new Path(base, "empty")).length);
            java.nio.file.Files.write(java.nio.file.Path.of(Service.FOLDER, "no-data-node", "made"), bytes(10));
            assertEquals(10, client.getFileStatus(new Path(base, "made")).getLen());
            assertEquals(2, client.listStatus(base).length);
            Configuration conf = service.conf();
            conf.setInt("dfs.client.block.write.locateFollowingBlock.retries", 0);
            conf.setInt("dfs.client.retry.window.base", 10);
            Commands.Result put = Commands.run(conf, new FsShell(), "root", "-cp", "/no-data-node/made",
                    "/no-data-node/copy");
            assertEquals(1, put.code());
            assertTrue(put.err().contains("Could not obtain block"), put.err());
            java.nio.file.Path local = java.nio.file.Files.write(folder.resolve("local"), bytes(10));
            put = Commands.run(conf, new FsShell(), "root", "-put", local.toString(), "/no-data-node/put");
            assertEquals(1, put.code());
            assertTrue(put.err().startsWith("put: ") && put.err().contains("There are no live DataNodes"), put.err());
            assertEquals(1, put.err().trim().lines().count(), put.err());
            Commands.Result report = Commands.run(conf, new DFSAdmin(), "root", "-report");
            assertEquals(0, report.code(), report.err());
            assertTrue(client.rename(new Path(base, "made"), new Path(base, "renamed")));
            assertTrue(client.delete(base, true));
            assertFalse(client.exists(base));
        }
    }
}
