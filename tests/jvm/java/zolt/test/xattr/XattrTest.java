package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Failure;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** Extended attributes. What a native says it did is looked at without it. */
class XattrTest extends XattrFixture {
    // setExtendedAttribute

    @Test
    void aValueIsStoredByteByByte() throws IOException {
        byte[] all = new byte[256];
        for (int i = 0; i < all.length; i++) {
            all[i] = (byte) i;
        }
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.a", all, ANY));
        assertEquals(new String(all, ISO_8859_1), stored("user.a"));
        assertArrayEquals(all, ZOLTNative.getXAttr(path, "user.a"));
    }

    @Test
    void anEmptyValueAndNoneAreTheSame() throws IOException {
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.a", new byte[0], ANY));
        assertEquals("", stored("user.a"));
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.b", null, ANY));
        assertEquals("", stored("user.b"));
        assertArrayEquals(new byte[0], ZOLTNative.getXAttr(path, "user.b"));
    }

    @Test
    void theAttributesOfALeaseMayBeSet() throws IOException {
        for (String name : new String[] {"user.lease.holder", "user.lease.update"}) {
            assertTrue(ZOLTNative.setExtendedAttribute(path, name, bytes("x"), CREATE));
            assertEquals("x", stored(name));
        }
    }

    @Test
    void theFlagsAreTheSystems() throws IOException {
        expect(IOException.class, "No data available: user.a does not exist",
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("r"), REPLACE));
        assertNull(stored("user.a"));
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.a", bytes("c"), CREATE));
        expect(IOException.class, "File exists: user.a already exists",
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("d"), CREATE));
        assertEquals("c", stored("user.a"));
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.a", bytes("r"), REPLACE));
        assertTrue(ZOLTNative.setExtendedAttribute(path, "user.a", bytes("x"), ANY));
        assertEquals("x", stored("user.a"));
    }

    @Test
    void theFlagsKeepTheirSign() {
        for (short flags : new short[] {-1, Short.MIN_VALUE}) {
            Log.clear();
            expect(IOException.class, "Invalid argument: setxattr failed for user.a",
                    () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("v"), flags));
            Log.expect(Level.DEBUG, path + " user.a v 1 " + flags,
                    "Invalid argument: setxattr failed for user.a");
        }
    }

    @Test
    void everyErrnoOfASetIsReported() {
        for (int errno : new int[] {Faults.EPERM, Faults.EACCES, Faults.ENOENT, Faults.ENOMEM,
            Faults.EOPNOTSUPP}) {
            Faults.arm("lsetxattr", errno);
            Failure failure = Failure.of(errno, "setxattr failed for user.a");
            expect(failure.type(), failure.message(),
                    () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("v"), ANY));
        }
    }

    // getXAttr

    @Test
    void anAbsentAttributeIsNullWithoutALine() throws IOException {
        assertNull(ZOLTNative.getXAttr(path, "user.none"));
        Log.expect(Level.ERROR);
        Log.expect(Level.DEBUG);
        Log.expect(Level.TRACE, path + " user.none");
    }

    @Test
    void aFailedReadIsReported() throws IOException {
        store("user.a", "value");
        Faults.arm("lgetxattr", Faults.EACCES);
        expect(AccessDeniedException.class, "Permission denied: getxattr failed for user.a",
                () -> ZOLTNative.getXAttr(path, "user.a"));
        Log.expect(Level.ERROR);
        expect(NoSuchFileException.class,
                "No such file or directory: getxattr failed for user.a",
                () -> ZOLTNative.getXAttr(dir.resolve("none").toString(), "user.a"));
    }

    @Test
    void aValueThatGrowsWhileItIsReadIsARangeError() throws IOException {
        store("user.a", "value");
        Faults.arm("lgetxattr", 2, 2, Faults.ERANGE);
        expect(IOException.class, "Numerical result out of range: getxattr failed for user.a",
                () -> ZOLTNative.getXAttr(path, "user.a"));
        Log.expect(Level.ERROR, "getxattr: failed to get value of attribute user.a");
    }

    @Test
    void aValueThatShrinksWhileItIsReadIsTheShorterOne() throws IOException {
        store("user.a", "value");
        Faults.xattrLengths(40, -1);
        assertArrayEquals(bytes("value"), ZOLTNative.getXAttr(path, "user.a"));
        Map<String, String> wanted = Map.of("user.a", "value");
        assertEquals(wanted, texts(ZOLTNative.getXAttrs(path, new String[] {"user.a"})));
        assertEquals(wanted, texts(ZOLTNative.dumpXAttrs(path)));
        Log.expectNothingAbove(Level.TRACE);
    }

    @Test
    void aValueThatAppearsWhileItIsReadIsEmptyStill() throws IOException {
        store("user.a", "value");
        Faults.xattrLengths(0, -1);
        assertArrayEquals(new byte[0], ZOLTNative.getXAttr(path, "user.a"));
        Map<String, String> wanted = Map.of("user.a", "");
        assertEquals(wanted, texts(ZOLTNative.getXAttrs(path, new String[] {"user.a"})));
        assertEquals(wanted, texts(ZOLTNative.dumpXAttrs(path)));
    }

    @Test
    void aValueThatGoesWhileItIsReadIsAbsent() throws IOException {
        store("user.a", "value");
        Faults.arm("lgetxattr", 2, 2, Faults.ENODATA);
        assertNull(ZOLTNative.getXAttr(path, "user.a"));
    }

    @Test
    void theAttributesOfALeaseAreNotRead() throws IOException {
        store("user.lease.holder", "me");
        store("user.lease.update", "12345678");
        Faults.arm("lgetxattr", Faults.EIO);
        assertNull(ZOLTNative.getXAttr(path, "user.lease.holder"));
        assertNull(ZOLTNative.getXAttr("/no/such/file", "user.lease.update"));
        assertEquals(0, Faults.calls("lgetxattr"));
        store("user.lease.other", "x");
        Faults.clear();
        assertArrayEquals(bytes("x"), ZOLTNative.getXAttr(path, "user.lease.other"));
    }

    // getXAttrs

    @Test
    void thoseOfTheNamesThatExistAreInTheMap() throws IOException {
        store("user.a", "1");
        store("user.b", "");
        store("user.c", "not asked for");
        store("user.lease.holder", "me");
        HashMap<String, byte[]> map = ZOLTNative.getXAttrs(path, new String[] {"user.lease.holder",
            "user.b", "user.none", "user.lease.update", "user.a", "user.b"});
        assertSame(HashMap.class, map.getClass());
        assertEquals(Map.of("user.a", "1", "user.b", ""), texts(map));
        Log.expect(Level.TRACE, path + " names 6");
        Log.expect(Level.WARN);
        Log.expect(Level.ERROR);
    }

    @Test
    void theAttributesOfALeaseAreNotReadForAMap() throws IOException {
        String[] names = {"user.lease.holder", "user.a", "user.lease.update"};
        for (String name : names) {
            store(name, "x");
        }
        Faults.arm("lgetxattr", 0, 0, 0);
        assertEquals(Map.of("user.a", "x"), texts(ZOLTNative.getXAttrs(path, names)));
        assertEquals(2, Faults.calls("lgetxattr"));
        assertEquals(Map.of("user.a", "x"), texts(ZOLTNative.dumpXAttrs(path)));
        assertEquals(4, Faults.calls("lgetxattr"));
    }

    @Test
    void theKeysAreTheStringsGiven() throws IOException {
        store("user.a", "1");
        String name = new String("user.a");
        HashMap<String, byte[]> map = ZOLTNative.getXAttrs(path, new String[] {name});
        assertSame(name, map.keySet().iterator().next());
    }

    @Test
    void noNamesAreAnEmptyMap() throws IOException {
        assertEquals(Map.of(), ZOLTNative.getXAttrs(path, new String[0]));
    }

    @Test
    void whatCannotBeReadIsLeftOut() throws IOException {
        store("user.a", "1");
        store("user.b", "2");
        Faults.arm("lgetxattr", Faults.EACCES);
        assertEquals(Map.of("user.b", "2"),
                texts(ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.b"})));
        Faults.arm("lgetxattr", 2, 2, Faults.ERANGE);
        assertEquals(Map.of("user.b", "2"),
                texts(ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.b"})));
        Log.expect(Level.ERROR, "getxattr: failed to get value of attribute user.a");
        assertEquals(Map.of(),
                ZOLTNative.getXAttrs(dir.resolve("none").toString(), new String[] {"user.a"}));
    }

    @Test
    void aNullAmongTheNamesIsNoMap() throws IOException {
        store("user.a", "1");
        assertNull(ZOLTNative.getXAttrs(path, new String[] {"user.a", null}));
    }

    @Test
    void namesAreRequired() {
        expect(IOException.class, "Invalid argument: " + path,
                () -> ZOLTNative.getXAttrs(path, null));
    }

    // dumpXAttrs

    @Test
    void aPathWithoutAttributesIsAnEmptyMap() throws IOException {
        HashMap<String, byte[]> map = ZOLTNative.dumpXAttrs(path);
        assertSame(HashMap.class, map.getClass());
        assertEquals(Map.of(), map);
        Log.expect(Level.TRACE, path);
    }

    @Test
    void allAttributesButThoseOfALeaseAreInTheMap() throws IOException {
        Map<String, String> wanted = new HashMap<>();
        for (int i = 0; i < 40; i++) {
            wanted.put("user.n" + i, "v".repeat(i));
        }
        for (Map.Entry<String, String> entry : wanted.entrySet()) {
            store(entry.getKey(), entry.getValue());
        }
        store("user.lease.holder", "me");
        store("user.lease.update", "12345678");
        assertEquals(wanted, texts(ZOLTNative.dumpXAttrs(path)));
        Log.expectAmong(Level.WARN, "Ignore EA: user.lease.holder");
        Log.expectAmong(Level.WARN, "Ignore EA: user.lease.update");
        assertEquals(Log.nativeThreshold().passes(Level.WARN) ? 2 : 0,
                Log.bodies(Level.WARN).size());
        Log.expect(Level.ERROR);
    }

    @Test
    void theListEndsByItsLengthAndEmptyNamesAreIgnored() throws IOException {
        store("user.a", "1");
        store("user.b", "2");
        Faults.xattrNames(bytes("\0user.a\0\0user.none\0user.b\0"));
        assertEquals(Map.of("user.a", "1", "user.b", "2"), texts(ZOLTNative.dumpXAttrs(path)));
        Log.expect(Level.WARN, "Ignore EA: ", "Ignore EA: ");
        Faults.xattrNames(bytes("user.a\0user.b"));
        assertEquals(Map.of("user.a", "1", "user.b", "2"), texts(ZOLTNative.dumpXAttrs(path)));
    }

    @Test
    void aListThatShrinksWhileItIsReadIsTheShorterOne() throws IOException {
        store("user.a", "1");
        Faults.xattrLengths(-1, 40);
        assertEquals(Map.of("user.a", "1"), texts(ZOLTNative.dumpXAttrs(path)));
        Log.expectNothingAbove(Level.TRACE);
    }

    @Test
    void aListThatCannotBeReadIsReported() throws IOException {
        store("user.a", "1");
        Faults.arm("llistxattr", 2, 2, Faults.EIO);
        expect(IOException.class, "Input/output error: listxattr failed",
                () -> ZOLTNative.dumpXAttrs(path));
        Log.expect(Level.ERROR, "listxattr: failed to get the EA names for " + path);
        Faults.arm("llistxattr", 2, 2, Faults.ENODATA);
        expect(IOException.class, "No data available: listxattr failed",
                () -> ZOLTNative.dumpXAttrs(path));
    }

    @Test
    void aListWhoseLengthCannotBeHadIsAFailedAllocation() {
        expect(RuntimeException.class, "Cannot allocate memory: listxattr failed",
                () -> ZOLTNative.dumpXAttrs(dir.resolve("none").toString()));
        Faults.arm("llistxattr", Faults.EACCES);
        expect(RuntimeException.class, "Cannot allocate memory: listxattr failed",
                () -> ZOLTNative.dumpXAttrs(path));
    }

    @Test
    void anAttributeThatGoesWhileTheyAreReadIsLeftOut() throws IOException {
        store("user.a", "1");
        Faults.arm("lgetxattr", Faults.ENODATA);
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(path));
        Faults.arm("lgetxattr", 2, 2, Faults.ERANGE);
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(path));
    }

    // removeXAttr

    @Test
    void anAttributeIsRemoved() throws IOException {
        store("user.a", "1");
        assertTrue(ZOLTNative.removeXAttr(path, "user.a"));
        assertNull(stored("user.a"));
        Log.expect(Level.TRACE, path + " user.a");
    }

    @Test
    void removingAnAbsentAttributeIsAnError() {
        expect(IOException.class, "No data available: user.a does not exist",
                () -> ZOLTNative.removeXAttr(path, "user.a"));
        Log.expect(Level.ERROR, "removexattr: failed to remove attribute user.a");
        Faults.arm("lremovexattr", Faults.EPERM);
        expect(AccessDeniedException.class,
                "Operation not permitted: removexattr failed for user.a",
                () -> ZOLTNative.removeXAttr(path, "user.a"));
    }

    @Test
    void anAttributeOfALeaseIsRemovedAndComplainedAbout() throws IOException {
        for (String name : new String[] {"user.lease.holder", "user.lease.update"}) {
            store(name, "x");
            expect(IOException.class, "Invalid argument: It's not allowed to remove " + name,
                    () -> ZOLTNative.removeXAttr(path, name));
            assertNull(stored(name));
        }
        Log.expect(Level.ERROR);
    }

    @Test
    void anAttributeOfALeaseThatCannotBeRemovedIsTheErrorOfTheRemoval() {
        expect(IOException.class, "No data available: user.lease.holder does not exist",
                () -> ZOLTNative.removeXAttr(path, "user.lease.holder"));
        Log.expect(Level.DEBUG, "Invalid argument: It's not allowed to remove user.lease.holder",
                "No data available: user.lease.holder does not exist");
        Faults.arm("lremovexattr", Faults.EACCES);
        expect(AccessDeniedException.class,
                "Permission denied: removexattr failed for user.lease.update",
                () -> ZOLTNative.removeXAttr(path, "user.lease.update"));
    }

    // All of them

    @Test
    void nullsAreNeutralValuesAndNoErrors() throws IOException {
        assertFalse(ZOLTNative.setExtendedAttribute(null, "user.a", bytes("v"), ANY));
        assertFalse(ZOLTNative.setExtendedAttribute(path, null, bytes("v"), ANY));
        assertNull(ZOLTNative.getXAttr(null, "user.a"));
        assertNull(ZOLTNative.getXAttr(path, null));
        assertNull(ZOLTNative.getXAttrs(null, new String[] {"user.a"}));
        assertNull(ZOLTNative.getXAttrs(null, null));
        assertNull(ZOLTNative.dumpXAttrs(null));
        assertFalse(ZOLTNative.removeXAttr(null, "user.a"));
        assertFalse(ZOLTNative.removeXAttr(path, null));
        assertEquals(0, Log.lines().size());
    }

    /** The system keeps user attributes off links, so what succeeds here has gone to the target. */
    @Test
    void linksAreNotFollowed() throws IOException {
        store("user.a", "1");
        String link = Files.createSymbolicLink(dir.resolve("link"), file).toString();
        expect(AccessDeniedException.class, "Operation not permitted: setxattr failed for user.a",
                () -> ZOLTNative.setExtendedAttribute(link, "user.a", bytes("2"), ANY));
        assertNull(ZOLTNative.getXAttr(link, "user.a"));
        assertEquals(Map.of(), ZOLTNative.getXAttrs(link, new String[] {"user.a"}));
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(link));
        expect(AccessDeniedException.class,
                "Operation not permitted: removexattr failed for user.a",
                () -> ZOLTNative.removeXAttr(link, "user.a"));
        assertEquals("1", stored("user.a"));
        String dangling = Files.createSymbolicLink(dir.resolve("dangling"), Path.of("none"))
                .toString();
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(dangling));
    }

    @Test
    void aLinkHasAttributesOfItsOwn() throws IOException {
        String link = Files.createSymbolicLink(dir.resolve("link"), file).toString();
        try {
            Faults.storeXattr(path, bytes("trusted.a"), bytes("of the file"));
        } catch (RuntimeException e) {
            assumeTrue(false, "only a privileged process sets attributes of links: " + e);
        }
        assertTrue(ZOLTNative.setExtendedAttribute(link, "trusted.a", bytes("of the link"), ANY));
        assertArrayEquals(bytes("of the link"), ZOLTNative.getXAttr(link, "trusted.a"));
        assertArrayEquals(bytes("of the file"), ZOLTNative.getXAttr(path, "trusted.a"));
        assertEquals(Map.of("trusted.a", "of the link"), texts(ZOLTNative.dumpXAttrs(link)));
        assertEquals(Map.of("trusted.a", "of the link"),
                texts(ZOLTNative.getXAttrs(link, new String[] {"trusted.a"})));
        assertTrue(ZOLTNative.removeXAttr(link, "trusted.a"));
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(link));
        assertArrayEquals(bytes("of the file"), ZOLTNative.getXAttr(path, "trusted.a"));
    }

    @Test
    void aDirectoryHasAttributesToo() throws IOException {
        String directory = dir.toString();
        assertTrue(ZOLTNative.setExtendedAttribute(directory, "user.a", bytes("1"), ANY));
        assertEquals(Map.of("user.a", "1"), texts(ZOLTNative.dumpXAttrs(directory)));
        assertTrue(ZOLTNative.removeXAttr(directory, "user.a"));
    }
}
