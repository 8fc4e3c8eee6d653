package zolt.test.identity;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Cleared;
import zolt.test.Faults;
import zolt.test.Identity;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.status.StatusFixture;

class IdentityTest extends Cleared {
    private static final String USER_ADVICE =
            ", create the user on all kolvane nodes with the same uid and try it again!";
    private static final String GROUP_ADVICE =
            ", create the group on all kolvane nodes with the same gid and try it again!";

    /** A native that looks something up, by what it does in every kind of failure. */
    private record Lookup(String function, Executable unknown, String unknownText,
            String failedText) {}

    private static final List<Lookup> LOOKUPS = List.of(
            new Lookup("getpwnam_r", () -> ZOLTNative.getUid("no such user"),
                    "Unknown user \"no such user\"" + USER_ADVICE,
                    "getpwnam_r() failed: Unknown user \"no such user\"" + USER_ADVICE),
            new Lookup("getgrnam_r", () -> ZOLTNative.getGid("no such group"),
                    "Unknown group \"no such group\"" + GROUP_ADVICE,
                    "getgrnam_r() failed: Unknown group \"no such group\"" + GROUP_ADVICE),
            new Lookup("getpwuid_r", () -> ZOLTNative.getUser(-171510507),
                    "Unknown uid \"4123456789\"" + USER_ADVICE,
                    "getpwuid_r() failed with uid \"4123456789\"" + USER_ADVICE),
            new Lookup("getgrgid_r", () -> ZOLTNative.getGroup(-171510507),
                    "Unknown gid \"4123456789\"" + GROUP_ADVICE,
                    "getgrgid_r() failed with gid \"4123456789\"" + GROUP_ADVICE));

    /** On a thread that knows her. */
    private static void whereAliceIs(Executable body) throws Throwable {
        Identity.onThread(() -> {
            Faults.user("alice", 70001, 70002, 0);
            body.execute();
        });
    }

    @Test
    void namesAndIdsAreThoseOfTheSystem() throws IOException {
        assertEquals(0, ZOLTNative.getUid("root"));
        assertEquals(65534, ZOLTNative.getUid("nobody"));
        assertEquals(65534, ZOLTNative.getGid("nogroup"));
        assertEquals("root", ZOLTNative.getUser(0));
        assertEquals("nobody", ZOLTNative.getUser(65534));
        assertEquals("nogroup", ZOLTNative.getGroup(65534));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void anIdHasNoSign() throws IOException {
        Faults.user("high", (int) 4000000001L, (int) 4000000002L, 0);
        Faults.group("high", (int) 4000000002L, 0);
        assertEquals((int) 4000000001L, ZOLTNative.getUid("high"));
        assertEquals((int) 4000000002L, ZOLTNative.getGid("high"));
        assertEquals("high", ZOLTNative.getUser((int) 4000000001L));
        assertEquals("high", ZOLTNative.getGroup((int) 4000000002L));
    }

    @Test
    void aRecordOfAnySizeIsFound() throws IOException {
        Faults.user("big", 70001, 70002, 100_000);
        Faults.group("big", 70002, 100_000);
        assertEquals(70001, ZOLTNative.getUid("big"));
        assertEquals(70002, ZOLTNative.getGid("big"));
        assertEquals("big", ZOLTNative.getUser(70001));
        assertEquals("big", ZOLTNative.getGroup(70002));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void whatIsUnknownIsAnIOExceptionAndAWarning() {
        for (Lookup lookup : LOOKUPS) {
            Log.clear();
            IOException e = assertThrows(IOException.class, lookup.unknown());
            assertSame(IOException.class, e.getClass());
            assertEquals("Invalid argument: " + lookup.unknownText(), e.getMessage());
            Log.expect(Level.WARN, lookup.unknownText());
        }
        expect(IOException.class, "Invalid argument: Unknown user \"\"" + USER_ADVICE,
                () -> ZOLTNative.getUid(""));
        expect(IOException.class, "Invalid argument: Unknown group \"\"" + GROUP_ADVICE,
                () -> ZOLTNative.getGid(""));
    }

    @Test
    void aFailedLookupIsItsErrno() {
        for (Lookup lookup : LOOKUPS) {
            Faults.arm(lookup.function(), Faults.EIO);
            Log.clear();
            assertEquals("Input/output error: " + lookup.failedText(),
                    assertThrows(IOException.class, lookup.unknown()).getMessage());
            Log.expect(Level.WARN, lookup.failedText());
            Faults.arm(lookup.function(), Faults.EACCES);
            assertEquals("Permission denied: " + lookup.failedText(),
                    assertThrows(AccessDeniedException.class, lookup.unknown()).getMessage());
            Faults.arm(lookup.function(), Faults.ENOMEM);
            assertEquals("Cannot allocate memory: " + lookup.failedText(),
                    assertThrows(RuntimeException.class, lookup.unknown()).getMessage());
        }
    }

    @Test
    void aLookupThatFailsInSilenceIsTheNeutralAnswer() throws IOException {
        for (Lookup lookup : LOOKUPS) {
            Faults.arm(lookup.function(), 0);
        }
        assertEquals(-1, ZOLTNative.getUid("root"));
        assertEquals(-1, ZOLTNative.getGid("root"));
        assertEquals("", ZOLTNative.getUser(0));
        assertEquals("", ZOLTNative.getGroup(0));
        assertEquals(List.of(), Log.lines());
    }

    /** The lookup is made again for a record that is too large; what that one left in errno is gone. */
    @Test
    void aSecondLookupThatFailsInSilenceIsTheNeutralAnswerToo() throws IOException {
        Faults.user("big", 70001, 70002, 100_000);
        Faults.arm("getpwnam_r", 2, 2, -1);
        assertEquals(-1, ZOLTNative.getUid("big"));
        assertEquals(2, Faults.calls("getpwnam_r"));
        Faults.arm("getpwuid_r", 2, 2, -1);
        assertEquals("", ZOLTNative.getUser(70001));
    }

    @Test
    void nullNamesAreNothingAndNoError() throws IOException {
        assertEquals(-1, ZOLTNative.getUid(null));
        assertEquals(-1, ZOLTNative.getGid(null));
        assertEquals(0, ZOLTNative.setFsUid(null));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void aSwitchAndItsEnd() throws Throwable {
        whereAliceIs(() -> {
            Identity before = Identity.now();
            Log.clear();
            long handle = ZOLTNative.setFsUid("alice");
            assertNotEquals(0, handle);
            assertEquals(new Identity(70001, 70002, List.of(70002L)), Identity.now());
            String object = "@0x" + Long.toHexString(handle);
            Log.expect(Level.DEBUG, "setgroups: 70002", object + " (0, 0) => (70001, 70002)");
            Log.clear();
            ZOLTNative.setFsUid(handle);
            assertEquals(new Identity(before.fsuid(), before.fsgid(), List.of(70002L)),
                    Identity.now());
            Log.expect(Level.DEBUG, object + " (70001, 70002) => (0, 0)");
        });
    }

    @Test
    void switchesNest() throws Throwable {
        whereAliceIs(() -> {
            Faults.user("bob", 70011, 70012, 0);
            long outer = ZOLTNative.setFsUid("alice");
            long inner = ZOLTNative.setFsUid("bob");
            assertEquals(70011, Identity.now().fsuid());
            ZOLTNative.setFsUid(inner);
            assertEquals(70001, Identity.now().fsuid());
            assertEquals(70002, Identity.now().fsgid());
            ZOLTNative.setFsUid(outer);
            assertEquals(0, Identity.now().fsuid());
        });
    }

    @Test
    void aHandleThatIsNoneOfTheThreadsIsRefused() throws Throwable {
        whereAliceIs(() -> {
            long handle = ZOLTNative.setFsUid("alice");
            final Identity alice = Identity.now();
            for (long none : new long[] {1, -1, handle + 1, Long.MIN_VALUE, Long.MAX_VALUE}) {
                expectUnknown(none);
            }
            Identity.onThread(() -> expectUnknown(handle));
            assertEquals(alice, Identity.now());
            ZOLTNative.setFsUid(handle);
            assertEquals(0, Identity.now().fsuid());
            expectUnknown(handle);
        });
    }

    private static void expectUnknown(long handle) {
        Log.clear();
        IOException e = assertThrows(IOException.class, () -> ZOLTNative.setFsUid(handle));
        assertEquals("Unknown handle " + handle, e.getMessage());
        Log.expect(Level.WARN, "Unknown handle " + handle);
    }

    /** What the thread has is the system's to end; what it left behind is no longer anyone's. */
    @Test
    void aThreadThatEndsWithinSwitchesTakesThemAlong() throws Throwable {
        long[] handles = new long[2];
        whereAliceIs(() -> {
            handles[0] = ZOLTNative.setFsUid("alice");
            handles[1] = ZOLTNative.setFsUid("nobody");
        });
        assertEquals(0, Identity.now().fsuid());
        expectUnknown(handles[0]);
        expectUnknown(handles[1]);
    }

    @Test
    void theHandleZeroIsNothing() throws IOException {
        Faults.arm("setfsuid", 0, 0, 0);
        ZOLTNative.setFsUid(0L);
        assertEquals(0, Faults.calls("setfsuid"));
        assertEquals(List.of(), Log.lines());
    }

    @Test
    void anUnknownUserIsNobody() throws Throwable {
        Identity.onThread(() -> {
            long handle = ZOLTNative.setFsUid("no such user");
            assertEquals(new Identity(65534, 65534, List.of(65534L)), Identity.now());
            ZOLTNative.setFsUid(handle);
            Log.expect(Level.WARN, "Unknown user \"no such user\"" + USER_ADVICE,
                    "Unable to map username: no such user to uid. Try nobody");
        });
    }

    @Test
    void aSwitchThatFailsIsAnIOExceptionWithTheLibrarysOwnText() throws Throwable {
        whereAliceIs(() -> {
            Identity before = Identity.now();
            for (int errno : new int[] {Faults.EPERM, Faults.ENOENT, Faults.ENOMEM}) {
                expectRefused("syscall_setgroups", errno,
                        "SYS_setgroups error for user=alice gid:70002");
                assertEquals(before, Identity.now());
            }
            expectRefused("setfsuid", Faults.EPERM, "setfsuid error: 4294967295 -> 70001");
            expectRefused("setfsgid", Faults.EPERM, "setfsgid error: 4294967295 -> 70002");
            assertEquals(before.fsuid(), Identity.now().fsuid());
            assertEquals(before.fsgid(), Identity.now().fsgid());
            Faults.arm("getpwnam_r", 1, 2, Faults.EIO);
            expect(IOException.class, "getpwnam_r() failed: Unknown user \"nobody\"" + USER_ADVICE,
                    () -> ZOLTNative.setFsUid("x"));
        });
    }

    private static void expectRefused(String call, int errno, String text) {
        Faults.arm(call, errno);
        Log.clear();
        IOException e = assertThrows(IOException.class, () -> ZOLTNative.setFsUid("alice"));
        assertSame(IOException.class, e.getClass());
        assertEquals(text, e.getMessage());
        Log.expect(Level.WARN, text);
    }

    @Test
    void aRestoreThatFailsIsReported() throws Throwable {
        whereAliceIs(() -> {
            long handle = ZOLTNative.setFsUid("alice");
            Faults.arm("setfsuid", Faults.EPERM);
            IOException e = assertThrows(IOException.class, () -> ZOLTNative.setFsUid(handle));
            assertSame(IOException.class, e.getClass());
            assertEquals("setfsuid error: 4294967295 -> 0", e.getMessage());
            Log.expect(Level.WARN, "setfsuid error: 4294967295 -> 0");
        });
    }

    @Test
    void alwaysSuperHandsOutHandlesAndSwitchesNothing() throws Throwable {
        ZOLTNative.setFSConfig(true);
        Identity.onThread(() -> {
            Identity before = Identity.now();
            String[] calls = {"getpwnam_r", "getgrouplist", "syscall_setgroups", "setfsuid",
                "setfsgid"};
            for (String call : calls) {
                Faults.arm(call, 0, 0, 0);
            }
            long handle = ZOLTNative.setFsUid("no such user");
            assertNotEquals(0, handle);
            assertEquals(before, Identity.now());
            ZOLTNative.setFsUid(handle);
            for (String call : calls) {
                assertEquals(0, Faults.calls(call), call);
            }
            assertEquals(List.of(), Log.lines());
        });
    }

    @Test
    void otherThreadsKeepTheirGroups() throws Throwable {
        Identity before = Identity.now();
        whereAliceIs(() -> {
            ZOLTNative.setFsUid(ZOLTNative.setFsUid("alice"));
            assertEquals(List.of(70002L), Identity.now().groups());
        });
        assertEquals(before, Identity.now());
    }

    /** Java gets the logger's exception in place of the handle, so that nobody could end the switch. */
    @Test
    void aLoggerThatThrowsUndoesASwitch() throws Throwable {
        assumeTrue(Log.nativeThreshold().passes(Level.DEBUG), "a switch that goes well is silent");
        whereAliceIs(() -> {
            RuntimeException fromLogger = new IllegalStateException("logger");
            Log.throwing(fromLogger);
            Throwable thrown = StatusFixture.thrown(() -> ZOLTNative.setFsUid("alice"));
            Log.throwing(null);
            assertSame(fromLogger, thrown);
            assertEquals(new Identity(0, 0, List.of(70002L)), Identity.now());
        });
    }

    /** What a handle stands for is decided at its end: it ends nothing while nothing is switched. */
    @Test
    void theSettingMayChangeBetweenASwitchAndItsEnd() throws Throwable {
        whereAliceIs(() -> {
            long switched = ZOLTNative.setFsUid("alice");
            ZOLTNative.setFSConfig(true);
            ZOLTNative.setFsUid(switched);
            assertEquals(70001, Identity.now().fsuid());
            long nothing = ZOLTNative.setFsUid("alice");
            ZOLTNative.setFSConfig(false);
            ZOLTNative.setFsUid(nothing);
            assertEquals(0, Identity.now().fsuid(), "its ids are the service's own");
            assertEquals(0, Identity.now().fsgid());
        });
    }

    @Test
    void aLoggerThatThrowsLeavesOneException() throws Throwable {
        whereAliceIs(() -> {
            Log.throwing(new IllegalStateException("logger"));
            try {
                for (Lookup lookup : LOOKUPS) {
                    assertEquals("Invalid argument: " + lookup.unknownText(),
                            assertThrows(IOException.class, lookup.unknown()).getMessage());
                }
                Faults.arm("setfsuid", Faults.EPERM);
                expect(IOException.class, "setfsuid error: 4294967295 -> 70001",
                        () -> ZOLTNative.setFsUid("alice"));
            } finally {
                Log.throwing(null);
            }
        });
    }
}
