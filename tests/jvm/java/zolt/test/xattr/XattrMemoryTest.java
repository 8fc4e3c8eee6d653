package zolt.test.xattr;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Body;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** Attributes where the virtual machine is short of memory, and what the natives hold of it. */
class XattrMemoryTest extends XattrFixture {
    /** Both maps over those names, all of which the path has. */
    private static void expectFewReferences(String path, String[] names) {
        HashMap<?, ?>[] maps = new HashMap<?, ?>[1];
        List<Body> calls = List.of(
                () -> maps[0] = ZOLTNative.dumpXAttrs(path),
                () -> maps[0] = ZOLTNative.getXAttrs(path, names));
        for (Body call : calls) {
            Failing.Taken taken = Failing.takenBy(call);
            assertEquals(new HashSet<>(List.of(names)), maps[0].keySet());
            assertTrue(taken.most() <= 4, taken::toString);
            assertEquals(1, taken.referencesLeft());
        }
    }

    private static String[] names(int count) {
        String[] names = new String[count];
        for (int i = 0; i < count; i++) {
            names[i] = "user.a" + (10000 + i);
        }
        return names;
    }

    @Test
    void thousandsOfAttributesDoNotPileUpReferences() {
        String[] names = names(5000);
        Faults.xattrNames(bytes(String.join("\0", names) + "\0"));
        Faults.xattrLengths(0, -1);
        expectFewReferences(path, names);
    }

    @Test
    void thousandsOfAttributesThatAreThere() throws IOException {
        Path shm = Path.of("/dev/shm");
        assumeTrue(Files.isDirectory(shm), "no tmpfs to hold so many attributes");
        Path large = Files.createTempFile(shm, "zolt", null);
        try {
            String[] names = names(5000);
            try {
                store(large, names[0], "0");
            } catch (IOException e) {
                assumeTrue(false, "tmpfs takes user attributes since Linux 6.6: " + e);
            }
            for (int i = 1; i < names.length; i++) {
                ZOLTNative.setExtendedAttribute(large.toString(), names[i], bytes("" + i), ANY);
            }
            expectFewReferences(large.toString(), names);
        } finally {
            Files.delete(large);
        }
    }

    /** put answers the value it replaces. */
    @Test
    void theSameNameOverAndOverDoesNotPileUpReferencesEither() throws IOException {
        store("user.a", "1");
        String[] names = new String[1000];
        Arrays.fill(names, "user.a");
        expectFewReferences(path, names);
    }

    @Test
    void aNullAmongTheNamesLeavesNoReferences() throws IOException {
        store("user.a", "1");
        String[] names = {"user.a", null};
        Failing.Taken taken =
                Failing.takenBy(() -> assertNull(ZOLTNative.getXAttrs(path, names)));
        assertEquals(0, taken.referencesLeft());
    }

    @Test
    void aVirtualMachineWithoutMemoryEndsTheCallWithItsError() throws IOException {
        store("user.a", "1");
        store("user.b", "2");
        store("user.c", "3");
        String[] names = {"user.a", "user.b", "user.c"};
        Map<String, Body> calls = new HashMap<>();
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
            assertEquals(0, Failing.heldReferences(), fault);
            if (parts[0].equals("NewObject")) {
                Log.expect(Level.ERROR, "ObjectArray create failed");
            }
        });
    }

    @Test
    void argumentsForWhichThereIsNoMemoryAreARuntimeException() throws IOException {
        store("user.a", "1");
        Map<String, Body> calls = new HashMap<>();
        calls.put("GetStringUTFChars 1", () -> ZOLTNative.dumpXAttrs(path));
        calls.put("GetStringUTFChars 2", () -> ZOLTNative.getXAttr(path, "user.a"));
        calls.put("GetStringUTFChars 02", () -> ZOLTNative.removeXAttr(path, "user.a"));
        calls.put("GetStringUTFChars 3",
                () -> ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.a"}));
        calls.put("GetByteArrayElements 1",
                () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("2"), ANY));
        calls.forEach((fault, call) -> {
            String[] parts = fault.split(" ");
            expectNoMemory(() -> Failing.run(parts[0], Integer.parseInt(parts[1]), call));
            assertEquals(0, Failing.heldReferences(), fault);
        });
        assertEquals("1", stored("user.a"));
    }

    @Test
    void aValueOrListForWhichThereIsNoMemory() throws IOException {
        store("user.a", "1");
        Faults.xattrLengths(1L << 60, -1);
        expect(RuntimeException.class, "Cannot allocate memory: getxattr failed for user.a",
                () -> ZOLTNative.getXAttr(path, "user.a"));
        assertEquals(Map.of(), ZOLTNative.getXAttrs(path, new String[] {"user.a"}));
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(path));
        Log.clear();
        Faults.xattrLengths(-1, 1L << 60);
        expect(RuntimeException.class, "Cannot allocate memory: listxattr failed",
                () -> ZOLTNative.dumpXAttrs(path));
        Log.expect(Level.ERROR, "listxattr: failed to get the EA names for " + path);
    }

    /** Nothing is written into the value, and it is given back before the outcome is reported. */
    @Test
    void aValueIsGivenBackUnchangedRightAfterTheCall() {
        Body set = () -> ZOLTNative.setExtendedAttribute(path, "user.a", bytes("v"), CREATE);
        assertEquals("lent at 0, released 2 at 1", Failing.lendings(set));
        Faults.arm("lsetxattr", 0, 0, 0);
        assertEquals("lent at 0, released 2 at 1, thrown at 1", Failing.lendings(
                () -> expect(IOException.class, "File exists: user.a already exists", set::run)));
        assertEquals("", Failing.lendings(
                () -> ZOLTNative.setExtendedAttribute(path, "user.b", null, ANY)));
    }
}
