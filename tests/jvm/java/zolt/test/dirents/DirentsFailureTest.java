package zolt.test.dirents;

import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static zolt.test.dirents.Dirents.direct;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Body;
import zolt.test.Cleared;
import zolt.test.Descriptors;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** Listings and counts that fail, and what they leave behind. */
class DirentsFailureTest extends Cleared {
    @TempDir Path dir;

    private void fill(int files) throws IOException {
        for (int i = 0; i < files; i++) {
            Files.createFile(dir.resolve("file" + i));
        }
    }

    private void list() throws IOException {
        ZOLTNative.getDirentsNative(dir.toString(), direct(4096), false, false);
    }

    private void count() throws IOException {
        ZOLTNative.getDirentCountNative(dir.toString());
    }

    @Test
    void aMissingDirectoryIsAnExceptionForTheListingAndZeroForTheCount() throws IOException {
        NoSuchFileException e = assertThrows(NoSuchFileException.class, () -> ZOLTNative
                .getDirentsNative(dir.resolve("none").toString(), direct(64), false, false));
        assertEquals("No such file or directory: failed to open directory", e.getMessage());
        assertEquals(0, ZOLTNative.getDirentCountNative(dir.resolve("none").toString()));
    }

    @Test
    void aFileIsNoDirectory() throws Exception {
        Path file = Files.createFile(dir.resolve("file"));
        expect(IOException.class, "Not a directory: failed to open directory",
                () -> ZOLTNative.getDirentsNative(file.toString(), direct(64), false, false));
        expect(IOException.class, "Not a directory: failed to open directory " + file,
                () -> ZOLTNative.getDirentCountNative(file.toString()));
    }

    @Test
    void failuresToOpen() throws IOException {
        Faults.arm("opendir", Faults.EACCES);
        expect(AccessDeniedException.class, "Permission denied: failed to open directory",
                this::list);
        Faults.arm("opendir", Faults.EMFILE);
        expect(IOException.class, "Too many open files: failed to open directory", this::list);
        Faults.arm("opendir", Faults.ENOMEM);
        expect(RuntimeException.class, "Cannot allocate memory: failed to open directory " + dir,
                this::count);
        for (int errno : new int[] {Faults.ENOENT, Faults.EACCES}) {
            Faults.arm("opendir", errno);
            assertEquals(0, ZOLTNative.getDirentCountNative(dir.toString()));
        }
    }

    @Test
    void failuresToRead() throws Exception {
        fill(11);
        ByteBuffer buffer = direct(4096);
        buffer.putInt(0, 77);
        Faults.arm("readdir", 4, 4, Faults.EIO);
        expect(IOException.class, "Input/output error: failed to readdir",
                () -> ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        assertEquals(77, buffer.getInt(0));
        Log.expectMatch(Level.DEBUG, "readdir error dir " + dir + " dirp=0x.*, errno=5");
        Faults.arm("readdir", 4, 4, Faults.EIO);
        expect(IOException.class, "Input/output error: failed to readdir",
                () -> ZOLTNative.getDirentCountNative(dir.toString()));
        Log.expectAmong(Level.DEBUG, "readdir error, errno=5");
        Descriptors.expectNone(dir);
        assertEquals(11, Dirents.listAll(dir, buffer, false).size());
    }

    @Test
    void nullPathsAreNothingAndNoError() throws Exception {
        assertEquals(0, ZOLTNative.getDirentsNative(null, direct(64), false, false));
        assertEquals(0, ZOLTNative.getDirentsNative(null, null, false, true));
        assertEquals(0, ZOLTNative.getDirentCountNative(null));
    }

    private void expectUnusable(ByteBuffer buffer) throws IOException {
        assertEquals(1, ZOLTNative.getDirentsNative(dir.toString(), direct(30), false, false));
        Log.clear();
        expect(IOException.class, "Buffer overflow: current pos 0 seek 4",
                () -> ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        Log.expect(Level.ERROR, "Buffer overflow: current pos 0 seek 4");
        Descriptors.expectNone(dir);
    }

    @Test
    void buffersThatHoldNoRecordEndInAnExceptionAndEndTheListing() throws Exception {
        fill(5);
        for (ByteBuffer buffer : new ByteBuffer[] {
            null, ByteBuffer.allocate(100), direct(0), direct(4)}) {
            expectUnusable(buffer);
        }
        assertEquals(1, ZOLTNative.getDirentsNative(dir.toString(), direct(5), false, false));
    }

    /** A write to a read-only mapping would end the process. */
    @Test
    void readOnlyBuffersAreNone() throws Exception {
        fill(5);
        ByteBuffer readOnly = direct(100).asReadOnlyBuffer();
        expectUnusable(readOnly);
        expectUnusable(readOnly.slice());
        expectUnusable(readOnly.duplicate());
        expectUnusable(mapped(FileChannel.MapMode.READ_ONLY));
        assertEquals(1, ZOLTNative.getDirentsNative(dir.toString(),
                mapped(FileChannel.MapMode.READ_WRITE), false, false));
    }

    private ByteBuffer mapped(FileChannel.MapMode mode) throws IOException {
        Path file = Files.write(dir.resolve("mapped"), new byte[100]);
        try (FileChannel channel =
                FileChannel.open(file, StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            return channel.map(mode, 0, 100);
        }
    }

    @Test
    void argumentsForWhichThereIsNoMemory() throws Exception {
        fill(5);
        String path = dir.toString();
        ByteBuffer buffer = direct(30);
        assertEquals(1, ZOLTNative.getDirentsNative(path, buffer, false, false));
        buffer.putInt(0, 77);
        for (Body call : List.<Body>of(
                () -> ZOLTNative.getDirentsNative(path, buffer, false, false),
                () -> ZOLTNative.getDirentsNative(path, buffer, false, true),
                () -> ZOLTNative.getDirentCountNative(path))) {
            expect(RuntimeException.class, "Cannot allocate memory: ",
                    () -> Failing.run("GetStringUTFChars", 1, call));
        }
        assertEquals(77, buffer.getInt(0));
        assertEquals(1, Descriptors.under(dir), "the listing goes on");
    }

    @Test
    void whatIsTakenOfTheVirtualMachineIsGivenBack() throws Exception {
        fill(5);
        String path = dir.toString();
        ByteBuffer buffer = direct(100);
        for (Body call : List.<Body>of(
                () -> ZOLTNative.getDirentsNative(path, buffer, false, false),
                () -> ZOLTNative.getDirentsNative(path, buffer, false, true),
                () -> ZOLTNative.getDirentCountNative(path),
                () -> assertThrows(IOException.class,
                        () -> ZOLTNative.getDirentsNative(path, null, false, false)))) {
            Failing.Taken taken = Failing.takenBy(call);
            assertEquals(1, taken.strings());
            assertEquals(0, taken.stringsLeft());
            assertEquals(0, taken.referencesLeft());
        }
    }

    /** What a logger throws stays; the work that its line was about is done all the same. */
    @Test
    void aThrowingLoggerDoesNotStopTheListing() throws Exception {
        fill(5);
        RuntimeException fromLogger = new IllegalStateException("logger");
        Faults.directorySize(104857601);
        ByteBuffer buffer = direct(4096);
        Executable list = () -> assertEquals(0,
                ZOLTNative.getDirentsNative(dir.toString(), buffer, false, false));
        Executable count = () -> assertEquals(5,
                ZOLTNative.getDirentCountNative(dir.toString()));
        Log.throwing(fromLogger);
        for (Executable call : List.of(list, count)) {
            if (Log.nativeThreshold().passes(Level.WARN)) {
                assertSame(fromLogger, assertThrows(IllegalStateException.class, call));
            } else {
                assertDoesNotThrow(call);
            }
        }
        assertEquals(5, Dirents.parse(buffer).size());
        Descriptors.expectNone(dir);
    }

    @Test
    void aFailureTakesThePlaceOfWhatTheLoggerThrew() throws Exception {
        fill(5);
        Log.throwing(new IllegalStateException("logger"));
        Faults.directorySize(104857601);
        Faults.arm("opendir", Faults.EIO);
        expect(IOException.class, "Input/output error: failed to open directory", this::list);
        Faults.arm("readdir", Faults.EIO);
        expect(IOException.class, "Input/output error: failed to readdir", this::list);
        Faults.arm("readdir", Faults.EIO);
        expect(IOException.class, "Input/output error: failed to readdir", this::count);
        expect(IOException.class, "Buffer overflow: current pos 0 seek 4",
                () -> ZOLTNative.getDirentsNative(dir.toString(), direct(4), false, false));
    }
}
