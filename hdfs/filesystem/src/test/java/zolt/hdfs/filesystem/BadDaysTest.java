package zolt.hdfs.filesystem;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.URI;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** A file system that is full, read-only or gone, and writers that meet or die. */
class BadDaysTest {
    private static final Path FILE = new Path("/bad/file");
    private static final int KILOBYTES = 1024;

    private java.nio.file.Path mount;
    private FileSystem files;

    @BeforeEach
    void mount() throws Exception {
        mount = TestFolder.make("mount");
        run("mount", "-t", "tmpfs", "-o", "size=256k,nr_inodes=20,mode=755", "tmpfs", mount.toString());
        Configuration conf = TestFolder.conf();
        conf.set("fs.zolt.root", mount.toString());
        files = FileSystem.newInstance(TestFolder.NAME, conf);
        files.mkdirs(FILE.getParent());
    }

    @AfterEach
    void unmount() throws Exception {
        files.close();
        new ProcessBuilder("umount", "-l", mount.toString()).start().waitFor();
    }

    private static void run(String... command) throws Exception {
        Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
        String said = new String(process.getInputStream().readAllBytes());
        assertEquals(0, process.waitFor(), said);
    }

    private static void write(FSDataOutputStream out, int kilobytes) throws IOException {
        byte[] some = new byte[KILOBYTES];
        for (int i = 0; i < kilobytes; i++) {
            out.write(some);
        }
    }

    @Test
    void aFullFileSystemIsToldAndWorksAgain() throws Exception {
        FSDataOutputStream out = files.create(FILE);
        write(out, 100);
        out.hflush();
        IOException full = assertThrows(IOException.class, () -> {
            write(out, 400);
            out.hflush();
        });
        assertTrue(full.getMessage().contains("No space left on device"), full.getMessage());
        assertTrue(full.getMessage().contains(FILE.toString()), full.getMessage());
        assertThrows(IOException.class, out::close, "what was in the buffer is lost, and that is told");
        assertTrue(files.getFileStatus(FILE).getLen() >= 100 * KILOBYTES, "what was flushed is there");
        try (FSDataOutputStream atOnce = files.append(FILE)) {
            assertThrows(IOException.class, () -> atOnce.write(new byte[400 * KILOBYTES]));
        }
        assertTrue(files.delete(FILE, false));
        try (FSDataOutputStream again = files.create(FILE)) {
            write(again, 100);
        }
        assertEquals(100 * KILOBYTES, files.getFileStatus(FILE).getLen());
    }

    /** The target has what it had, and what is written to it by hand then is nothing half joined. */
    @Test
    void whatCannotBeJoinedLeavesNoMark() throws Exception {
        java.nio.file.Path target = Files.write(mount.resolve("bad/target"), new byte[100 * KILOBYTES]);
        java.nio.file.Path source = Files.write(mount.resolve("bad/source"), new byte[120 * KILOBYTES]);
        Files.setPosixFilePermissions(target, PosixFilePermissions.fromString("rw-r--r--"));
        IOException full = assertThrows(IOException.class, () -> files.concat(new Path("/bad/target"),
                new Path[] {new Path("/bad/source")}));
        assertTrue(full.getMessage().contains("No space left on device"), full.getMessage());
        assertEquals(100 * KILOBYTES, Files.size(target));
        Files.write(target, new byte[10], StandardOpenOption.APPEND);
        files.append(new Path("/bad/target")).close();
        assertEquals(100 * KILOBYTES + 10, Files.size(target));
        assertEquals(120 * KILOBYTES, Files.size(source));
    }

    @Test
    void noNameIsLeftWhereThereIsNoInode() throws Exception {
        IOException full = assertThrows(IOException.class, () -> {
            for (int i = 0; i < 40; i++) {
                files.create(new Path("/bad/" + i)).close();
            }
        });
        assertTrue(full.getMessage().contains("No space left on device"), full.getMessage());
        assertThrows(IOException.class, () -> files.mkdirs(new Path("/bad/directory")));
        int there = files.listStatus(FILE.getParent()).length;
        assertTrue(there < 40, there + " files");
    }

    @Test
    void aReadOnlyFileSystemIsReadAndNothingElse() throws Exception {
        files.create(FILE).close();
        run("mount", "-o", "remount,ro", mount.toString());
        String wanted = "Read-only file system";
        assertTrue(refusal(() -> files.create(new Path("/bad/new")).close()).contains(wanted));
        assertTrue(refusal(() -> files.append(FILE).close()).contains(wanted));
        assertTrue(refusal(() -> files.truncate(FILE, 0)).contains(wanted));
        assertTrue(refusal(() -> files.mkdirs(new Path("/bad/new"))).contains(wanted));
        assertTrue(refusal(() -> files.delete(FILE, false)).contains(wanted));
        assertTrue(refusal(() -> files.rename(FILE, new Path("/bad/new"))).contains(wanted));
        assertTrue(refusal(() -> files.setPermission(FILE, new FsPermission((short) 0600))).contains(wanted));
        assertTrue(refusal(() -> files.setTimes(FILE, 1, 1)).contains(wanted));
        assertEquals(-1, files.open(FILE).read());
    }

    private static String refusal(org.junit.jupiter.api.function.Executable call) {
        return assertThrows(IOException.class, call).getMessage();
    }

    /** What is below the mount point is another folder: neither is anything found there, nor made. */
    @Test
    void aVanishedMountIsNoEmptyFileSystem() throws Exception {
        files.create(FILE).close();
        FSDataInputStream open = files.open(FILE);
        run("umount", "-l", mount.toString());
        assertFalse(assertThrows(IOException.class, () -> files.getFileStatus(FILE)) instanceof FileNotFoundException);
        assertThrows(IOException.class, () -> files.exists(FILE));
        assertThrows(IOException.class, () -> files.open(FILE));
        assertThrows(IOException.class, () -> files.create(FILE));
        assertThrows(IOException.class, () -> files.mkdirs(FILE));
        assertThrows(IOException.class, () -> files.delete(FILE, true));
        assertThrows(IOException.class, () -> files.rename(FILE, new Path("/new")));
        assertThrows(IOException.class, () -> files.listStatus(new Path("/")));
        try (var below = Files.list(mount)) {
            assertEquals(0, below.count());
        }
        Files.createFile(Files.createDirectory(mount.resolve("bad")).resolve("file"));
        assertThrows(IOException.class, () -> files.rename(FILE, new Path("/bad/new")));
        assertTrue(Files.exists(mount.resolve("bad/file")));
        assertEquals(-1, open.read(), "what is open stays open");
        open.close();
    }

    @Test
    void oneWritesAtATime() throws Exception {
        try (FSDataOutputStream out = files.create(FILE)) {
            out.write(1);
            out.hflush();
            assertThrows(AlreadyBeingCreatedException.class, () -> files.append(FILE));
            assertThrows(AlreadyBeingCreatedException.class, () -> files.truncate(FILE, 0));
            assertThrows(IOException.class, () -> files.create(FILE, false));
            assertEquals(1, files.open(FILE).read(), "readers need not wait");
        }
        try (FSDataOutputStream out = files.append(FILE)) {
            assertThrows(AlreadyBeingCreatedException.class, () -> files.append(FILE));
            out.write(2);
        }
        assertEquals(2, files.getFileStatus(FILE).getLen());
    }

    /** Who overwrites makes another file, as with HDFS: whoever reads or writes the old one goes on with it. */
    @Test
    void anOverwrittenFileGoesOnForThoseWhoHaveIt() throws Exception {
        FSDataOutputStream old = files.create(FILE);
        old.write(1);
        old.hflush();
        FSDataInputStream reader = files.open(FILE);
        try (FSDataOutputStream other = files.create(FILE, true)) {
            other.write(2);
        }
        assertEquals(1, reader.read());
        old.close();
        reader.close();
        assertEquals(2, files.open(FILE).read());
    }

    @Test
    void aFileWithALeaseOfTheServiceIsItsWriters() throws Exception {
        files.create(FILE).close();
        java.nio.file.Path there = mount.resolve("bad/file");
        run("setfattr", "-n", "trusted.x", "-v", "1", there.toString());  // the tool works
        Configuration conf = TestFolder.conf();
        FileSystem onDisk = FileSystem.newInstance(TestFolder.NAME, conf);  // tmpfs has no attributes of users
        Path file = new Path("/leased");
        onDisk.create(file).close();
        run("setfattr", "-n", "user.lease.holder", "-v", "DFSClient_1", TestFolder.folder().resolve("leased").toString());
        assertThrows(AlreadyBeingCreatedException.class, () -> onDisk.append(file));
        assertThrows(AlreadyBeingCreatedException.class, () -> onDisk.truncate(file, 0));
        run("setfattr", "-x", "user.lease.holder", TestFolder.folder().resolve("leased").toString());
        onDisk.append(file).close();
        onDisk.delete(file, false);
        onDisk.close();
    }

    /** Starts another program on a folder. */
    private static Process start(Class<?> program, java.nio.file.Path root, String... before) throws IOException {
        List<String> command = new ArrayList<>(List.of(before));
        command.addAll(List.of(System.getProperty("java.home") + "/bin/java", "-XX:TieredStopAtLevel=1",
                "-Dzolt.library=" + System.getProperty("zolt.library"),
                "-Dzolt.hdfs.library=" + System.getProperty("zolt.hdfs.library"), "-cp",
                System.getProperty("java.class.path"), program.getName(), root.toString()));
        return new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
    }

    /** What was flushed stays, and nobody waits for the dead. */
    @Test
    void aWriterThatIsKilledLeavesWhatItFlushed() throws Exception {
        Process child = start(Writer.class, mount);
        assertEquals('!', child.getInputStream().read());
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(FILE));
        child.destroyForcibly();
        assertTrue(child.waitFor(30, TimeUnit.SECONDS));
        assertEquals(3, files.getFileStatus(FILE).getLen());
        try (FSDataOutputStream out = files.append(FILE)) {
            out.write(4);
        }
        byte[] all = new byte[4];
        files.open(FILE).readFully(all);
        assertArrayEquals(new byte[] {1, 2, 3, 4}, all);
    }

    /** Writes, flushes, writes and waits for its end. */
    static final class Writer {
        private Writer() {}

        public static void main(String[] arguments) throws Exception {
            System.setProperty("zolt.test.root", arguments[0]);
            FSDataOutputStream out = FileSystem.newInstance(URI.create("zolt:///"), new Configuration()).create(FILE);
            out.write(new byte[] {1, 2, 3});
            out.hflush();
            out.write(9);
            System.out.write('!');
            System.out.flush();
            Thread.sleep(60_000);
        }
    }

    /** Of a file that was being joined to another one, the next writer finds nothing, and the file is still there. */
    @Test
    void whatAKilledProgramHasJoinedByHalfIsCutOff() throws Exception {
        java.nio.file.Path root = TestFolder.make("joined");
        java.nio.file.Path target = Files.write(root.resolve("target"), new byte[] {1, 2, 3});
        java.nio.file.Path source = root.resolve("source");
        long size = 8L << 30;
        try (FileChannel made = FileChannel.open(source, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE)) {
            made.write(ByteBuffer.wrap(new byte[] {4, 5, 6}));
            made.write(ByteBuffer.allocate(1), size - 1);  // a hole
        }
        Process child = start(Joiner.class, root);
        while (Files.size(target) == 3) {
            assertTrue(child.isAlive());
            Thread.sleep(1);
        }
        child.destroyForcibly();
        assertTrue(child.waitFor(30, TimeUnit.SECONDS));
        assertTrue(Files.size(target) < 3 + size, "it was quicker than its end");
        Configuration conf = TestFolder.conf();
        conf.set("fs.zolt.root", root.toString());
        try (FileSystem there = FileSystem.newInstance(TestFolder.NAME, conf)) {
            assertEquals(0, there.getXAttrs(new Path("/target")).size(), "what is kept for the next writer is nobody's");
            try (FSDataOutputStream out = there.append(new Path("/target"))) {
                out.write(9);
            }
            assertArrayEquals(new byte[] {1, 2, 3, 9}, Files.readAllBytes(target));
            assertEquals(size, Files.size(source));
        }
        Files.delete(source);
    }

    /** What others have written since is no part of the other file, and stays. */
    @Test
    void whatWasWrittenBehindAHalfJoinedFileStays() throws Exception {
        java.nio.file.Path target = Files.write(TestFolder.folder().resolve("half"), new byte[] {1, 2, 4, 5, 7});
        Files.write(TestFolder.folder().resolve("other"), new byte[] {4, 5, 6});
        run("setfattr", "-n", "user.zolt.joining", "-v", "2/other", target.toString());
        try (FileSystem onDisk = TestFolder.files()) {
            onDisk.append(new Path("/half")).close();
            assertArrayEquals(new byte[] {1, 2, 4, 5, 7}, Files.readAllBytes(target));
            Files.write(target, new byte[] {1, 2, 4, 5});
            onDisk.append(new Path("/half")).close();
            assertEquals(4, Files.size(target), "the mark is gone");
            run("setfattr", "-n", "user.zolt.joining", "-v", "2/other", target.toString());
            onDisk.setPermission(new Path("/half"), new FsPermission((short) 0664));
            onDisk.append(new Path("/half")).close();
            assertEquals(4, Files.size(target), "others may have made the mark");
            onDisk.setPermission(new Path("/half"), new FsPermission((short) 0644));
            onDisk.setOwner(new Path("/other"), "nobody", null);
            onDisk.append(new Path("/half")).close();
            assertEquals(4, Files.size(target), "the other file is another user's");
            run("setfattr", "-n", "user.zolt.joining", "-v", "2/other", target.toString());
            onDisk.setOwner(new Path("/other"), "root", null);
            onDisk.append(new Path("/half")).close();
            assertArrayEquals(new byte[] {1, 2}, Files.readAllBytes(target));
            onDisk.delete(new Path("/half"), false);
            onDisk.delete(new Path("/other"), false);
        }
    }

    static final class Joiner {
        private Joiner() {}

        public static void main(String[] arguments) throws Exception {
            System.setProperty("zolt.test.root", arguments[0]);
            FileSystem.newInstance(URI.create("zolt:///"), new Configuration()).concat(new Path("/target"),
                    new Path[] {new Path("/source")});
        }
    }
}
