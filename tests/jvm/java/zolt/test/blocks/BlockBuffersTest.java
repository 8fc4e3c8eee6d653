package zolt.test.blocks;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.BufferOverflowException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.AccessDeniedException;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** The two buffers of a location query, and its failures. */
class BlockBuffersTest extends Blocks {
    @Test
    void nothingButTheHeaderIsWrittenToTheStatusBuffer() throws IOException {
        ByteBuffer status = status(110);
        byte[] wanted = bytes(status);
        ByteBuffer.wrap(wanted).order(ByteOrder.nativeOrder()).putLong(90, unit).putInt(98, 3);
        status.position(50).limit(60);
        ByteBuffer locations = direct(24);
        locations.position(4).limit(8);
        locate(0, 0, 1, status, locations);
        assertArrayEquals(wanted, bytes(status));
        assertEquals(50, status.position());
        assertEquals(4, locations.position());
        assertTrue(words(locations)[0] >= 0);
    }

    @Test
    void offsetAndLengthZeroAskForTheHeaderAlone() throws IOException {
        assertTrue(ZOLTNative.setBGF(file.toString(), 2));
        for (int type = 0; type <= 3; type++) {
            ByteBuffer status = status(102);
            ByteBuffer locations = direct(10);
            locate(type, 0, 0, status, locations);
            assertEquals(type == 0 ? unit : 2 * unit, status.getLong(90));
            assertTrue(status.getInt(98) >= 3);
            expectUntouched(locations, 0);
            locate(type, 0, 0, status, null);
        }
    }

    @Test
    void statusBuffersThatAreTooShort() throws IOException {
        ByteBuffer locations = direct(24);
        for (int size : new int[] {0, 31, 88, 90}) {
            ByteBuffer status = direct(size);
            expect(IOException.class, "Buffer overflow: current pos 0 seek 90",
                    () -> locate(0, 0, 1, status, locations));
            Log.expect(Level.ERROR); // it is Java's to hear of, and nobody else's
            expectUntouched(status, 0);
        }
        for (int size : new int[] {91, 97, 98, 101}) {
            ByteBuffer status = status(size);
            expect(BufferOverflowException.class, null,
                    () -> locate(0, 0, 1, status, locations));
            expectUntouched(status, size < 98 ? 32 : 98);
            // The header of what is no file does not fit either.
            assertThrows(BufferOverflowException.class, () -> ZOLTNative.getBlockLocationsNative(
                    dir.toString(), 0, true, 0, 1, status(size, 0, 0040755, 0), locations));
        }
        Log.expectAmong(Level.ERROR, "Buffer overflow: claim 8 remaining 1");
        Log.expectAmong(Level.ERROR, "Buffer overflow: claim 4 remaining 3");
        locate(0, 0, 1, status(102), locations);
    }

    @Test
    void locationsThatDoNotHoldTheAnswer() throws IOException {
        ByteBuffer status = status(102);
        for (int size : new int[] {0, 4, 20, 44}) {
            expect(BufferOverflowException.class, null,
                    () -> locate(0, 0, 2 * unit, status, direct(size)));
            Log.expectAmong(Level.ERROR, "Buffer overflow: claim 12 remaining " + size / 4);
        }
        expect(BufferOverflowException.class, null, () -> locate(0, 0, 1, status, null));
        assertTrue(ZOLTNative.setBGF(file.toString(), 1));
        for (int type = 2; type <= 3; type++) {
            int each = type;
            assertThrows(BufferOverflowException.class,
                    () -> locate(each, 0, 1, status, direct(20)));
        }
        expectUntouched(status, 32);
        locate(0, 0, 2 * unit, status, direct(48));
    }

    @Test
    void locationsOfNoWholeNumberOfWords() {
        ByteBuffer status = status(102);
        for (int size : new int[] {1, 10, 27}) {
            ByteBuffer locations = direct(size);
            String text = "Direct ByteBuffer length error: length " + size + " buffer type size 4";
            expect(IOException.class, text, () -> locate(0, 0, 1, status, locations));
            Log.expect(Level.ERROR);
            expectUntouched(locations, 0);
        }
        expectUntouched(status, 32);
    }

    @Test
    void buffersMayBeginAnywhere() throws IOException {
        ByteBuffer status = status(111).position(0);
        ByteBuffer shifted = ByteBuffer.allocateDirect(103).position(1).slice()
                .order(ByteOrder.nativeOrder());
        shifted.duplicate().put(status.duplicate().limit(102));
        ByteBuffer locations = direct(27).position(3).slice().order(ByteOrder.nativeOrder());
        locate(0, 0, 1, shifted, locations);
        expectHeader(unit, 3, shifted);
        ByteBuffer same = direct(24);
        locate(0, 0, 1, null, same);
        assertArrayEquals(words(same), words(locations));
    }

    /** Whatever the path names, and whether or not anything would be written. */
    @Test
    void whatMayNotBePassedIsRefusedFirst() {
        ByteBuffer status = status(102);
        ByteBuffer locations = direct(24);
        ByteBuffer[] unusable = {ByteBuffer.allocate(200), status.asReadOnlyBuffer()};
        for (String path : new String[] {file.toString(), dir.toString(), dir + "/none"}) {
            String text = "Invalid argument: " + path;
            for (ByteBuffer each : unusable) {
                for (int length = 0; length <= 1; length++) {
                    int some = length;
                    expect(IOException.class, text, () -> ZOLTNative.getBlockLocationsNative(
                            path, 0, true, 0, some, each, locations));
                    expect(IOException.class, text, () -> ZOLTNative.getBlockLocationsNative(
                            path, 0, true, 0, some, status, each));
                    expect(IOException.class, text, () -> ZOLTNative.getBlockLocationsNative(
                            path, 0, true, 0, some, null, each));
                }
            }
            expect(IOException.class, text, () -> ZOLTNative.getBlockLocationsNative(
                    path, 0, true, -1, 1, null, locations));
        }
        expectUntouched(status, 32);
        expectUntouched(locations, 0);
    }

    /** What a logger throws stays, but for a failure of the query's own; the work is done. */
    @Test
    void aThrowingLoggerDoesNotStopTheWork() throws Exception {
        ByteBuffer status = status(102);
        ByteBuffer locations = direct(24);
        RuntimeException fromLogger = new IllegalStateException("logger");
        Log.throwing(fromLogger);
        try {
            if (Log.nativeThreshold().passes(Level.DEBUG)) {
                assertSame(fromLogger, assertThrows(IllegalStateException.class,
                        () -> locate(0, 0, 1, status, locations)));
            } else {
                locate(0, 0, 1, status, locations);
            }
            expectHeader(unit, 3, status);
            assertTrue(words(locations)[0] >= 0);
            Descriptors.expectNone(dir);
            Faults.arm("zolt_fcntl", Faults.EACCES);
            expect(AccessDeniedException.class, "Permission denied: " + file,
                    () -> locate(0, 0, 1, status, locations));
            Faults.arm("open", Faults.EIO);
            expect(IOException.class, "Input/output error: " + file,
                    () -> locate(0, 0, 1, status, locations));
        } finally {
            Log.throwing(null);
        }
    }

    @Test
    void eachFailureOfALocationQueryLeavesOneExceptionAndNoDescriptor() throws Exception {
        assertTrue(ZOLTNative.setBGF(file.toString(), 2));
        ByteBuffer status = status(102);
        ByteBuffer locations = direct(240);
        Faults.arm("open", Faults.EACCES);
        expect(AccessDeniedException.class, "Permission denied: " + file,
                () -> locate(0, 0, 1, status, locations));
        Log.expect(Level.ERROR, "open failed with 13");
        Faults.arm("open", Faults.ENOMEM);
        expect(RuntimeException.class, "Cannot allocate memory: " + file,
                () -> locate(0, 0, 1, status, locations));
        Faults.arm("lstat", Faults.EIO);
        expect(IOException.class, "Input/output error: " + file,
                () -> locate(0, 0, 1, null, locations));
        expectUntouched(locations, 0);
        for (int type = 0; type <= 3; type++) {
            int each = type;
            Log.clear();
            Faults.arm("zolt_fcntl", Faults.EIO);
            expect(IOException.class, "Input/output error: " + file,
                    () -> locate(each, 0, 1, status, locations));
            Log.expectMatch(Level.ERROR, "failed to get extended stat for \\d+");
            Descriptors.expectNone(dir);
        }
        for (int type = 2; type <= 3; type++) {
            int each = type;
            Faults.arm("zolt_fcntl", 2, 2, Faults.EACCES);
            expect(AccessDeniedException.class, "Permission denied: " + file,
                    () -> locate(each, 0, 1, status, locations));
        }
        expectUntouched(status, 32);
    }

    @Test
    void aFailureInALaterRoundKeepsTheWordsOfTheEarlier() throws Exception {
        resize(file, 3000L * unit);
        ByteBuffer locations = direct(4 * 6 * 3000);
        Faults.arm("zolt_fcntl", 2, 2, Faults.EIO);
        assertThrows(IOException.class, () -> locate(0, 0, -1, null, locations));
        assertTrue(words(locations)[6 * 2688 - 6] >= 0);
        expectUntouched(locations, 4 * 6 * 2688);
        locate(0, 0, -1, null, locations);
        assertTrue(words(locations)[6 * 3000 - 6] >= 0);
    }

    @Test
    void aBlockSizeOfZeroInTheRecordIsInvalid() throws IOException {
        for (int type = 1; type <= 3; type++) {
            int each = type;
            expect(IOException.class, "Invalid argument: " + file,
                    () -> locate(each, 0, 1, status(102, unit, REGULAR, 0), direct(24)));
        }
        locate(0, 0, 1, status(102, unit, REGULAR, 0), direct(24));
    }
}
