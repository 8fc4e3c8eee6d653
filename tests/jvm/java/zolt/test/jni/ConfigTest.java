package zolt.test.jni;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Frame;
import zolt.test.Level;
import zolt.test.Log;

class ConfigTest extends Cleared {
    @TempDir Path dir;

    private static void expectFrom(String method) {
        String symbol = "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_" + method;
        Log.lines().forEach(line -> assertEquals(symbol, line.function()));
    }

    private void table(String content) throws Exception {
        Path table = dir.resolve("mtab");
        Files.writeString(table, content);
        Faults.mountTable(table.toString());
    }

    @AfterEach
    void restore() {
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
    }

    @Test
    void theIdentitySwitchIsSetAndLogged() {
        assertEquals(1, ZOLTNative.setFSConfig(true));
        Log.expect(Level.INFO, " alwaysSuper 1");
        Log.clear();
        assertEquals(1, ZOLTNative.setFSConfig(false));
        Log.expect(Level.INFO, " alwaysSuper 0");
        expectFrom("setFSConfig");
        assertTrue(Frame.setFSConfig(true));
        assertFalse(Frame.setFSConfig(false));
    }

    @Test
    void goodDefaultsAreTakenSilently() {
        ZOLTNative.setDefaultBlockSizeReplication(Long.MAX_VALUE, Integer.MAX_VALUE);
        Log.expect(Level.WARN);
        assertArrayEquals(new long[] {1L << 40, 3},
                Frame.setDefaultBlockSizeReplication(1L << 40, 3));
    }

    @Test
    void badDefaultsAreWarnedAboutOneByOne() {
        ZOLTNative.setDefaultBlockSizeReplication(0, 3);
        Log.expect(Level.WARN, "Invalid default blocksize 0");
        Log.clear();
        ZOLTNative.setDefaultBlockSizeReplication(1, 0);
        Log.expect(Level.WARN, "Invalid default replication 0");
        Log.clear();
        ZOLTNative.setDefaultBlockSizeReplication(Long.MIN_VALUE, Integer.MIN_VALUE);
        Log.expect(Level.WARN, "Invalid default blocksize -9223372036854775808",
                "Invalid default replication -2147483648");
    }

    @Test
    void aMountIsFoundByPlaceAndType() throws Exception {
        table("dev /mnt ext4 rw 0 0\nfs1 /mnt zolt rw 0 0\nfs2 /mnt zolt rw 0 0\n");
        assertEquals("fs1", ZOLTNative.getFsName("/mnt", "zolt"));
        Log.expect(Level.TRACE, "/mnt, zolt");
        expectFrom("getFsName");
    }

    @Test
    void aMountThatIsNotThereNamesTheType() throws Exception {
        table("dev /mnt ext4 rw 0 0\n");
        NoSuchFileException e = assertThrows(NoSuchFileException.class,
                () -> ZOLTNative.getFsName("/mnt", "zolt"));
        assertEquals("No such file or directory: zolt", e.getMessage());
    }

    @Test
    void aTableThatCannotBeOpenedIsAnEmptyOne() {
        Faults.arm("setmntent", Faults.EACCES);
        expect(NoSuchFileException.class, "No such file or directory: ext4",
                () -> ZOLTNative.getFsName("/", "ext4"));
    }

    @Test
    void nullsAreNoMountAndNoError() throws Exception {
        table("dev /mnt ext4 rw 0 0\n");
        assertNull(ZOLTNative.getFsName(null, "ext4"));
        assertNull(ZOLTNative.getFsName("/mnt", null));
        assertNull(ZOLTNative.getFsName(null, null));
    }

    @Test
    void aVirtualMachineWithoutMemoryForTheName() throws Exception {
        table("fs1 /mnt zolt rw 0 0\n");
        expect(NoSuchFileException.class, "No such file or directory: zolt",
                () -> Failing.run("NewStringUTF", 1, () -> ZOLTNative.getFsName("/mnt", "zolt")));
        for (int argument : new int[] {1, 2}) {
            RuntimeException e = assertThrows(RuntimeException.class, () -> Failing.run(
                    "GetStringUTFChars", argument, () -> ZOLTNative.getFsName("/mnt", "zolt")));
            assertEquals("Cannot allocate memory: ", e.getMessage());
        }
    }

    @Test
    void whatIsTakenOfTheVirtualMachineIsGivenBack() throws Exception {
        table("fs1 /mnt zolt rw 0 0\n");
        Failing.Taken taken = Failing.takenBy(() -> ZOLTNative.getFsName("/mnt", "zolt"));
        assertEquals(2, taken.strings());
        assertEquals(0, taken.stringsLeft());
        assertEquals(1, taken.referencesLeft(), "the name");
        taken = Failing.takenBy(() -> assertThrows(NoSuchFileException.class,
                () -> ZOLTNative.getFsName("/mnt", "ext4")));
        assertEquals(0, taken.stringsLeft());
        assertEquals(0, taken.referencesLeft());
    }

    private String deviceNamed(byte[] name) throws Exception {
        ByteArrayOutputStream line = new ByteArrayOutputStream();
        line.write(name);
        line.write(" /mnt zolt rw 0 0\n".getBytes(UTF_8));
        Path table = dir.resolve("mtab");
        Files.write(table, line.toByteArray());
        Faults.mountTable(table.toString());
        return ZOLTNative.getFsName("/mnt", "zolt");
    }

    /** A byte that is part of no character is the character of its number: nothing is lost. */
    @Test
    void aDeviceNameOfAnyBytesSurvives() throws Exception {
        assertEquals("\u4e2d\u00e9", deviceNamed("\u4e2d\u00e9".getBytes(UTF_8)));
        assertEquals("x\udce9", deviceNamed("x\u00e9".getBytes(ISO_8859_1)));
        assertEquals("\udcff\udcfe", deviceNamed("\u00ff\u00fe".getBytes(ISO_8859_1)));
        assertEquals("a\udc80bcd", deviceNamed("a\u0080bcd".getBytes(ISO_8859_1)));
        assertEquals("\ud83d\ude00", deviceNamed("\ud83d\ude00".getBytes(UTF_8)));
    }

    /** What a logger throws stays; the work it reports on is done all the same. */
    @Test
    void aThrowingLoggerDoesNotStopTheWork() throws Exception {
        table("fs1 /mnt zolt rw 0 0\n");
        RuntimeException fromLogger = new IllegalStateException("logger");
        Log.throwing(fromLogger);
        try {
            if (Log.nativeThreshold() == Level.TRACE) {
                assertEquals(fromLogger, assertThrows(IllegalStateException.class,
                        () -> ZOLTNative.getFsName("/mnt", "zolt")));
            } else {
                assertEquals("fs1", ZOLTNative.getFsName("/mnt", "zolt"));
            }
        } finally {
            Log.throwing(null);
        }
    }
}
