package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.time.Instant;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Kernel;

class FileStatusTest {
    private static final int FILES_COMPARED = 3000;

    @TempDir Path dir;
    Fixture files;
    final FileStatus status = new FileStatus();

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
    }

    @Test
    void aTreeIsAsTheKernelHasIt() throws Exception {
        List<Path> paths;
        try (Stream<Path> tree = Files.walk(Path.of("/usr"))) {
            paths = tree.filter(path -> !Files.isSymbolicLink(path)).limit(FILES_COMPARED).toList();
        }
        assertEquals(FILES_COMPARED, paths.size());
        for (Path path : paths) {
            for (boolean full : new boolean[] {true, false}) {
                if (full) {
                    status.read(path.toString());
                } else {
                    status.readFast(path.toString());
                }
                long[] wanted = Kernel.stat(path.toString(), false);
                assertEquals(wanted[0], status.inode());
                assertEquals(wanted[1], status.size());
                assertEquals(wanted[2], status.uid());
                assertEquals(wanted[3], status.gid());
                assertEquals(wanted[4], status.mode());
                assertEquals(Instant.ofEpochSecond(wanted[5], wanted[6]), status.accessTime());
                assertEquals(Instant.ofEpochSecond(wanted[7], wanted[8]), status.modificationTime());
                assertEquals(Instant.ofEpochSecond(wanted[9], wanted[10]), status.changeTime());
                assertEquals(path.toString(), status.path());
                assertEquals(full, status.isFull());
            }
        }
    }

    @Test
    void modesAreAsInAListing() throws Exception {
        for (int bits = 0; bits <= 07777; bits += 0111) {
            Fixture.run("chmod", Integer.toOctalString(bits), files.file);
            status.readFast(files.file);
            assertEquals(Fixture.run("stat", "-c", "%A", files.file).trim(), status.modeText());
            assertEquals(bits, status.permissions());
        }
        Fixture.run("setfacl", "-m", "u:nobody:r", files.file);
        status.read(files.file);
        assertTrue(status.modeText().endsWith("+"));
        assertTrue(status.hasAcl());
    }

    @Test
    void everyTypeIsKnown() throws Exception {
        String fifo = dir.resolve("fifo").toString();
        Fixture.run("mkfifo", fifo);
        status.readFast(fifo);
        assertEquals(FileType.FIFO, status.type());
        status.readFast("/dev/null");
        assertEquals(FileType.CHARACTER_DEVICE, status.type());
        status.readFast(files.link);
        assertEquals(FileType.FILE, status.type());
    }

    /** The library's own rule: both times must be later than those that it is told. */
    @Test
    void aFileOfTheEpochCanBeRead() throws Exception {
        FileOperations.setTimes(files.file, Instant.EPOCH, Instant.EPOCH);
        status.read(files.file);
        assertEquals(Instant.EPOCH, status.modificationTime());
        FileOperations.setTimes(files.file, Instant.ofEpochSecond(-10), null);
        status.read(files.file);
        assertEquals(-10, status.modificationSeconds());
    }

    @Test
    void aRefreshReadsWhatHasChanged() throws Exception {
        status.read(files.file);
        assertFalse(status.refresh());
        assertFalse(status.refreshFast());
        assertFalse(status.isChanged());
        later();
        Files.writeString(Path.of(files.file), "longer than before");
        assertTrue(status.isChanged());
        assertEquals(11, status.size());
        assertTrue(status.refresh());
        assertEquals(18, status.size());
        assertFalse(status.refresh());

        later();
        FileOperations.setPermissions(files.file, 0600);
        assertTrue(status.isChanged());
        assertFalse(status.refresh(), "the modification time is the old one");
        assertEquals(0644, status.permissions());
        assertTrue(status.refreshFast());
        assertEquals(0600, status.permissions());
        assertFalse(status.isChanged());
    }

    /** Time stamps are those of the kernel's clock tick. */
    private static void later() throws InterruptedException {
        Thread.sleep(30);
    }

    @Test
    void aFastStatusHasNothingLeftOfAFullOne() throws Exception {
        ZoltLibrary.setDefaults(1 << 20, 3);
        Lease.of(files.file).set("writer");
        status.read(files.file);
        assertEquals(1 << 20, status.blockSize());
        assertEquals(3, status.replication());
        assertEquals(6, status.leaseLength());
        later();
        FileOperations.setPermissions(files.file, 0600);
        assertTrue(status.refreshFast());
        assertEquals(1 << 20, status.blockSize());
        assertTrue(status.isFull());
        status.readFast(files.file);
        assertEquals(0, status.blockSize());
        assertEquals(0, status.replication());
        assertEquals(0, status.leaseLength());
        assertFalse(status.isFull());
        status.withLease(false).read(files.file);
        assertEquals(0, status.leaseLength());
    }

    @Test
    void afterAFailureThereIsNothingToRead() throws Exception {
        assertThrows(IllegalStateException.class, status::size);
        assertThrows(IllegalStateException.class, status::refresh);
        status.read(files.file);
        String missing = dir.resolve("missing").toString();
        assertThrows(NoSuchFileException.class, () -> status.read(missing));
        assertThrows(IllegalStateException.class, status::size);
        status.read(files.file);
        assertThrows(NoSuchFileException.class, () -> status.readFast(missing));
        assertThrows(IllegalStateException.class, status::inode);
        status.read(files.file);
        Files.delete(Path.of(files.file));
        assertThrows(NoSuchFileException.class, status::isChanged);
        assertEquals(11, status.size());
        assertThrows(NoSuchFileException.class, status::refresh);
        assertThrows(IllegalStateException.class, status::path);
        assertEquals("path is null",
                assertThrows(NullPointerException.class, () -> status.read(null)).getMessage());
    }

    @Test
    void aLinkItselfHasNoFullStatus() {
        status.followLinks(false);
        assertTrue(assertThrows(IOException.class, () -> status.read(files.link)).getMessage()
                .startsWith("Too many levels of symbolic links"));
    }

    @Test
    void theCheckIsTheUsersAndTheReadingTheServices() throws Exception {
        FileOperations.setPermissions(files.file, 0);
        FileOperations.setPermissions(files.directory, 0700);
        Fixture.onThread("as nobody", () -> {
            try (Identity as = Identity.of("nobody")) {
                status.read(files.file);
                assertThrows(AccessDeniedException.class, () -> status.read(files.inner));
            }
            return null;
        });
    }

    @Test
    void readingTakesNothingOfTheHeap() throws Throwable {
        FileStatus own = new FileStatus();
        long[] sum = new long[1];
        Allocation.expectAtMost(0, () -> {
            own.read(files.file);
            sum[0] += own.inode() + own.size() + own.uid() + own.gid() + own.mode() + own.blockSize()
                    + own.replication() + own.leaseLength() + own.permissions()
                    + own.modificationSeconds() + own.modificationNanos() + own.changeSeconds()
                    + own.changeNanos() + own.accessSeconds() + own.accessNanos()
                    + own.type().ordinal() + (own.hasAcl() || own.isDirectory() ? 1 : 0);
            own.readFast(files.file);
            if (own.refresh() || own.refreshFast() || own.isChanged()) {
                throw new AssertionError("nothing has changed");
            }
        });
        assertTrue(sum[0] != 0);
    }
}
