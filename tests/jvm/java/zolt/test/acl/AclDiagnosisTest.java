package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
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

/** What a failed getAclStatus tells an administrator at trace level: who refused it. */
class AclDiagnosisTest extends Cleared {
    @TempDir Path dir;

    @BeforeEach
    void letOthersIn() throws IOException {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
    }

    private static boolean traced() {
        return Log.nativeThreshold() == Level.TRACE;
    }

    /** The two walks of a report. */
    private static List<String> reports() {
        return Log.lines().stream()
                .filter(line -> line.text().startsWith("@getFailedPathInt:"))
                .map(Log.Line::body)
                .toList();
    }

    @Test
    void aRefusedStatusNamesTheComponentAtTraceOnly() throws Throwable {
        Path locked = Files.createDirectory(dir.resolve("locked"),
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
        Path below = Files.createFile(locked.resolve("file"));
        String message = "Permission denied: " + below;
        Identity.onThread(() -> {
            // Loads what Java needs, with the rights of the service.
            assertThrows(NoSuchFileException.class,
                    () -> ZOLTNative.getAclStatus(dir + "/none", false));
            Faults.user("alice", 70001, 70002, 0);
            Faults.arm("lstat", 0, 0, 0);
            Log.clear();
            long alice = ZOLTNative.setFsUid("alice");
            Throwable thrown = null;
            try {
                ZOLTNative.getAclStatus(below.toString(), false);
            } catch (Throwable e) {
                thrown = e;
            }
            Identity after = Identity.now();
            int calls = Faults.calls("lstat");
            ZOLTNative.setFsUid(alice);

            assertSame(AccessDeniedException.class, thrown.getClass());
            assertEquals(message, thrown.getMessage());
            Log.expectAmong(Level.DEBUG, message);
            assertEquals(traced() ? 2 : 0, reports().size());
            assertEquals(traced(), calls != 0);
            assertEquals(traced() ? 0 : 70001, after.fsuid());
            if (traced()) {
                assertTrue(reports().get(0).endsWith("\n@@@fails @" + locked), reports().get(0));
                assertTrue(reports().get(1).startsWith("\n" + below + " ino:"), reports().get(1));
                // The error is said first, then where it comes from.
                List<String> debug = Log.bodies(Level.DEBUG);
                assertTrue(debug.indexOf(message) < debug.indexOf(reports().get(0)), () -> "" + debug);
            }
        });
    }

    @Test
    void aLinkIsNotFollowed() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), Path.of("nowhere"));
        assertThrows(NoSuchFileException.class,
                () -> ZOLTNative.getAclStatus(link.toString(), false));
        assertEquals(traced() ? 2 : 0, reports().size());
        if (traced()) {
            assertTrue(reports().get(0).endsWith("\n@@@fails @" + link), reports().get(0));
        }
    }

    @Test
    void onlyAFailedStatusIsDiagnosed() throws Exception {
        byte[] spec = AclTest.ints(1, AclTest.ACCESS, 2, 7, 4);
        String none = dir + "/none";
        ZOLTNative.getAclStatus(dir.toString(), true);
        assertThrows(IOException.class, () -> ZOLTNative.getAclStatus(null, true));
        assertThrows(IOException.class, () -> ZOLTNative.setAcl(none, spec));
        assertThrows(IOException.class, () -> ZOLTNative.modifyAclEntries(none, spec));
        assertThrows(IOException.class, () -> ZOLTNative.removeAclEntries(none, spec));
        assertThrows(IOException.class, () -> ZOLTNative.removeDefaultAcl(none, true));
        assertThrows(IOException.class, () -> ZOLTNative.removeAcl(none, true));
        assertEquals(List.of(), reports());
    }
}
