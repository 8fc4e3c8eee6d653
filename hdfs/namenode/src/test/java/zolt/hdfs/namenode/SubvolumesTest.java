package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Files below the folder whose numbers are those of other files in it: on btrfs, a snapshot and what it was made of. */
class SubvolumesTest {
    private static final Path FILE = new Path("/file");
    private static final Path IN_SNAPSHOT = new Path("/snapshot/file");

    @Test
    void aFileInASnapshotIsNotTheOneOutside(@TempDir java.nio.file.Path state) throws Exception {
        java.nio.file.Path folder = mount(state);
        try (Service service = Service.start(folder.toString());
                FileSystem root = service.client(); FileSystem nobody = service.client("nobody")) {
            write(root, FILE, "public");
            assertEquals(0, run("btrfs", "subvolume", "snapshot", folder.toString(), folder + "/snapshot"));
            root.setPermission(FILE, new FsPermission((short) 0600));
            write(root, FILE, "secret");
            assertEquals(inode(folder, FILE), inode(folder, IN_SNAPSHOT), "as btrfs has it");
            assertTrue(nobody.getFileStatus(IN_SNAPSHOT).isFile());
            assertThrows(IOException.class, () -> read(nobody, IN_SNAPSHOT));
            assertThrows(IOException.class, () -> append(root, IN_SNAPSHOT));
            assertEquals("secret", read(root, FILE));
            assertEquals("public", Files.readString(folder.resolve("snapshot/file")));
        } finally {
            run("umount", folder.toString());
        }
    }

    private static java.nio.file.Path mount(java.nio.file.Path state) throws Exception {
        java.nio.file.Path image = state.resolve("image");
        java.nio.file.Path folder = Files.createDirectory(state.resolve("folder"));
        try (var channel = Files.newByteChannel(image, java.nio.file.StandardOpenOption.CREATE_NEW,
                java.nio.file.StandardOpenOption.WRITE)) {
            channel.position((256 << 20) - 1).write(java.nio.ByteBuffer.allocate(1));
        }
        assumeTrue(run("sh", "-c", "command -v btrfs && mkfs.btrfs -q '" + image + "'") == 0,
                "no btrfs can be made here (btrfs-progs)");
        assertEquals(0, run("chmod", "755", state.toString()), "callers go through it");
        assumeTrue(run("mount", "-o", "loop,nosymfollow", image.toString(), folder.toString()) == 0,
                "no image of btrfs can be mounted here");
        return folder;
    }

    /** Writes into the file that is there: its number stays. */
    private static void write(FileSystem client, Path path, String text) throws IOException {
        if (client.exists(path)) {
            client.truncate(path, 0);
        }
        try (FSDataOutputStream out = client.exists(path) ? client.append(path) : client.create(path)) {
            out.writeBytes(text);
        }
    }

    private static void append(FileSystem client, Path path) throws IOException {
        try (FSDataOutputStream out = client.append(path)) {
            out.write(1);
        }
    }

    private static String read(FileSystem client, Path path) throws IOException {
        try (FSDataInputStream in = client.open(path)) {
            return new String(in.readAllBytes());
        }
    }

    private static Object inode(java.nio.file.Path folder, Path path) throws IOException {
        return Files.getAttribute(java.nio.file.Path.of(folder + path.toUri().getPath()), "unix:ino");
    }

    private static int run(String... command) throws Exception {
        return new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(ProcessBuilder.Redirect.DISCARD)
                .start().waitFor();
    }
}
