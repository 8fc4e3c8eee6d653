package zolt.hdfs.block;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;
import zolt.hdfs.namespace.NativeFiles;

/**
 * Files opened by inode and generation: where the tests' temporary files are, on tmpfs, and in the folders of the
 * variable ZOLT_TEST_FOLDERS, for file systems that not every machine has.
 */
class HandleLayoutTest {

    @TestFactory
    List<DynamicTest> everyFileSystem() throws Exception {
        List<Path> folders = new ArrayList<>(List.of(Path.of(System.getProperty("java.io.tmpdir")), Path.of("/dev/shm")));
        String more = System.getenv("ZOLT_TEST_FOLDERS");
        if (more != null) {
            for (String folder : more.split(":")) {
                folders.add(Path.of(folder));
            }
        }
        List<DynamicTest> tests = new ArrayList<>();
        for (Path folder : folders) {
            tests.add(DynamicTest.dynamicTest(Files.getFileStore(folder).type() + " " + folder, () -> tryIn(folder)));
        }
        return tests;
    }

    private void tryIn(Path folder) throws Exception {
        Path file = Files.createTempFile(folder, "handle", null);
        int root = open(folder);
        int opened = open(file);
        try {
            Optional<HandleLayout> found = HandleLayout.of(root, opened);
            assumeTrue(found.isPresent(), "no handles that can be opened on " + Files.getFileStore(folder).type());
            HandleLayout layout = found.get();
            long inode = (long) Files.getAttribute(file, "unix:ino");
            int generation = layout.generation(opened);
            Files.writeString(file, "through the handle");
            int again = NativeFiles.openByHandle(root, layout.handle(inode, generation), NativeFiles.O_RDONLY);
            assertTrue(again >= 0);
            assertEquals("through the handle", Files.readString(Path.of("/proc/self/fd/" + again)));
            NativeFiles.close(again);

            // A generation of 0 means any to some file systems: who opens by it has to look.
            int any = NativeFiles.openByHandle(root, layout.handle(inode, 0), NativeFiles.O_PATH);
            assertFalse(any >= 0 && layout.generation(any) == 0);
            NativeFiles.close(any);

            NativeFiles.close(opened);
            Files.delete(file);
            assertTrue(NativeFiles.openByHandle(root, layout.handle(inode, generation), NativeFiles.O_PATH) < 0);
        } finally {
            NativeFiles.close(root);
            Files.deleteIfExists(file);
        }
    }

    @Test
    void aFileSystemWithoutHandlesHasNoLayout() {
        int proc = open(Path.of("/proc"));
        assertTrue(HandleLayout.of(proc, proc).isEmpty());
        NativeFiles.close(proc);
    }

    private static int open(Path path) {
        return NativeFiles.open(NativeFiles.NO_DIRECTORY, path.toString().getBytes(StandardCharsets.UTF_8),
                NativeFiles.O_RDONLY, 0);
    }

}
