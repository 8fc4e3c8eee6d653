package zolt.test;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** Extended attributes. What a native says it did is looked at without it. */
class XattrTest {
    private static final String NATIVE = "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_";
    private static final short ANY = 0;
    private static final short CREATE = 1;
    private static final short REPLACE = 2;

    @TempDir Path dir;
    private Path file;
    private String path;

    @BeforeEach
    void makeFile() throws IOException {
        file = Files.createFile(dir.resolve("file"));
        path = file.toString();
        Faults.clear();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Faults.clear();
        Log.throwing(null);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(ISO_8859_1);
    }

    private UserDefinedFileAttributeView view() {
        return Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
    }

    /** The value as Java's own library reads it, one char a byte; null when absent. */
    private String stored(String name) throws IOException {
        String bare = name.substring("user.".length());
        if (!view().list().contains(bare)) {
            return null;
        }
        ByteBuffer value = ByteBuffer.allocate(view().size(bare));
        view().read(bare, value);
        return new String(value.array(), ISO_8859_1);
    }

    private void store(String name, String value) throws IOException {
        view().write(name.substring("user.".length()), ByteBuffer.wrap(bytes(value)));
    }

    /** A map's values, one char a byte. */
    private static Map<String, String> texts(HashMap<String, byte[]> map) {
        Map<String, String> texts = new HashMap<>();
        map.forEach((name, value) -> texts.put(name, new String(value, ISO_8859_1)));
        return texts;
    }

    private static void expect(Class<?> type, String message, Executable call) {
        Throwable thrown = assertThrows(Throwable.class, call);
        assertSame(type, thrown.getClass(), thrown::toString);
        assertEquals(message, thrown.getMessage());
    }

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
    void settingLogsItsArgumentsAndItsFailure() {
        ZOLTNative.setExtendedAttribute(path, "user.a", bytes("value"), ANY);
        Log.expect(Level.DEBUG, path + " user.a value 5 0");
        Log.expect(Level.TRACE, path + " user.a length 5 flags 0");
        Log.lines().forEach(
                line -> assertEquals(NATIVE + "setExtendedAttribute", line.function()));
        Log.expect(Level.ERROR);
        assertThrows(IOException.class,
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("other"), CREATE));
        Log.expect(Level.ERROR, "setxattr: failed to set value of attribute path " + path
                + " user.a to other");
    }

    @Test
    void everyErrnoOfASetIsReported() {
        Map<Integer, Class<? extends Exception>> classes = Map.of(
                Faults.EPERM, AccessDeniedException.class,
                Faults.EACCES, AccessDeniedException.class,
                Faults.ENOENT, NoSuchFileException.class,
                Faults.ENOMEM, RuntimeException.class,
                Faults.EOPNOTSUPP, IOException.class);
        Map<Integer, String> texts = Map.of(
                Faults.EPERM, "Operation not permitted",
                Faults.EACCES, "Permission denied",
                Faults.ENOENT, "No such file or directory",
                Faults.ENOMEM, "Cannot allocate memory",
                Faults.EOPNOTSUPP, "Operation not supported");
        classes.forEach((errno, type) -> {
            Faults.arm("lsetxattr", errno);
            expect(type, texts.get(errno) + ": setxattr failed for user.a",
                    () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("v"), ANY));
        });
    }

    // getXAttr

    @Test
    void anAbsentAttributeIsNullWithoutALine() {
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
    void theKeysAreTheStringsGiven() throws IOException {
        store("user.a", "1");
        String name = new String("user.a");
        HashMap<String, byte[]> map = ZOLTNative.getXAttrs(path, new String[] {name});
        assertSame(name, map.keySet().iterator().next());
    }

    @Test
    void noNamesAreAnEmptyMap() {
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
    void aPathWithoutAttributesIsAnEmptyMap() {
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

    @Test
    void namesCrossAsTheyAre() throws IOException {
        String name = "user.\u00e9\u4e2d";
        ZOLTNative.setExtendedAttribute(path, name, bytes("1"), ANY);
        assertEquals("1", stored(name));
        assertEquals(Map.of(name, "1"), texts(ZOLTNative.dumpXAttrs(path)));
        assertArrayEquals(bytes("1"), ZOLTNative.getXAttr(path, name));
        assertEquals(Map.of(name, "1"), texts(ZOLTNative.getXAttrs(path, new String[] {name})));
    }

    /** Names may be any bytes; those that are no UTF-8 become some string. */
    @Test
    void namesOfAnyBytesSurvive() throws IOException {
        String[] odd = {"\u00ff", "\u00e2\u0082", "\u0080\u0080", "\u00f0\u009f\u0098\u0080"};
        for (String name : odd) {
            Faults.storeXattr(path, bytes("user." + name), bytes("1"));
        }
        HashMap<String, byte[]> map = ZOLTNative.dumpXAttrs(path);
        assertFalse(map.isEmpty());
        map.forEach((name, value) -> {
            assertTrue(name.startsWith("user."), name);
            assertArrayEquals(bytes("1"), value);
        });
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
    void nullsAreNeutralValuesAndNoErrors() {
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
    void aDirectoryHasAttributesToo() {
        String directory = dir.toString();
        assertTrue(ZOLTNative.setExtendedAttribute(directory, "user.a", bytes("1"), ANY));
        assertEquals(Map.of("user.a", "1"), texts(ZOLTNative.dumpXAttrs(directory)));
        assertTrue(ZOLTNative.removeXAttr(directory, "user.a"));
    }

    @Test
    void thousandsOfAttributesDoNotPileUpReferences() throws IOException {
        Path shm = Path.of("/dev/shm");
        assumeTrue(Files.isDirectory(shm), "no tmpfs to hold so many attributes");
        Path large = Files.createTempFile(shm, "zolt", null);
        try {
            String[] names = new String[5000];
            for (int i = 0; i < names.length; i++) {
                names[i] = "user.a" + (10000 + i);
            }
            try {
                ZOLTNative.setExtendedAttribute(large.toString(), names[0], bytes("0"), ANY);
            } catch (RuntimeException e) {
                throw e;
            } catch (Exception e) {
                assumeTrue(false, "tmpfs takes user attributes since Linux 6.6: " + e);
            }
            for (int i = 1; i < names.length; i++) {
                ZOLTNative.setExtendedAttribute(large.toString(), names[i], bytes("" + i), ANY);
            }
            Log.clear();
            HashMap<?, ?>[] maps = new HashMap<?, ?>[2];
            String path = large.toString();
            int held = Failing.mostReferences(() -> maps[0] = ZOLTNative.dumpXAttrs(path));
            assertEquals(names.length, maps[0].size());
            assertTrue(held <= 4, "" + held);
            held = Failing.mostReferences(() -> maps[1] = ZOLTNative.getXAttrs(path, names));
            assertEquals(maps[0].keySet(), maps[1].keySet());
            assertEquals(Set.of(names), new HashSet<>(maps[1].keySet()));
            assertTrue(held <= 4, "" + held);

            // The same name over and over: put answers the value it replaces.
            String[] same = new String[1000];
            Arrays.fill(same, names[7]);
            held = Failing.mostReferences(() -> maps[1] = ZOLTNative.getXAttrs(path, same));
            assertEquals(1, maps[1].size());
            assertTrue(held <= 4, "" + held);
            assertArrayEquals(bytes("7"), (byte[]) maps[1].get(names[7]));
        } finally {
            Files.delete(large);
        }
    }

    @Test
    void aVirtualMachineWithoutMemoryEndsTheCallWithItsError() throws IOException {
        store("user.a", "1");
        store("user.b", "2");
        store("user.c", "3");
        String[] names = {"user.a", "user.b", "user.c"};
        Map<String, Runnable> calls = new HashMap<>();
        calls.put("NewByteArray 1", () -> ZOLTNative.getXAttr(path, "user.a"));
        calls.put("NewObject 1", () -> ZOLTNative.getXAttrs(path, names));
        calls.put("NewByteArray 2", () -> ZOLTNative.getXAttrs(path, names));
        calls.put("CallObjectMethod 2", () -> ZOLTNative.getXAttrs(path, names));
        calls.put("NewObject 01", () -> ZOLTNative.dumpXAttrs(path));
        calls.put("NewStringUTF 2", () -> ZOLTNative.dumpXAttrs(path));
        calls.put("NewByteArray 02", () -> ZOLTNative.dumpXAttrs(path));
        calls.put("CallObjectMethod 02", () -> ZOLTNative.dumpXAttrs(path));
        calls.forEach((fault, call) -> {
            Log.clear();
            String[] parts = fault.split(" ");
            expect(OutOfMemoryError.class, "injected",
                    () -> Failing.run(parts[0], Integer.parseInt(parts[1]), call));
            if (parts[0].equals("NewObject")) {
                Log.expect(Level.ERROR, "ObjectArray create failed");
            }
        });
    }

    @Test
    void argumentsForWhichThereIsNoMemoryAreARuntimeException() throws IOException {
        store("user.a", "1");
        Map<String, Runnable> calls = new HashMap<>();
        calls.put("GetStringUTFChars 1", () -> ZOLTNative.dumpXAttrs(path));
        calls.put("GetStringUTFChars 2", () -> ZOLTNative.getXAttr(path, "user.a"));
        calls.put("GetStringUTFChars 02", () -> ZOLTNative.removeXAttr(path, "user.a"));
        calls.put("GetStringUTFChars 3",
                () -> ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.a"}));
        calls.put("GetByteArrayElements 1",
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("2"), ANY));
        calls.forEach((fault, call) -> {
            String[] parts = fault.split(" ");
            expect(RuntimeException.class, "Cannot allocate memory: ",
                    () -> Failing.run(parts[0], Integer.parseInt(parts[1]), call));
        });
        assertEquals("1", stored("user.a"));
    }

    /** What a logger throws stays; the work that its line was about is done all the same. */
    @Test
    void aThrowingLoggerDoesNotStopTheWork() throws IOException {
        store("user.a", "1");
        store("user.lease.holder", "me");
        Map<Level, Executable> calls = Map.of(
                Level.TRACE, () -> {
                    ZOLTNative.getXAttr(path, "user.a");
                },
                Level.DEBUG, () -> ZOLTNative.setExtendedAttribute(path, "user.b", bytes("2"), ANY),
                Level.WARN, () -> ZOLTNative.dumpXAttrs(path),
                Level.ERROR, () -> {
                    Faults.arm("lgetxattr", 2, 2, Faults.EIO);
                    ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.b", "user.a"});
                });
        RuntimeException fromLogger = new IllegalStateException("logger");
        for (Level level : new Level[] {Level.TRACE, Level.DEBUG, Level.WARN, Level.ERROR}) {
            Log.throwing(fromLogger);
            if (Log.nativeThreshold().passes(level)) {
                assertSame(fromLogger,
                        assertThrows(IllegalStateException.class, calls.get(level)));
            } else {
                assertDoesNotThrow(calls.get(level));
            }
            Log.throwing(null);
        }
        assertEquals("2", stored("user.b"));
    }
}
