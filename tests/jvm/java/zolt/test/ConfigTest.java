package zolt.test;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class ConfigTest {
    @TempDir Path dir;

    @BeforeEach
    void clear() {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        Log.clear();
    }

    @AfterEach
    void restore() {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
    }

    private void table(String content) throws Exception {
        Path table = dir.resolve("mtab");
        Files.writeString(table, content);
        Faults.mountTable(table.toString());
    }

    @Test
    void theIdentitySwitchIsSetAndLogged() {
        assertEquals(1, ZOLTNative.setFSConfig(true));
        Log.expect(Level.INFO, " alwaysSuper 1");
        Log.clear();
        assertEquals(1, ZOLTNative.setFSConfig(false));
        Log.expect(Level.INFO, " alwaysSuper 0");
    }

    @Test
    void goodDefaultsAreTakenSilently() {
        ZOLTNative.setDefaultBlockSizeReplication(Long.MAX_VALUE, Integer.MAX_VALUE);
        Log.expect(Level.WARN);
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
        assertEquals("No such file or directory: ext4", assertThrows(NoSuchFileException.class,
                () -> ZOLTNative.getFsName("/", "ext4")).getMessage());
    }

    @Test
    void nullsAreNoMountAndNoError() throws Exception {
        table("dev /mnt ext4 rw 0 0\n");
        assertNull(ZOLTNative.getFsName(null, "ext4"));
        assertNull(ZOLTNative.getFsName("/mnt", null));
        assertNull(ZOLTNative.getFsName(null, null));
    }

    @Test
    void aDeviceNameOfAnyBytesSurvives() throws Exception {
        Path table = dir.resolve("mtab");
        byte[] line = "x\u00e9 /mnt zolt rw 0 0\n".getBytes("ISO-8859-1");
        Files.write(table, line);
        Faults.mountTable(table.toString());
        assertEquals("x\u00e9", ZOLTNative.getFsName("/mnt", "zolt"));
        Files.writeString(table, "\u4e2d\u00e9 /mnt zolt rw 0 0\n");
        assertEquals("\u4e2d\u00e9", ZOLTNative.getFsName("/mnt", "zolt"));
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
