package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** Leases. What a native says it did is looked at without it. */
class LeaseTest extends LeaseFixture {
    @Test
    void aLeaseLivesFromSettingToRemoval() throws IOException {
        Faults.realtime(10, 999_999_999);
        ZOLTNative.setFileLeaseNative(path, false, ME);
        assertEquals(HOLDER, holder());
        assertEquals(1_009_999, update());
        assertArrayEquals(ME, get(64, 0));
        Faults.realtime(20, 0);
        ZOLTNative.renewFileLeaseNative(path, false);
        assertEquals(20_000, update());
        assertArrayEquals(ME, get(64, 0));
        ZOLTNative.removeFileLeaseNative(path, false);
        assertNull(holder());
        assertNull(update());
        Log.expect(Level.ERROR);
    }

    @Test
    void theClockIsTheRealTime() throws IOException {
        long before = System.currentTimeMillis() / 1000;
        ZOLTNative.setFileLeaseNative(path, false, ME);
        long after = System.currentTimeMillis() / 1000;
        assertTrue(before * 1000 <= update() && update() <= after * 1000 + 999_999);
    }

    @Test
    void aHolderIsAnyBytes() throws IOException {
        byte[] all = new byte[256];
        for (int i = 0; i < all.length; i++) {
            all[i] = (byte) i;
        }
        ZOLTNative.setFileLeaseNative(path, false, all);
        assertEquals(new String(all, ISO_8859_1), holder());
        assertArrayEquals(all, get(256, Long.MAX_VALUE));
        ZOLTNative.removeFileLeaseNative(path, false);
        ZOLTNative.setFileLeaseNative(path, false, new byte[0]);
        assertArrayEquals(new byte[0], get(1, Long.MAX_VALUE));
    }

    @Test
    void aSecondHolderIsRefused() throws IOException {
        Faults.realtime(1, 0);
        ZOLTNative.setFileLeaseNative(path, false, ME);
        Faults.realtime(2, 0);
        expect(IOException.class, "File exists: user.lease.holder already exists",
                () -> ZOLTNative.setFileLeaseNative(path, false, new byte[] {'x'}));
        assertEquals(HOLDER, holder());
        assertEquals(1000, update());
    }

    @Test
    void aStampWithoutAHolderBlocksALease() throws IOException {
        ZOLTNative.renewFileLeaseNative(path, false);
        expect(IOException.class, "File exists: user.lease.update already exists",
                () -> ZOLTNative.setFileLeaseNative(path, false, ME));
        assertNull(holder());
        expect(IOException.class, "No data available: user.lease.holder does not exist",
                () -> get(64, Long.MAX_VALUE));
    }

    @Test
    void aFailedSecondWriteTakesTheHolderBack() throws IOException {
        Faults.arm("lsetxattr", 2, 2, Faults.EACCES);
        expect(AccessDeniedException.class,
                "Permission denied: setxattr failed for user.lease.update",
                () -> ZOLTNative.setFileLeaseNative(path, false, ME));
        assertNull(holder());
        assertNull(update());
    }

    @Test
    void aHolderIsRequired() throws IOException {
        Faults.arm("clock_gettime", Faults.EIO);
        expect(IOException.class, "Invalid argument: ",
                () -> ZOLTNative.setFileLeaseNative(path, false, null));
        assertEquals(0, Faults.calls("clock_gettime"));
        assertNull(update());
    }

    @Test
    void aLeaseExpiresOneUnitAfterItsLimit() throws IOException {
        Faults.realtime(10, 0);
        ZOLTNative.setFileLeaseNative(path, false, ME);
        Faults.realtime(10, 60_000_000);
        assertArrayEquals(ME, get(64, 60_000));
        Faults.realtime(10, 60_001_000);
        assertNull(get(64, 60_000));
        assertNull(holder());
        assertNull(update());
        expect(IOException.class, "No data available: user.lease.update does not exist",
                () -> get(64, 60_000));
        ZOLTNative.setFileLeaseNative(path, false, new byte[] {'x'});
    }

    @Test
    void aStampWithoutAHolderExpiresLikeALease() throws IOException {
        store("user.lease.update", stamp(10_000));
        Faults.realtime(10, 1_000_000);
        expect(IOException.class, "No data available: user.lease.* does not exist",
                () -> get(64, 999));
        assertNull(update());
    }

    @Test
    void aLeaseStampedLateInASecondLivesInTheNext() throws IOException {
        Faults.realtime(10, 999_999_000);
        ZOLTNative.setFileLeaseNative(path, false, ME);
        Faults.realtime(11, 0);
        assertArrayEquals(ME, get(64, 0));
    }

    @Test
    void theErrorOfAnExpiryIsThatOfTheRemoval() throws IOException {
        Faults.realtime(10, 0);
        ZOLTNative.setFileLeaseNative(path, false, ME);
        Faults.realtime(20, 0);
        Faults.arm("lremovexattr", 2, 2, Faults.EPERM);
        expect(AccessDeniedException.class,
                "Operation not permitted: removexattr failed for user.lease.*", () -> get(64, 0));
        assertNull(holder());
        assertEquals(10_000, update());
    }

    @Test
    void theDifferenceOfClocksWraps() throws IOException {
        store("user.lease.holder", HOLDER);
        store("user.lease.update", stamp(Long.MIN_VALUE));
        assertArrayEquals(ME, get(64, 0));
    }

    @Test
    void aHolderComesAtItsOwnLengthIfThereIsRoom() throws IOException {
        ZOLTNative.setFileLeaseNative(path, false, ME);
        for (int size : new int[] {ME.length, ME.length + 1, 1 << 20, Integer.MAX_VALUE}) {
            assertArrayEquals(ME, get(size, Long.MAX_VALUE));
        }
        expect(IOException.class,
                "Numerical result out of range: getxattr failed for user.lease.holder",
                () -> get(ME.length - 1, Long.MAX_VALUE));
        for (int size : new int[] {0, -1, Integer.MIN_VALUE}) {
            expect(IOException.class, "Invalid argument: getxattr failed for user.lease.holder",
                    () -> get(size, Long.MAX_VALUE));
        }
    }

    @Test
    void aStampOfMoreThanEightBytesIsARangeError() throws IOException {
        store("user.lease.holder", HOLDER);
        store("user.lease.update", "ninebytes");
        expect(IOException.class,
                "Numerical result out of range: getxattr failed for user.lease.update",
                () -> get(64, 0));
        assertEquals(HOLDER, holder());
    }

    @Test
    void removingWhatIsNotThereIsAnError() throws IOException {
        expect(IOException.class, "No data available: user.lease.* does not exist",
                () -> ZOLTNative.removeFileLeaseNative(path, false));
        ZOLTNative.renewFileLeaseNative(path, false);
        expect(IOException.class, "No data available: user.lease.* does not exist",
                () -> ZOLTNative.removeFileLeaseNative(path, false));
        assertNull(update());
    }

    @Test
    void ofTwoErrorsOfARemovalTheFirstIsReported() throws IOException {
        store("user.lease.update", stamp(0));
        Faults.arm("lremovexattr", Faults.EACCES);
        expect(AccessDeniedException.class,
                "Permission denied: removexattr failed for user.lease.*",
                () -> ZOLTNative.removeFileLeaseNative(path, false));
        assertNull(update());
    }

    @Test
    void aRenewalThatFailsIsReported() throws IOException {
        Faults.arm("lsetxattr", Faults.EPERM);
        expect(AccessDeniedException.class,
                "Operation not permitted: setxattr failed for user.lease.update",
                () -> ZOLTNative.renewFileLeaseNative(path, false));
        assertNull(update());
    }

    @Test
    void aFileThatIsNotThereIsTheErrorOfEveryCall() {
        String none = dir.resolve("none").toString();
        Map<String, Executable> calls = Map.of(
                "setxattr failed for user.lease.holder",
                () -> ZOLTNative.setFileLeaseNative(none, true, ME),
                "getxattr failed for user.lease.update",
                () -> ZOLTNative.getFileLeaseNative(none, true, 64, 0),
                "setxattr failed for user.lease.update",
                () -> ZOLTNative.renewFileLeaseNative(none, true),
                "removexattr failed for user.lease.*",
                () -> ZOLTNative.removeFileLeaseNative(none, true));
        calls.forEach((message, call) -> expect(NoSuchFileException.class,
                "No such file or directory: " + message, call));
    }

    @Test
    void nullPathsAreNothingAndNoError() throws IOException {
        Faults.arm("clock_gettime", 0, 0, 0);
        ZOLTNative.setFileLeaseNative(null, false, ME);
        ZOLTNative.setFileLeaseNative(null, false, null);
        assertNull(ZOLTNative.getFileLeaseNative(null, false, 64, 0));
        ZOLTNative.renewFileLeaseNative(null, false);
        ZOLTNative.removeFileLeaseNative(null, false);
        assertEquals(0, Faults.calls("clock_gettime"));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void linksAreFollowedWhereAskedFor() throws IOException {
        String link = Files.createSymbolicLink(dir.resolve("link"), file).toString();
        // The system keeps user attributes off the links themselves.
        expect(AccessDeniedException.class,
                "Operation not permitted: setxattr failed for user.lease.holder",
                () -> ZOLTNative.setFileLeaseNative(link, false, ME));
        expect(AccessDeniedException.class,
                "Operation not permitted: setxattr failed for user.lease.update",
                () -> ZOLTNative.renewFileLeaseNative(link, false));
        ZOLTNative.setFileLeaseNative(link, true, ME);
        assertEquals(HOLDER, holder());
        Faults.realtime(1, 0);
        ZOLTNative.renewFileLeaseNative(link, true);
        assertEquals(1000, update());
        assertArrayEquals(ME, ZOLTNative.getFileLeaseNative(link, true, 64, 0));
        expect(IOException.class, "No data available: user.lease.update does not exist",
                () -> ZOLTNative.getFileLeaseNative(link, false, 64, 0));
        expect(AccessDeniedException.class,
                "Operation not permitted: removexattr failed for user.lease.*",
                () -> ZOLTNative.removeFileLeaseNative(link, false));
        Faults.realtime(2, 0);
        assertNull(ZOLTNative.getFileLeaseNative(link, true, 64, 0));
        assertNull(holder());
        ZOLTNative.setFileLeaseNative(link, true, ME);
        ZOLTNative.removeFileLeaseNative(link, true);
        assertNull(holder());
    }

    @Test
    void theAttributesNeverShowAmongTheOthers() throws IOException {
        ZOLTNative.setFileLeaseNative(path, false, ME);
        assertNull(ZOLTNative.getXAttr(path, "user.lease.holder"));
        assertNull(ZOLTNative.getXAttr(path, "user.lease.update"));
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(path));
        assertEquals(Map.of(), ZOLTNative.getXAttrs(path,
                new String[] {"user.lease.holder", "user.lease.update"}));
    }

    @Test
    void everyCallTracesWhatItWorksWith() throws IOException {
        Faults.realtime(10, 0);
        ZOLTNative.setFileLeaseNative(path, false, bytes("0123456789abcdefg"));
        Log.expect(Level.TRACE, "lease update 10000 lease holder 17"
                + " 48 49 50 51 52 53 54 55 56 57 97 98 99 100 101 102");
        Log.clear();
        get(17, 5);
        Log.expect(Level.TRACE, "now 10000 lease last update 10000 lease limit 5 lease overdue 0"
                + " lease holder 17 48 49 50 51 52 53 54 55 56 57 97 98 99 100 101 102");
        Log.clear();
        ZOLTNative.renewFileLeaseNative(path, false);
        Log.expect(Level.TRACE, path + " 10000");
        Log.clear();
        ZOLTNative.removeFileLeaseNative(path, false);
        Log.expect(Level.TRACE, path);
        Log.clear();
        assertThrows(IOException.class, () -> get(17, 5));
        Log.expect(Level.TRACE, "lease overdue now 10000 last update 0 limit 5 overdue 10000");
    }
}
