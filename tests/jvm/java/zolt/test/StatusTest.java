package zolt.test;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Instant;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

class StatusTest {
    private static final int[] TABLE = {0, 8, 8, 8, 16, 4, 20, 4, 24, 4, 28, 4, 32, 16, 48, 16, 64,
        16, 80, 2, 82, 2, 84, 2, 88, 0};
    private static final int INODE = 0;
    private static final int SIZE = 8;
    private static final int UID = 16;
    private static final int GID = 20;
    private static final int MODE = 24;
    private static final int BLOCK_SIZE = 28;
    private static final int MTIME = 48;
    private static final int CTIME = 64;
    private static final int ACL = 80;
    private static final int REPLICATION = 82;
    private static final int LEASE = 84;
    private static final byte FILLER = (byte) 0xee;

    @TempDir Path dir;
    private Path file;
    private final ByteBuffer buffer = ByteBuffer.allocateDirect(100).order(ByteOrder.nativeOrder());

    @BeforeEach
    void prepare() throws Exception {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        file = Files.writeString(dir.resolve("file"), "12345");
        fill();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
    }

    private void fill() {
        for (int i = 0; i < buffer.capacity(); i++) {
            buffer.put(i, FILLER);
        }
    }

    private void expectUntouched() {
        for (int i = 0; i < buffer.capacity(); i++) {
            assertEquals(FILLER, buffer.get(i), "byte " + i);
        }
    }

    private int full(Path path) {
        return ZOLTNative.getFileStatusNative(path.toString(), true, true, buffer, 0, 0, 0, 0);
    }

    private static Object attribute(Path path, String name) throws IOException {
        return Files.getAttribute(path, "unix:" + name);
    }

    private static Instant ctime(Path path) throws IOException {
        return ((java.nio.file.attribute.FileTime) attribute(path, "ctime")).toInstant();
    }

    private static Instant mtime(Path path) throws IOException {
        return Files.getLastModifiedTime(path).toInstant();
    }

    @Test
    void theTableDescribesTheRecord() {
        assertArrayEquals(TABLE, ZOLTNative.getFileStatusFormatNative());
        Log.expect(Level.DEBUG, "0, 8, 8, 8, 16, 4, 20, 4, 24, 4, 28, 4, 32, 16, 48, 16, 64, 16, "
                + "80, 2, 82, 2, 84, 2, 88, 0");
    }

    @Test
    void aFileInFull() throws Exception {
        ZOLTNative.setDefaultBlockSizeReplication(5000, 1);
        Faults.attribute(136, 4, 4096);
        Faults.attribute(116, 1, 3);
        assertEquals(1, full(file));
        assertEquals(attribute(file, "ino"), buffer.getLong(INODE));
        assertEquals(5, buffer.getLong(SIZE));
        assertEquals(0, buffer.getInt(UID));
        assertEquals(0, buffer.getInt(GID));
        assertEquals(attribute(file, "mode"), buffer.getInt(MODE));
        assertEquals(8192, buffer.getInt(BLOCK_SIZE));
        assertEquals(mtime(file),
                Instant.ofEpochSecond(buffer.getLong(MTIME), buffer.getLong(MTIME + 8)));
        assertEquals(ctime(file),
                Instant.ofEpochSecond(buffer.getLong(CTIME), buffer.getLong(CTIME + 8)));
        assertEquals(0, buffer.getShort(ACL));
        assertEquals(3, buffer.getShort(REPLICATION));
        assertEquals(0, buffer.getShort(LEASE));
        for (int i = 86; i < buffer.capacity(); i++) {
            assertEquals(FILLER, buffer.get(i), "byte " + i);
        }
        Log.expectMatch(Level.TRACE, "path: " + file + " ino: \\d+ size: 5 mode \\d+ uid: 0 gid 0 "
                + "mtime: \\d+,\\d+ ctime: \\d+,\\d+ blocksize 8192 rep 3 acl 0 lease 0 bgf 0");
    }

    @Test
    void aFileInItsFastForm() throws Exception {
        assertEquals(1, ZOLTNative.getFileStatusFastNative(file.toString(), true, buffer, 0, 0));
        assertEquals(attribute(file, "ino"), buffer.getLong(INODE));
        assertEquals(5, buffer.getLong(SIZE));
        assertEquals(0, buffer.getShort(ACL));
        assertEquals(0xeeeeeeee, buffer.getInt(BLOCK_SIZE));
        for (int i = REPLICATION; i < buffer.capacity(); i++) {
            assertEquals(FILLER, buffer.get(i), "byte " + i);
        }
    }

    @Test
    void whatOtherNativesSetShows() throws Exception {
        String path = file.toString();
        Faults.attribute(136, 4, 4096);
        assertTrue(ZOLTNative.setBGF(path, 4));
        ZOLTNative.setFileLeaseNative(path, true, "client".getBytes(StandardCharsets.UTF_8));
        ByteBuffer spec = ByteBuffer.allocate(20).order(ByteOrder.nativeOrder());
        spec.putInt(1).putInt(32768).putInt(2).putInt(70001).putInt(4); // user 70001 may read
        ZOLTNative.modifyAclEntries(path, spec.array());
        assertEquals(1, full(file));
        assertEquals(4 * 4096, buffer.getInt(BLOCK_SIZE));
        assertEquals(6, buffer.getShort(LEASE));
        assertEquals(0x1000, buffer.getShort(ACL));
        assertEquals(1, ZOLTNative.getFileStatusNative(path, true, false, buffer, 0, 0, 0, 0));
        assertEquals(0, buffer.getShort(LEASE));
        fill();
        assertEquals(1, ZOLTNative.getFileStatusFastNative(path, true, buffer, 0, 0));
        assertEquals(0x1000, buffer.getShort(ACL));
    }

    @Test
    void positionLimitAndOrderOfTheBufferDoNotMatter() {
        ByteBuffer other = buffer.duplicate().order(ByteOrder.BIG_ENDIAN);
        other.position(40).limit(50);
        assertEquals(1, ZOLTNative.getFileStatusFastNative(file.toString(), true, other, 0, 0));
        assertEquals(5, buffer.getLong(SIZE));
        assertEquals(40, other.position());
    }

    @Test
    void anUnchangedFileIsZeroAndNoExceptionAndNoWrite() throws Exception {
        Instant ctime = ctime(file);
        Instant mtime = mtime(file);
        String path = file.toString();
        long[][] known = { // ctime, mtime: both must be later
            {ctime.getEpochSecond(), ctime.getNano(), 0, 0},
            {0, 0, mtime.getEpochSecond(), mtime.getNano()},
            {ctime.getEpochSecond(), ctime.getNano(), mtime.getEpochSecond(), mtime.getNano()},
            {Long.MAX_VALUE, 0, Long.MAX_VALUE, 0},
        };
        for (long[] times : known) {
            Log.clear();
            assertEquals(0, ZOLTNative.getFileStatusNative(path, true, true, buffer, times[0],
                    times[1], times[2], times[3]));
            Log.expectMatch(Level.TRACE,
                    "not changed: " + path + " mtime: \\d+,\\d+ ctime: \\d+,\\d+");
        }
        assertEquals(0, ZOLTNative.getFileStatusFastNative(path, true, buffer,
                ctime.getEpochSecond(), ctime.getNano()));
        expectUntouched();
        assertEquals(1, ZOLTNative.getFileStatusNative(path, true, true, buffer,
                ctime.getEpochSecond(), ctime.getNano() - 1, mtime.getEpochSecond(),
                mtime.getNano() - 1));
        assertEquals(1, ZOLTNative.getFileStatusFastNative(path, true, buffer,
                ctime.getEpochSecond(), ctime.getNano() - 1));
    }

    @Test
    void oneLaterTimeIsAChangeToTheTest() throws Exception {
        Instant ctime = ctime(file);
        Instant mtime = mtime(file);
        String path = file.toString();
        assertFalse(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), mtime.getEpochSecond(), mtime.getNano()));
        Log.expectAmong(Level.TRACE, bodyOfStat());
        Log.clear();
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), mtime.getEpochSecond(), mtime.getNano() - 1));
        Log.expectMatch(Level.TRACE, "path: " + path + " mtime: \\d+,\\d+ ctime: \\d+,\\d+");
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano() - 1, mtime.getEpochSecond(), mtime.getNano()));
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0));
    }

    /** Of a file that was changed after it was modified; the pairs come change first. */
    @Test
    void eachTimeIsComparedWithItsOwn() throws Exception {
        Files.setLastModifiedTime(file, FileTime.fromMillis(1_000_000));
        Instant ctime = ctime(file);
        String path = file.toString();
        assertFalse(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), 1000, 0));
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), 999, 0));
        ByteBuffer buffer = ByteBuffer.allocateDirect(88);
        assertEquals(1, ZOLTNative.getFileStatusNative(path, true, false, buffer,
                ctime.getEpochSecond() - 1, 0, 999, 0));
        assertEquals(0, ZOLTNative.getFileStatusNative(path, true, false, buffer, 999, 0,
                ctime.getEpochSecond() - 1, 0));
        assertEquals(1, ZOLTNative.getFileStatusFastNative(path, true, buffer,
                ctime.getEpochSecond() - 1, 0));
        assertEquals(0, ZOLTNative.getFileStatusFastNative(path, true, buffer,
                ctime.getEpochSecond(), ctime.getNano()));
    }

    /** The one trace line of a file's stat that found nothing changed. */
    private String bodyOfStat() throws IOException {
        Instant ctime = ctime(file);
        Instant mtime = mtime(file);
        return "path: " + file + " ino: " + attribute(file, "ino") + " uid: 0 gid: 0 mtime: "
                + mtime.getEpochSecond() + "," + mtime.getNano() + " ctime: "
                + ctime.getEpochSecond() + "," + ctime.getNano();
    }

    @Test
    void theInodeOfAPath() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        assertEquals(attribute(file, "ino"), ZOLTNative.getINum(file.toString(), true));
        assertEquals(attribute(file, "ino"), ZOLTNative.getINum(link.toString(), true));
        assertEquals(Files.getAttribute(link, "unix:ino", java.nio.file.LinkOption.NOFOLLOW_LINKS),
                ZOLTNative.getINum(link.toString(), false));
    }

    @Test
    void aMissingPathIsTheSameHoweverItIsMissing() throws Exception {
        Path dangling = Files.createSymbolicLink(dir.resolve("dangling"), Path.of("nowhere"));
        for (String path : new String[] {dir + "/none", file + "/below", dangling.toString()}) {
            Log.clear();
            expect(NoSuchFileException.class, "No such file or directory: " + path,
                    () -> ZOLTNative.getFileStatusNative(path, true, true, buffer, 0, 0, 0, 0));
            String errno = path.startsWith(file.toString()) ? "20" : "2";
            Log.expect(Level.DEBUG, "stat failed with " + errno + " for " + path + " followLink 1",
                    "No such file or directory: " + path);
            expect(NoSuchFileException.class, "No such file or directory: " + path,
                    () -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0));
            expect(NoSuchFileException.class, "No such file or directory: stat failed for " + path,
                    () -> ZOLTNative.getINum(path, true));
        }
        expect(NoSuchFileException.class, "No such file or directory: " + dir + "/none",
                () -> ZOLTNative.getFileStatusFastNative(dir + "/none", true, buffer, 0, 0));
        expect(IOException.class, "Not a directory: " + file + "/below",
                () -> ZOLTNative.getFileStatusFastNative(file + "/below", true, buffer, 0, 0));
        expectUntouched();
    }

    private static <T extends Throwable> void expect(Class<T> type, String message,
            Executable call) {
        T thrown = assertThrows(type, call);
        assertSame(type, thrown.getClass());
        assertEquals(message, thrown.getMessage());
    }

    @Test
    void aLinkThatIsNotFollowedHasNoFullForm() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        assertEquals(1, full(link));
        assertEquals(5, buffer.getLong(SIZE));
        expect(IOException.class, "Too many levels of symbolic links: " + link, () -> ZOLTNative
                .getFileStatusNative(link.toString(), false, true, buffer, 0, 0, 0, 0));
        Log.expectAmong(Level.DEBUG, "open failed with 40 for " + link);
        assertFalse(ZOLTNative.isCMTimeChangedNative(link.toString(), false, Long.MAX_VALUE, 0,
                Long.MAX_VALUE, 0));
    }

    @Test
    void nullPathsAreNothingAndNoError() {
        assertEquals(0, ZOLTNative.getFileStatusNative(null, true, true, buffer, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getFileStatusNative(null, true, true, null, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getFileStatusFastNative(null, true, null, 0, 0));
        assertFalse(ZOLTNative.isCMTimeChangedNative(null, true, 0, 0, 0, 0));
        assertEquals(0, ZOLTNative.getINum(null, true));
        ZOLTNative.getFailedPathNative(null, true);
        assertEquals(List.of(), Log.lines());
        expectUntouched();
    }

    /** Both forms, for a file that changed. */
    private static List<Executable> bothForms(String path, ByteBuffer to) {
        return List.of(() -> ZOLTNative.getFileStatusNative(path, true, true, to, 0, 0, 0, 0),
                () -> ZOLTNative.getFileStatusFastNative(path, true, to, 0, 0));
    }

    @Test
    void aNullBufferIsInvalidBeforeAnythingElse() {
        for (Executable form : bothForms(dir + "/none", null)) {
            expect(IOException.class, "Invalid argument: " + dir + "/none", form);
        }
    }

    @Test
    void aBufferMustBeDirectAndHoldARecord() throws Exception {
        ByteBuffer little = ByteBuffer.allocateDirect(87);
        ByteBuffer[] unusable = {little, ByteBuffer.allocate(100), buffer.asReadOnlyBuffer()};
        for (ByteBuffer each : unusable) {
            for (Executable form : bothForms(file.toString(), each)) {
                Log.clear();
                expect(IOException.class, "Invalid argument: " + file, form);
                Log.expect(Level.ERROR, "Direct ByteBuffer length error: length "
                        + (each == little ? 87 : 0) + " type size 88");
            }
        }
        for (int i = 0; i < 87; i++) {
            assertEquals(0, little.get(i));
        }
        expectUntouched();
        assertEquals(1, ZOLTNative.getFileStatusNative(file.toString(), true, true,
                ByteBuffer.allocateDirect(88), 0, 0, 0, 0));
        Descriptors.expectNone(dir);
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

    private static Throwable thrown(Executable call) {
        try {
            call.execute();
            return null;
        } catch (Throwable e) {
            return e;
        }
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
    void anUnreadableFactorOrLeaseIsSaidAtError() {
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
}
