package zolt.test.status;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.time.Instant;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Level;
import zolt.test.Log;

class StatusTest extends StatusFixture {
    private static final int[] TABLE = {0, 8, 8, 8, 16, 4, 20, 4, 24, 4, 28, 4, 32, 16, 48, 16, 64,
        16, 80, 2, 82, 2, 84, 2, 88, 0};

    private static Object attribute(Path path, String name) throws IOException {
        return Files.getAttribute(path, "unix:" + name);
    }

    /** Of the file itself, where it is a link too. Java has no nanoseconds before 14. */
    private static Instant ctime(Path path) {
        long[] status = Kernel.stat(path.toString(), false);
        return Instant.ofEpochSecond(status[9], status[10]);
    }

    private static Instant mtime(Path path) {
        long[] status = Kernel.stat(path.toString(), false);
        return Instant.ofEpochSecond(status[7], status[8]);
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
        Log.expectAmong(Level.TRACE, statusLine() + " blocksize 8192 rep 3 acl 0 lease 0 bgf 0");
    }

    @Test
    void aFileInItsFastForm() throws Exception {
        assertEquals(1, ZOLTNative.getFileStatusFastNative(file.toString(), true, buffer, 0, 0));
        Log.expect(Level.TRACE, statusLine() + " blocksize 0 rep 0 acl 0 lease 0 bgf 0");
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
    void positionLimitAndOrderOfTheBufferDoNotMatter() throws IOException {
        ByteBuffer other = buffer.duplicate().order(ByteOrder.BIG_ENDIAN);
        other.position(40).limit(50);
        assertEquals(1, ZOLTNative.getFileStatusFastNative(file.toString(), true, other, 0, 0));
        assertEquals(5, buffer.getLong(SIZE));
        assertEquals(40, other.position());
    }

    @Test
    void anUnchangedFileIsZeroAndNoExceptionAndNoWrite() throws Exception {
        Files.setLastModifiedTime(file, FileTime.fromMillis(1_000_500));
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
            Log.expectAmong(Level.TRACE, "not changed: " + path + times());
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

    /** What room a buffer has does not matter for a file that did not change. */
    @Test
    void anUnchangedFileNeedsNoRoom() throws Exception {
        String path = file.toString();
        for (ByteBuffer each : new ByteBuffer[] {ByteBuffer.allocateDirect(87),
            ByteBuffer.allocateDirect(0)}) {
            Log.clear();
            assertEquals(0, ZOLTNative.getFileStatusNative(path, true, true, each, Long.MAX_VALUE, 0,
                    Long.MAX_VALUE, 0));
            assertEquals(0, ZOLTNative.getFileStatusNative(path, true, true, each, Long.MAX_VALUE, 0,
                    0, 0));
            assertEquals(0, ZOLTNative.getFileStatusNative(path, true, true, each, 0, 0,
                    Long.MAX_VALUE, 0));
            assertEquals(0,
                    ZOLTNative.getFileStatusFastNative(path, true, each, Long.MAX_VALUE, 0));
            Log.expect(Level.ERROR);
        }
        expectUntouched();
    }

    @Test
    void oneLaterTimeIsAChangeToTheTest() throws Exception {
        Files.setLastModifiedTime(file, FileTime.fromMillis(1_000_500));
        Instant ctime = ctime(file);
        Instant mtime = mtime(file);
        String path = file.toString();
        assertFalse(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), mtime.getEpochSecond(), mtime.getNano()));
        Log.expect(Level.TRACE, bodyOfStat());
        Log.clear();
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano(), mtime.getEpochSecond(), mtime.getNano() - 1));
        Log.expect(Level.TRACE, bodyOfStat(), "path: " + path + times());
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, ctime.getEpochSecond(),
                ctime.getNano() - 1, mtime.getEpochSecond(), mtime.getNano()));
        assertTrue(ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0));
    }

    /** The one trace line of a file's stat that found nothing changed. */
    private String bodyOfStat() throws IOException {
        return "path: " + file + " ino: " + attribute(file, "ino") + " uid: 0 gid: 0" + times();
    }

    /** The trace line of a record, up to what the two forms differ in. */
    private String statusLine() throws IOException {
        return "path: " + file + " ino: " + attribute(file, "ino") + " size: 5 mode "
                + attribute(file, "mode") + " uid: 0 gid 0" + times();
    }

    private String times() throws IOException {
        Instant ctime = ctime(file);
        Instant mtime = mtime(file);
        return " mtime: " + mtime.getEpochSecond() + "," + mtime.getNano() + " ctime: "
                + ctime.getEpochSecond() + "," + ctime.getNano();
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

    @Test
    void theInodeOfAPath() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        assertEquals(attribute(file, "ino"), ZOLTNative.getINum(file.toString(), true));
        assertEquals(attribute(file, "ino"), ZOLTNative.getINum(link.toString(), true));
        assertEquals(Files.getAttribute(link, "unix:ino", LinkOption.NOFOLLOW_LINKS),
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

    /** Not followed, a link is a path like any other to what needs not open it. */
    @Test
    void aLinkThatIsNotFollowedIsWhatItIsItself() throws Exception {
        Path link = Files.createSymbolicLink(dir.resolve("link"), file);
        Path dangling = Files.createSymbolicLink(dir.resolve("dangling"), Path.of("nowhere"));
        for (Path each : new Path[] {link, dangling}) {
            String path = each.toString();
            expect(IOException.class, "Too many levels of symbolic links: " + path,
                    () -> ZOLTNative.getFileStatusNative(path, false, true, buffer, 0, 0, 0, 0));
            assertEquals(Files.getAttribute(each, "unix:ino", LinkOption.NOFOLLOW_LINKS),
                    ZOLTNative.getINum(path, false));
            long seconds = ctime(each).getEpochSecond();
            int nanos = ctime(each).getNano();
            // The target was modified long ago, and changes after the link was made.
            Files.setLastModifiedTime(file, FileTime.fromMillis(1_000_000));
            assertFalse(ZOLTNative.isCMTimeChangedNative(path, false, seconds, nanos,
                    Long.MAX_VALUE, 0));
            assertTrue(ZOLTNative.isCMTimeChangedNative(path, false, seconds, nanos - 1,
                    Long.MAX_VALUE, 0));
        }
        assertFalse(ZOLTNative.isCMTimeChangedNative(link.toString(), true, Long.MAX_VALUE, 0,
                1000, 0));
        assertTrue(ZOLTNative.isCMTimeChangedNative(link.toString(), false, Long.MAX_VALUE, 0,
                1000, 0));
        expectUntouched();
    }
}
