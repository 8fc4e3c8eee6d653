package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.time.Instant;
import java.util.Locale;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class ZoltLibraryTest {
    @TempDir Path dir;

    @Test
    void whatIsLoadedIsWhatWasNamed() throws Exception {
        assertEquals(Path.of(System.getProperty("zolt.library")).toRealPath(),
                ZoltLibrary.file().orElseThrow());
        assertEquals("libzolt.so", ZoltLibrary.clientFile().orElseThrow().getFileName().toString());
        assertTrue(ZoltLibrary.aclFile().orElseThrow().toString().contains("libacl"));
        assertEquals("1.0.0", ZoltLibrary.version());
    }

    @Test
    void theLevelIsTheNativeOne() {
        String java = System.getProperty("zolt.test.level").toLowerCase(Locale.ROOT);
        assertEquals(Map.of("info", "warn").getOrDefault(java, java), ZoltLibrary.logLevel());
    }

    @Test
    void settingsThatMakeNoSenseAreRefused() throws Exception {
        Fixture files = new Fixture(dir);
        ZoltLibrary.setDefaults(1 << 20, 2);
        assertThrows(IllegalArgumentException.class, () -> ZoltLibrary.setDefaults(0, 3));
        assertThrows(IllegalArgumentException.class, () -> ZoltLibrary.setDefaults(4096, 0));
        assertEquals(1 << 20, FileStatus.of(files.file).blockSize());
        assertFalse(ZoltLibrary.alwaysSuper());
    }

    @Test
    void mountsAreThoseOfTheTable() throws Exception {
        assertEquals("proc", ZoltLibrary.device("/proc", "proc"));
        assertEquals("No such file or directory: none", assertThrows(NoSuchFileException.class,
                () -> ZoltLibrary.device("/proc", "none")).getMessage());
    }

    @Test
    void singleCallsOnAPath() throws Exception {
        Fixture files = new Fixture(dir);
        assertEquals("file",
                new String(FileOperations.linkTarget(files.link), StandardCharsets.UTF_8));
        assertThrows(IOException.class, () -> FileOperations.linkTarget(files.file));
        assertEquals(FileOperations.inode(files.file, true), FileOperations.inode(files.link, true));
        assertTrue(FileOperations.inode(files.file, true) != FileOperations.inode(files.link, false));
        for (int bits : new int[] {04755, 010000, -1}) {
            assertThrows(IllegalArgumentException.class,
                    () -> FileOperations.setPermissions(files.file, bits));
        }
        Instant time = Instant.ofEpochMilli(1_700_000_000_123L);
        FileOperations.setTimes(files.file, time, null);
        Instant accessed = FileStatus.of(files.file).accessTime();
        assertEquals(time, FileStatus.of(files.file).modificationTime());
        FileOperations.setTimes(files.file, null, Instant.EPOCH);
        assertEquals(time, FileStatus.of(files.file).modificationTime());
        assertTrue(accessed.isAfter(Instant.EPOCH));
        assertEquals(Instant.EPOCH, FileStatus.of(files.file).accessTime());
        assertThrows(IllegalArgumentException.class,
                () -> FileOperations.setTimes(files.file, Instant.ofEpochMilli(-1), null));
        assertThrows(IOException.class, () -> FileOperations.setTimes("relative", time, null));
    }
}
