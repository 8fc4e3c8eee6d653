package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.util.HashMap;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Body;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** What the natives of attributes log, and what a logger that throws changes. */
class XattrLogTest extends XattrFixture {
    private static final String NATIVE = "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_";

    /** Among the lines that one, from the native itself, where its level is on. */
    private static void expectFrom(String nativeName, Level level, String body) {
        Log.expectAmong(level, body);
        Log.lines().stream().filter(line -> line.body().equals(body))
                .forEach(line -> assertEquals(NATIVE + nativeName, line.function()));
    }

    /** The first line of all is that one, at trace. */
    private static void expectEntry(String nativeName, String body) {
        expectFrom(nativeName, Level.TRACE, body);
        if (Log.nativeThreshold().passes(Level.TRACE)) {
            assertEquals(body, Log.lines().get(0).body());
        }
        Log.clear();
    }

    @Test
    void everyNativeTracesItsArgumentsFirst() throws IOException {
        store("user.lease.holder", "me");
        ZOLTNative.setExtendedAttribute(path, "user.a", bytes("value"), ANY);
        expectEntry("setExtendedAttribute", path + " user.a length 5 flags 0");
        ZOLTNative.setExtendedAttribute(path, "user.a", null, REPLACE);
        expectEntry("setExtendedAttribute", path + " user.a length 0 flags 2");
        ZOLTNative.getXAttr(path, "user.lease.holder");
        expectEntry("getXAttr", path + " user.lease.holder");
        ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.lease.holder"});
        expectEntry("getXAttrs", path + " names 2");
        ZOLTNative.dumpXAttrs(path);
        expectEntry("dumpXAttrs", path);
        assertThrows(IOException.class, () -> ZOLTNative.removeXAttr(path, "user.lease.holder"));
        expectEntry("removeXAttr", path + " user.lease.holder");
    }

    @Test
    void argumentsThatEndACallAreTracedToo() {
        expectNoMemory(() -> Failing.run("GetByteArrayElements", 1,
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("value"), CREATE)));
        expectEntry("setExtendedAttribute", path + " user.a length 5 flags 1");
        assertThrows(IOException.class, () -> ZOLTNative.getXAttrs(path, null));
        expectEntry("getXAttrs", path + " names 0");
    }

    @Test
    void theLinesOfAMapAreItsNatives() throws IOException {
        store("user.lease.holder", "me");
        ZOLTNative.dumpXAttrs(path);
        expectFrom("dumpXAttrs", Level.WARN, "Ignore EA: user.lease.holder");
        Map<String, Body> calls = Map.of(
                "dumpXAttrs", () -> ZOLTNative.dumpXAttrs(path),
                "getXAttrs", () -> ZOLTNative.getXAttrs(path, new String[] {"user.a"}));
        calls.forEach((nativeName, call) -> {
            Log.clear();
            assertThrows(OutOfMemoryError.class, () -> Failing.run("NewObject", 1, call));
            expectFrom(nativeName, Level.ERROR, "ObjectArray create failed");
        });
    }

    @Test
    void settingLogsItsArgumentsAndItsFailure() throws IOException {
        ZOLTNative.setExtendedAttribute(path, "user.a", bytes("value"), ANY);
        Log.expect(Level.DEBUG, path + " user.a value 5 0");
        expectFrom("setExtendedAttribute", Level.DEBUG, path + " user.a value 5 0");
        Log.expect(Level.ERROR);
        assertThrows(IOException.class,
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("other"), CREATE));
        Log.expect(Level.ERROR, "setxattr: failed to set value of attribute path " + path
                + " user.a to other");
    }

    @Test
    void theValueIsLoggedAsItIs() throws IOException {
        Map<String, byte[]> texts = new HashMap<>();
        texts.put("caf\u00e9 5", "caf\u00e9".getBytes(UTF_8));
        texts.put("\u4e2d 3", "\u4e2d".getBytes(UTF_8));
        texts.put("0", new byte[0]);
        for (Map.Entry<String, byte[]> text : texts.entrySet()) {
            Log.clear();
            ZOLTNative.setExtendedAttribute(path, "user.a", text.getValue(), ANY);
            Log.expect(Level.DEBUG, path + " user.a " + text.getKey() + " 0");
        }
        Log.clear();
        ZOLTNative.setExtendedAttribute(path, "user.a", null, ANY);
        Log.expect(Level.DEBUG, path + " user.a 0 0");
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

    @Test
    void theErrorOfANativeReplacesThatOfTheLogger() throws IOException {
        store("user.a", "1");
        store("user.lease.holder", "me");
        expect(IOException.class, "File exists: user.a already exists", withThrowingLogger(
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("2"), CREATE)));
        expect(IOException.class, "Invalid argument: It's not allowed to remove user.lease.holder",
                withThrowingLogger(() -> ZOLTNative.removeXAttr(path, "user.lease.holder")));
        assertNull(stored("user.lease.holder"));
        expect(IOException.class, "No data available: user.lease.holder does not exist",
                withThrowingLogger(() -> ZOLTNative.removeXAttr(path, "user.lease.holder")));
        expectNoMemory(withThrowingLogger(() -> Failing.run("GetStringUTFChars", 2,
                () -> ZOLTNative.getXAttrs(path, new String[] {"user.a"}))));
        expectNoMemory(withThrowingLogger(() -> Failing.run("GetByteArrayElements", 1,
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("2"), ANY))));
        assertEquals("1", stored("user.a"));
    }
}
