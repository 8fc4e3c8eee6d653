package zolt.test.status;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Identity;
import zolt.test.Level;
import zolt.test.Log;

/** Status that cannot be had: arguments, rights, system calls, the logger. */
class StatusFailureTest extends StatusFixture {
    @Test
    void nullPathsAreNothingAndNoError() throws IOException {
        assertEquals(0, ZOLTNative.getFileStatusNative(null, true, true, buffer, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getFileStatusNative(null, true, true, null, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getFileStatusFastNative(null, true, null, 0, 0));
        assertFalse(ZOLTNative.isCMTimeChangedNative(null, true, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getINum(null, true));
        ZOLTNative.getFailedPathNative(null, true);
        assertEquals(List.of(), Log.lines());
        expectUntouched();
    }

    @Test
    void aNullBufferIsInvalidBeforeAnythingElse() {
        for (Executable form : bothForms(dir + "/none", null)) {
            expect(IOException.class, "Invalid argument: " + dir + "/none", form);
        }
    }

    @Test
    void aBufferMustHoldARecord() throws Exception {
        ByteBuffer little = ByteBuffer.allocateDirect(87);
        for (Executable form : bothForms(file.toString(), little)) {
            Log.clear();
            expect(IOException.class, "Invalid argument: " + file, form);
            Log.expect(Level.ERROR, "Direct ByteBuffer length error: length 87 type size 88");
        }
        for (int i = 0; i < 87; i++) {
            assertEquals(0, little.get(i));
        }
        expectUntouched();
        assertEquals(1, ZOLTNative.getFileStatusNative(file.toString(), true, true,
                ByteBuffer.allocateDirect(88), 0, 0, 0, 0));
        Descriptors.expectNone(dir);
    }

    /** As a null one is, before anything is looked at: of a missing file and of an unchanged one too. */
    @Test
    void aBufferThatIsNotDirectOrReadOnlyIsRefusedFirst() throws Exception {
        for (ByteBuffer each : new ByteBuffer[] {null, ByteBuffer.allocate(100),
            buffer.asReadOnlyBuffer()}) {
            for (String path : new String[] {file.toString(), dir.toString(), dir + "/none"}) {
                String text = "Invalid argument: " + path;
                Log.clear();
                for (Executable form : bothForms(path, each)) {
                    expect(IOException.class, text, form);
                }
                expect(IOException.class, text, () -> ZOLTNative.getFileStatusNative(path, true, true,
                        each, Long.MAX_VALUE, 0, Long.MAX_VALUE, 0));
                expect(IOException.class, text, () -> ZOLTNative.getFileStatusFastNative(path, true,
                        each, Long.MAX_VALUE, 0));
                Log.expect(Level.ERROR);
            }
        }
        expectUntouched();
    }

    @Test
    void theCallerIsJudgedAndTheSuperuserReads() throws Throwable {
        Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-------"));
        Path locked = Files.createDirectory(dir.resolve("locked"),
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
        Path below = Files.createFile(locked.resolve("file"));
        full(below); // so that Java has loaded what it needs
        Identity.onThread(() -> {
            Faults.user("alice", 70001, 70002, 0);
            long alice = ZOLTNative.setFsUid("alice");
            Log.clear();
            int own = full(file);
            Throwable refused = thrown(() -> full(below));
            Throwable refusedTest = thrown(
                    () -> ZOLTNative.isCMTimeChangedNative(below.toString(), true, 0, 0, 0, 0));
            Throwable refusedInode = thrown(() -> ZOLTNative.getINum(below.toString(), true));
            // Last, since at trace its diagnosis ends with the service's own identity.
            Throwable refusedFast = thrown(
                    () -> ZOLTNative.getFileStatusFastNative(below.toString(), true, buffer, 0, 0));
            ZOLTNative.setFsUid(alice);

            assertEquals(1, own);
            for (Throwable each : List.of(refused, refusedFast, refusedTest)) {
                assertSame(AccessDeniedException.class, each.getClass());
                assertEquals("Permission denied: " + below, each.getMessage());
            }
            assertSame(AccessDeniedException.class, refusedInode.getClass());
            assertEquals("Permission denied: stat failed for " + below, refusedInode.getMessage());
            Log.expectAmong(Level.DEBUG, "stat failed with 13 for " + below + " followLink 1");
            Log.expectMatch(Level.DEBUG, "getStat error \\(dump group ids\\): 70002");
        });
    }

    @Test
    void everyFailureIsOneExceptionAndTheCallersIdentityAgain() throws Throwable {
        record Failure(String call, int errno, String text) {}
        List<Failure> failures = List.of(
                new Failure("stat", Faults.EACCES, "Permission denied"),
                new Failure("stat", Faults.EIO, "Input/output error"),
                new Failure("stat", Faults.ENOTDIR, "No such file or directory"),
                new Failure("open", Faults.EMFILE, "Too many open files"),
                new Failure("open", Faults.ENOENT, "No such file or directory"),
                new Failure("open", Faults.ENOMEM, "Cannot allocate memory"),
                new Failure("zolt_fstat_x", Faults.EIO, "Input/output error"),
                new Failure("zolt_fstat_x", Faults.EACCES, "Permission denied"),
                new Failure("zolt_fcntl", Faults.ENOSYS, "Function not implemented"),
                new Failure("zolt_fcntl", Faults.EPERM, "Operation not permitted"));
        Identity.onThread(() -> {
            Faults.user("alice", 70001, 70002, 0);
            long alice = ZOLTNative.setFsUid("alice");
            for (Failure failure : failures) {
                Faults.arm(failure.call(), failure.errno());
                Throwable e = thrown(() -> full(file));
                Identity after = Identity.now();
                assertEquals(failure.text() + ": " + file, e.getMessage(), failure.call());
                assertEquals(70001, after.fsuid(), failure.call());
                assertEquals(70002, after.fsgid(), failure.call());
            }
            for (String call : List.of("setfsuid", "setfsgid")) {
                Faults.arm(call, Faults.EPERM);
                Throwable e = thrown(() -> full(file));
                Identity after = Identity.now();
                assertEquals("Operation not permitted: " + call + " error: 4294967295 -> 0",
                        e.getMessage());
                assertEquals(70001, after.fsuid(), call);
                assertEquals(70002, after.fsgid(), call);
            }
            ZOLTNative.setFsUid(alice);
            Descriptors.expectNone(dir);
        });
        Faults.arm("zolt_stat_x", Faults.EIO);
        expect(IOException.class, "Input/output error: " + file,
                () -> ZOLTNative.getFileStatusFastNative(file.toString(), true, buffer, 0, 0));
        Faults.arm("lstat", Faults.ENOMEM);
        expect(RuntimeException.class, "Cannot allocate memory: stat failed for " + file,
                () -> ZOLTNative.getINum(file.toString(), true));
        Faults.arm("lstat", Faults.EPERM);
        expect(AccessDeniedException.class, "Operation not permitted: " + file,
                () -> ZOLTNative.isCMTimeChangedNative(file.toString(), true, 0, 0, 0, 0));
    }

    @Test
    void aRecordOfAnotherVersionIsAnInputError() {
        Faults.attribute(0, 4, 2);
        for (Executable form : bothForms(file.toString(), buffer)) {
            Log.clear();
            expect(IOException.class, "Input/output error: " + file, form);
            Log.expect(Level.WARN, "Invalid ia_version 2  at least ZOLT 4.2.3 is required.");
        }
        expectUntouched();
    }

    @Test
    void anUnreadableFactorOrLeaseIsSaidAtError() throws IOException {
        Faults.arm("zolt_fcntl", Faults.EIO);
        expect(IOException.class, "Input/output error: " + file, () -> full(file));
        Log.expect(Level.ERROR, "getBGF faied with 5 for " + file);
        Log.clear();
        // The client reads attributes too, before the lease is asked for.
        Faults.arm("fgetxattr", 0, 0, 0);
        full(file);
        int last = Faults.calls("fgetxattr");
        Faults.arm("fgetxattr", last, last, Faults.EIO);
        expect(IOException.class, "Input/output error: " + file, () -> full(file));
        Log.expect(Level.ERROR, "fgetxattr faied with 5 for " + file);
    }

    @Test
    void aLoggerThatThrowsLeavesNothingBehind() throws Throwable {
        Identity.onThread(() -> {
            Log.throwing(new IllegalStateException("logger"));
            try {
                thrown(ZOLTNative::getFileStatusFormatNative);
                thrown(() -> full(file));
                thrown(() -> full(dir.resolve("none")));
                thrown(() -> ZOLTNative.getFileStatusFastNative(file.toString(), true, buffer, 0, 0));
                thrown(() -> ZOLTNative.isCMTimeChangedNative(file.toString(), true, 0, 0, 0, 0));
                thrown(() -> ZOLTNative.getINum(file.toString(), true));
                thrown(() -> ZOLTNative.getFailedPathNative(file.toString(), true));
            } finally {
                Log.throwing(null);
            }
            assertEquals(0, Identity.now().fsuid());
            Descriptors.expectNone(dir);
        });
    }

    @Test
    void aFailedPathIsReportedAtTraceOnly() throws Throwable {
        Path locked = Files.createDirectory(dir.resolve("locked"),
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
        Path below = Files.createFile(locked.resolve("file"));
        Identity.onThread(() -> {
            ZOLTNative.getFailedPathNative(below.toString(), true); // loads what Java needs
            Faults.user("alice", 70001, 70002, 0);
            long alice = ZOLTNative.setFsUid("alice");
            Faults.arm("lstat", 0, 0, 0);
            Log.clear();
            ZOLTNative.getFailedPathNative(below.toString(), true);
            Identity after = Identity.now();
            int calls = Faults.calls("lstat");
            List<Log.Line> lines = Log.lines();
            ZOLTNative.setFsUid(alice);

            boolean traced = Log.nativeThreshold() == Level.TRACE;
            assertEquals(traced, calls != 0);
            assertEquals(traced ? 0 : 70001, after.fsuid());
            List<String> reports = lines.stream()
                    .filter(line -> line.text().startsWith("@getFailedPathInt:"))
                    .map(Log.Line::body).toList();
            assertEquals(traced ? 2 : 0, reports.size());
            if (traced) {
                assertTrue(reports.get(0).startsWith("\n" + locked + " ino:"), reports.get(0));
                assertTrue(reports.get(0).endsWith("\n@@@fails @" + locked), reports.get(0));
                assertTrue(reports.get(1).startsWith("\n" + below + " ino:"), reports.get(1));
            } else {
                assertEquals(List.of(), lines);
            }
        });
    }

    @Test
    void aFailedPathEndsWithItsLinkOrWhereThatLeads() throws Throwable {
        Path link = Files.createSymbolicLink(dir.resolve("dangling"), Path.of("nowhere"));
        for (boolean follow : new boolean[] {false, true}) {
            Log.clear();
            ZOLTNative.getFailedPathNative(link.toString(), follow);
            String end = "\n@@@fails @" + (follow ? dir : link);
            assertEquals(Log.nativeThreshold() == Level.TRACE,
                    Log.bodies(Level.DEBUG).stream().anyMatch(body -> body.endsWith(end)),
                    () -> "" + Log.lines());
        }
    }
}
