package zolt.test.blocks;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.Preload;

/** Replication and block group factor. */
class PlacementTest extends Blocks {
    @Test
    void factorsFrom1To1024() throws IOException {
        for (int bgf : new int[] {1, 4, 1024}) {
            assertTrue(ZOLTNative.setBGF(file.toString(), bgf));
            ByteBuffer status = status(102);
            locate(1, 0, 0, status, null);
            assertEquals((long) bgf * unit, status.getLong(90));
        }
        for (int bgf : new int[] {0, -1, 1025, Integer.MAX_VALUE, Integer.MIN_VALUE}) {
            Log.clear();
            expect(IOException.class, "Invalid argument: Invalid BGF(" + bgf + ")",
                    () -> ZOLTNative.setBGF(file.toString(), bgf));
            Log.expect(Level.ERROR, "Invalid BGF(" + bgf + ")");
            ByteBuffer status = status(102);
            locate(1, 0, 0, status, null);
            assertEquals(1024L * unit, status.getLong(90));
        }
    }

    @Test
    void failuresOfSetBGF() throws Exception {
        Path none = dir.resolve("none");
        expect(NoSuchFileException.class,
                "No such file or directory: failed to open " + none,
                () -> ZOLTNative.setBGF(none.toString(), 4));
        Log.expect(Level.ERROR, "failed to open " + none);
        Log.clear();
        Faults.arm("zolt_fcntl", Faults.EPERM);
        expect(AccessDeniedException.class,
                "Operation not permitted: Failed to set BGF(4) for " + file,
                () -> ZOLTNative.setBGF(file.toString(), 4));
        Log.expect(Level.ERROR, "Failed to set BGF(4) for " + file);
    }

    @Test
    void replicationChangesTheRecordedCountAndARestripeTheData() throws IOException {
        String path = file.toString();
        assertTrue(ZOLTNative.setReplication(path, (short) 5, false));
        Log.expectAmong(Level.TRACE, file + " replication 5");
        ByteBuffer status = status(102);
        assertTrue(ZOLTNative.setBGF(path, 1));
        locate(2, 0, 0, status, null);
        expectHeader(unit, 5, status);
        locate(0, 0, 1, status, direct(40));
        expectHeader(unit, 3, status);
        assertTrue(ZOLTNative.setReplication(path, (short) 5, true));
        locate(0, 0, 1, status, direct(40));
        expectHeader(unit, 5, status);
        Log.expect(Level.ERROR);
    }

    @Test
    void failuresOfSetReplication() throws Exception {
        String path = file.toString();
        expect(IOException.class,
                "Invalid argument: failed to set replication for " + path,
                () -> ZOLTNative.setReplication(path, (short) -1, false));
        Log.expect(Level.ERROR, "failed to set replication for " + path);
        Log.clear();
        expect(NoSuchFileException.class,
                "No such file or directory: failed to open " + path + "x",
                () -> ZOLTNative.setReplication(path + "x", (short) 3, true));
        Log.expect(Level.ERROR, "failed to open " + path + "x");
        Log.clear();
        Faults.arm("open", Faults.EMFILE);
        expect(IOException.class, "Too many open files: failed to open " + path,
                () -> ZOLTNative.setReplication(path, (short) 3, true));
        Faults.arm("zolt_restripe_file", Faults.EACCES);
        Log.clear();
        expect(AccessDeniedException.class,
                "Permission denied: failed to restripe file " + path,
                () -> ZOLTNative.setReplication(path, (short) 6, true));
        Log.expect(Level.ERROR, "failed to restripe file " + path);
        // The count is changed all the same.
        ByteBuffer status = status(102);
        assertTrue(ZOLTNative.setBGF(path, 1));
        locate(2, 0, 0, status, null);
        expectHeader(unit, 6, status);
    }

    /** What was set is on the file: another virtual machine finds it, and what this one finds. */
    @Test
    void settingsSurviveTheVirtualMachine() throws Exception {
        assertEquals("block size " + 3 * unit + " replicas 5", Vm.run("defaults", file.toString(), "" + unit));
        assertEquals("set true true", Vm.run("set", file.toString()));
        ByteBuffer status = status(102);
        locate(2, 0, 0, status, null);
        expectHeader(4 * unit, 6, status);
        locate(0, 0, 1, status, direct(48));
        expectHeader(unit, 6, status);
        assertEquals("block size " + 4 * unit + " replicas 6", Vm.run("defaults", file.toString(), "" + unit));
    }

    /** A virtual machine of its own, whose settings are its own too. */
    static final class Vm {
        private Vm() {}

        static String run(String... arguments) throws Exception {
            List<String> line = new ArrayList<>(List.of(
                    ProcessHandle.current().info().command().orElseThrow(), "-Xcheck:jni",
                    "-Dzolt.library=" + System.getProperty("zolt.library"), Vm.class.getName()));
            line.addAll(List.of(arguments));
            ProcessBuilder builder = new ProcessBuilder(line).redirectErrorStream(true);
            Preload.noFaults(builder);
            Process process = builder.start();
            String output =
                    new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
            assertEquals(0, process.waitFor(), output);
            String[] lines = output.split("\n");
            return lines[lines.length - 1];
        }

        public static void main(String[] arguments) throws IOException {
            String path = arguments[1];
            if (arguments[0].equals("set")) {
                System.out.println("set " + ZOLTNative.setBGF(path, 4) + " "
                        + ZOLTNative.setReplication(path, (short) 6, true));
                return;
            }
            int unit = Integer.parseInt(arguments[2]);
            ZOLTNative.setDefaultBlockSizeReplication(2 * unit + 1, 5);
            ByteBuffer status = status(102, unit, REGULAR, unit);
            ZOLTNative.getBlockLocationsNative(path, 1, true, 0, 0, status, null);
            System.out.println("block size " + status.getLong(90) + " replicas "
                    + status.getInt(98));
        }
    }
}
