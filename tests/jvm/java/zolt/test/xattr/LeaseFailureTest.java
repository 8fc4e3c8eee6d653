package zolt.test.xattr;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Body;
import zolt.test.Failing;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;

/** Leases where the clock, the virtual machine or the logger fails. */
class LeaseFailureTest extends LeaseFixture {
    private final Body set = () -> ZOLTNative.setFileLeaseNative(path, false, ME);
    private final Body renew = () -> ZOLTNative.renewFileLeaseNative(path, false);
    private final Body remove = () -> ZOLTNative.removeFileLeaseNative(path, false);
    private final Body get = () -> get(64, 0);

    @Test
    void aClockThatCannotBeReadEndsTheCallBeforeAnythingIsDone() throws IOException {
        for (Body call : List.of(set, get, renew)) {
            Faults.arm("clock_gettime", Faults.EINVAL);
            expect(IOException.class, "Invalid argument: clock_gettime", call::run);
        }
        assertNull(holder());
        assertNull(update());
    }

    @Test
    void aVirtualMachineWithoutMemoryEndsTheCallBeforeTheClockIsRead() throws IOException {
        Faults.arm("clock_gettime", 0, 0, 0);
        for (Body call : List.of(set, get, renew, remove)) {
            expectNoMemory(() -> Failing.run("GetStringUTFChars", 1, call));
        }
        expectNoMemory(() -> Failing.run("GetByteArrayElements", 1, set));
        assertEquals(0, Faults.calls("clock_gettime"));
        assertNull(holder());
        assertNull(update());
    }

    @Test
    void aHolderThatJavaHasNoMemoryForStaysTheHolder() throws IOException {
        set.run();
        expect(OutOfMemoryError.class, "injected",
                () -> Failing.run("NewByteArray", 1, () -> get(64, Long.MAX_VALUE)));
        assertEquals(HOLDER, holder());
    }

    /** Nothing is written into the holder, and it is given back as soon as the file has it. */
    @Test
    void theHolderIsGivenBackUnchangedInAnyCase() {
        assertEquals("lent at 0, released 2 at 1", Failing.lendings(set));
        Faults.arm("lsetxattr", 0, 0, 0);
        assertEquals("lent at 0, released 2 at 1, thrown at 1", Failing.lendings(
                () -> assertThrows(IOException.class, set::run)));
        remove.run();
        Faults.arm("lsetxattr", 2, 2, Faults.EACCES);
        assertEquals("lent at 0, released 2 at 1, thrown at 2", Failing.lendings(
                () -> assertThrows(AccessDeniedException.class, set::run)));
        Faults.arm("lsetxattr", 0, 0, 0);
        Faults.arm("clock_gettime", Faults.EINVAL);
        assertEquals("lent at 0, thrown at 0, released 2 at 0", Failing.lendings(
                () -> assertThrows(IOException.class, set::run)));
    }

    @Test
    void aThrowingLoggerDoesNotStopTheWork() throws IOException {
        assumeTrue(Log.nativeThreshold() == Level.TRACE,
                "a lease that goes well has nothing to say above trace");
        RuntimeException fromLogger = new IllegalStateException("logger");
        Log.throwing(fromLogger);
        for (Body call : List.of(set, renew, () -> get(64, Long.MAX_VALUE))) {
            assertSame(fromLogger, assertThrows(IllegalStateException.class, call::run));
        }
        assertEquals(HOLDER, holder());
        Faults.realtime(1L << 40, 0);
        assertSame(fromLogger, assertThrows(IllegalStateException.class, get::run));
        Log.throwing(null);
        assertNull(holder());
    }

    @Test
    void theErrorOfANativeReplacesThatOfTheLogger() throws IOException {
        Faults.arm("lsetxattr", 2, 2, Faults.EACCES);
        expect(AccessDeniedException.class,
                "Permission denied: setxattr failed for user.lease.update",
                withThrowingLogger(set::run));
        assertNull(holder());
        set.run();
        expect(IOException.class, "File exists: user.lease.holder already exists",
                withThrowingLogger(set::run));
        assertArrayEquals(ME, get(64, Long.MAX_VALUE));
        remove.run();
        expect(IOException.class, "No data available: user.lease.* does not exist",
                withThrowingLogger(remove::run));
        expect(IOException.class, "No data available: user.lease.update does not exist",
                withThrowingLogger(get::run));
        Faults.arm("lsetxattr", Faults.EPERM);
        expect(AccessDeniedException.class,
                "Operation not permitted: setxattr failed for user.lease.update",
                withThrowingLogger(renew::run));
    }
}
