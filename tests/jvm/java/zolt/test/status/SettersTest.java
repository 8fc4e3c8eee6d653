package zolt.test.status;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;
import zolt.test.Faults;
import zolt.test.Identity;
import zolt.test.Level;
import zolt.test.Log;

/** Link targets, permissions and times. */
class SettersTest extends Cleared {
    @TempDir Path dir;
    private Path file;
    private Path link;

    @BeforeEach
    void prepare() throws Exception {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        file = Files.writeString(dir.resolve("file"), "12345");
        link = Files.createSymbolicLink(dir.resolve("link"), Path.of("t\u00e4rget"));
    }

    @Test
    void aTargetIsItsBytes() throws IOException {
        byte[] whole = "t\u00e4rget".getBytes(UTF_8);
        assertArrayEquals(whole, ZOLTNative.getLinkTargetNative(link.toString(), 7));
        assertArrayEquals(whole, ZOLTNative.getLinkTargetNative(link.toString(), Integer.MAX_VALUE));
        assertArrayEquals(new byte[] {'t', (byte) 0xc3},
                ZOLTNative.getLinkTargetNative(link.toString(), 2));
        assertArrayEquals(new byte[0], ZOLTNative.getLinkTargetNative(link.toString(), 0));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void whatIsNoLinkHasNoTarget() throws IOException {
        for (int length : new int[] {5, 0, -1, Integer.MIN_VALUE}) {
            Log.clear();
            expect(IOException.class, "Invalid argument: ",
                    () -> ZOLTNative.getLinkTargetNative(file.toString(), length));
            Log.expect(Level.WARN, "Invalid link target for " + file);
        }
        expect(IOException.class, "Invalid argument: ",
                () -> ZOLTNative.getLinkTargetNative(link.toString(), -1));
        expect(NoSuchFileException.class, "No such file or directory: ",
                () -> ZOLTNative.getLinkTargetNative(dir + "/none", 5));
        Faults.arm("readlink", Faults.EACCES);
        expect(AccessDeniedException.class, "Permission denied: ",
                () -> ZOLTNative.getLinkTargetNative(link.toString(), 5));
        assertNull(ZOLTNative.getLinkTargetNative(null, 5));
    }

    @Test
    void permissionsAreTheStickyBitAndNineMore() throws Exception {
        int[][] cases = {{0640, 0640}, {01755, 01755}, {04755, 0755}, {02755, 0755}, {07777, 01777}};
        for (int[] each : cases) {
            Log.clear();
            assertTrue(ZOLTNative.setPermission(file.toString(), (short) each[0]));
            assertEquals(each[1], (Integer) Files.getAttribute(file, "unix:mode") & 07777);
            Log.expect(Level.TRACE, file + ", " + each[0]);
        }
        assertFalse(ZOLTNative.setPermission(null, (short) 0));
    }

    @Test
    void permissionsThatCannotBeSet() throws Throwable {
        expect(NoSuchFileException.class, "No such file or directory: " + dir + "/none",
                () -> ZOLTNative.setPermission(dir + "/none", (short) 0));
        Faults.arm("chmod", Faults.EIO);
        expect(IOException.class, "Input/output error: " + file,
                () -> ZOLTNative.setPermission(file.toString(), (short) 0));
        Identity.onThread(() -> expect(AccessDeniedException.class,
                "Operation not permitted: " + file,
                () -> Identity.as("nobody",
                        () -> ZOLTNative.setPermission(file.toString(), (short) 0))));
    }

    @Test
    void timesAreMillisecondsAndMinusOneIsNone() throws Exception {
        assertTrue(ZOLTNative.setTimes(file.toString(), 1500, 2750));
        assertEquals(FileTime.fromMillis(1500), Files.getLastModifiedTime(file));
        assertEquals(FileTime.fromMillis(2750), Files.getAttribute(file, "lastAccessTime"));
        Log.expect(Level.TRACE, file + ", 1500, 2750");
        assertTrue(ZOLTNative.setTimes(file.toString(), -1, 9000));
        assertEquals(FileTime.fromMillis(1500), Files.getLastModifiedTime(file));
        assertTrue(ZOLTNative.setTimes(file.toString(), 8000, -1));
        assertTrue(ZOLTNative.setTimes(file.toString(), -1, -1));
        assertEquals(FileTime.fromMillis(8000), Files.getLastModifiedTime(file));
        assertEquals(FileTime.fromMillis(9000), Files.getAttribute(file, "lastAccessTime"));
        assertFalse(ZOLTNative.setTimes(null, 1, 1));
    }

    @Test
    void timesThatCannotBeSet() throws Throwable {
        expect(IOException.class, "Bad file descriptor: file",
                () -> ZOLTNative.setTimes("file", 1, 2));
        Log.expect(Level.ERROR, "failed to set time for file mtime 1 atime 2");
        expect(NoSuchFileException.class, "No such file or directory: " + dir + "/none",
                () -> ZOLTNative.setTimes(dir + "/none", 1, 2));
        Identity.onThread(() -> expect(AccessDeniedException.class,
                "Operation not permitted: " + file,
                () -> Identity.as("nobody", () -> ZOLTNative.setTimes(file.toString(), 1, 2))));
    }
}
