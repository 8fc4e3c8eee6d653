package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Failure;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.Outcome;

class AclTest extends AclFixture {
    private static final int[] ERRORS = {Faults.EPERM, Faults.EACCES, Faults.ENOENT, Faults.ENOMEM,
        Faults.EIO, Faults.EINVAL, Faults.EOPNOTSUPP};

    // --- status

    @Test
    void aPlainFileHasItsThreeBaseEntries() throws Exception {
        String path = file("u::rw,g::r,o::-");
        assertArrayEquals(ints(ACCESS, 1, 6, ACCESS, 4, 4, ACCESS, 32, 0),
                ZOLTNative.getAclStatus(path, false));
    }

    @Test
    void aDirectoryHasItsDefaultEntriesToo() throws Exception {
        String path = directory("u::rwx,u:5:r,g::rx,m::rx,o::-", "u::rwx,g::-,g:6:w,m::w,o::x");
        int[] access = {ACCESS, 1, 7, ACCESS, 2, 5, 4, ACCESS, 4, 5, ACCESS, 16, 5, ACCESS, 32, 0};
        int[] byDefault = {DEFAULT, 1, 7, DEFAULT, 4, 0, DEFAULT, 8, 6, 2, DEFAULT, 16, 2, DEFAULT,
            32, 1};
        int[] all = Arrays.copyOf(access, access.length + byDefault.length);
        System.arraycopy(byDefault, 0, all, access.length, byDefault.length);
        assertArrayEquals(ints(all), ZOLTNative.getAclStatus(path, true));
        Log.expectAmong(Level.TRACE, "AclEntry count:5");
        assertArrayEquals(ints(access), ZOLTNative.getAclStatus(path, false));
    }

    @Test
    void aStatusComesBackAsASpecification() throws Exception {
        String path = directory("u::rwx,u:5:r,g::rx,m::rx,o::-", "u::rwx,g::-,g:6:w,m::w,o::x");
        byte[] status = ZOLTNative.getAclStatus(path, true);
        String before = getfacl(path);
        directory("u::-,g::-,o::-", null);
        ZOLTNative.setAcl(path, asSpecification(10, status));
        assertEquals(before, getfacl(path));
        assertArrayEquals(status, ZOLTNative.getAclStatus(path, true));
    }

    // --- changes

    @Test
    void setReplacesModifyMergesRemoveRemoves() throws Exception {
        String path = file("u::rw,u:1:rwx,g::r,m::rwx,o::x");
        ZOLTNative.setAcl(path, ints(2, ACCESS, 2, 9, 6, ACCESS, 8, 4, -1));
        assertEquals("user::rw-\nuser:9:rw-\ngroup::r--\ngroup:4:---\nmask::rw-\nother::--x\n\n",
                getfacl(path));
        ZOLTNative.modifyAclEntries(path, ints(2, ACCESS, 2, 9, 1, ACCESS, 2, 10, 2));
        assertEquals("user::rw-\nuser:9:--x\nuser:10:-w-\ngroup::r--\ngroup:4:---\nmask::rwx\n"
                + "other::--x\n\n", getfacl(path));
        ZOLTNative.removeAclEntries(path, ints(2, ACCESS, 2, 9, -1, ACCESS, 8, 4, 7));
        assertEquals("user::rw-\nuser:10:-w-\ngroup::r--\nmask::rwx\nother::--x\n\n",
                getfacl(path));
        ZOLTNative.removeAcl(path, false);
        assertEquals("user::rw-\ngroup::r--\nother::--x\n\n", getfacl(path));
    }

    @Test
    void theRemovalsTakeTheDefaultListOfADirectoryAlone() throws Exception {
        String path = directory("u::rwx,u:5:r,g::rx,m::rx,o::-", "u::rwx,g::-,o::x");
        String before = getfacl(path);
        ZOLTNative.removeDefaultAcl(path, false);
        assertEquals(before, getfacl(path));
        ZOLTNative.removeDefaultAcl(path, true);
        assertEquals("user::rwx\nuser:5:r--\ngroup::r-x\nmask::r-x\nother::---\n\n", getfacl(path));

        directory("u::rwx,u:5:r,g::rx,m::rx,o::-", "u::rwx,g::-,o::x");
        ZOLTNative.removeAcl(path, true);
        assertEquals("user::rwx\ngroup::r-x\nother::---\n\n", getfacl(path));
    }

    @Test
    void anEmptySpecificationChangesNothing() throws Exception {
        String path = file("u::rw,u:1:rwx,g::r,m::rwx,o::x");
        String before = getfacl(path);
        for (byte[] spec : new byte[][] {ints(0), {}, {1}, {1, 1}, {1, 1, 1}, ints(-5)}) {
            ZOLTNative.setAcl(path, spec);
            ZOLTNative.modifyAclEntries(path, spec);
            ZOLTNative.removeAclEntries(path, spec);
        }
        assertEquals(before, getfacl(path));
    }

    @Test
    void aSpecificationThatIsNoneStoresNothing() throws Exception {
        String path = file("u::rw,u:1:rwx,g::r,m::rwx,o::x");
        String before = getfacl(path);
        Map<String, byte[]> specs = Map.of(
                "Success: convert,790 unknown acl scope: 5", ints(2, ACCESS, 2, 9, 6, 5, 1, 7),
                "Success: convert,790 unknown acl scope: -1", ints(1, -1),
                "Success: convert,790 unknown acl scope: 0", ints(2, ACCESS, 2, 9, 6),
                "Success: ", ints(2, ACCESS, 2, 9, 6, ACCESS, 3, 7));
        specs.forEach((message, spec) -> {
            expect(IOException.class, message, () -> ZOLTNative.setAcl(path, spec));
            expect(IOException.class, message, () -> ZOLTNative.modifyAclEntries(path, spec));
            Log.clear();
            expect(IOException.class, message, () -> ZOLTNative.removeAclEntries(path, spec));
            Log.expect(Level.ERROR, message.substring("Success: ".length()));
        });
        assertEquals(before, getfacl(path));
    }

    @Test
    void aMalformedListIsShownInOneLine() throws Exception {
        String path = file("u::rw,g::r,o::-");
        String text = ": Malformed access ACL \"user::rw-,user:4321:rw-,user:4321:r--,group::r--,"
                + "mask::rw-,other::---,\": Duplicate entries";
        Log.clear();
        expect(IOException.class, "Invalid argument: " + text,
                () -> ZOLTNative.setAcl(path, ints(2, ACCESS, 2, 4321, 6, ACCESS, 2, 4321, 4)));
        Log.expect(Level.ERROR, text);
        Log.expectAmong(Level.DEBUG, "Invalid argument: " + text);
        expect(IOException.class, "Invalid argument: " + path + ": Malformed access ACL "
                + "\"user::rw-,group::r--,\": Missing or wrong entry",
                () -> ZOLTNative.removeAclEntries(path, ints(1, ACCESS, 32, 0)));
        // The words are the same for a default list.
        String directory = directory("u::rwx,g::rx,o::-", "u::rwx,g::-,o::x");
        expect(IOException.class, "Invalid argument: " + directory + ": Malformed access ACL "
                + "\"user::rwx,group::---,\": Missing or wrong entry",
                () -> ZOLTNative.removeAclEntries(directory, ints(1, DEFAULT, 32, 0)));
    }

    @Test
    void anEmptyPathCannotCompleteAList() {
        String text = "current acl lacks base entries, requires a valid file path to load.";
        expect(IOException.class, "Success: " + text,
                () -> ZOLTNative.setAcl("", ints(1, ACCESS, 2, 9, 6)));
        Log.expect(Level.ERROR, text);
    }

    @Test
    void theFirstFailureEndsItAndWhatWasStoredStays() throws Exception {
        String path = directory("u::rwx,g::rx,o::-", null);
        Faults.arm("acl_set_file", 2, 2, Faults.EIO);
        expect(IOException.class, "Input/output error: " + path,
                () -> ZOLTNative.setAcl(path, ints(2, DEFAULT, 2, 9, 6, ACCESS, 2, 8, 4)));
        assertEquals("user::rwx\ngroup::r-x\nother::---\ndefault:user::rwx\ndefault:user:9:rw-\n"
                + "default:group::r-x\ndefault:mask::rwx\ndefault:other::---\n\n", getfacl(path));
    }

    // --- arguments

    @Test
    void aNullPathIsSaidWhereSomethingIsToBeSaid() throws IOException {
        String message = "Invalid argument: failed to get path";
        expect(IOException.class, message, () -> ZOLTNative.getAclStatus(null, true));
        expect(IOException.class, message, () -> ZOLTNative.removeDefaultAcl(null, true));
        expect(IOException.class, message, () -> ZOLTNative.removeDefaultAcl(null, false));
        expect(IOException.class, message, () -> ZOLTNative.removeAcl(null, true));
        ZOLTNative.setAcl(null, ints(1, 5));
        ZOLTNative.modifyAclEntries(null, ints(1, 5));
        ZOLTNative.removeAclEntries(null, null);
    }

    @Test
    void aNullSpecificationNamesThePath() throws Exception {
        String message = "Invalid argument: /some/path";
        expect(IOException.class, message, () -> ZOLTNative.setAcl("/some/path", null));
        expect(IOException.class, message, () -> ZOLTNative.modifyAclEntries("/some/path", null));
        expect(IOException.class, message, () -> ZOLTNative.removeAclEntries("/some/path", null));
    }

    @Test
    void aMissingPathIsNamed() throws IOException {
        String path = dir + "/none";
        natives(path).forEach((name, call) ->
                expect(NoSuchFileException.class, "No such file or directory: " + path, call));
        ZOLTNative.removeDefaultAcl(path, false);
    }

    @Test
    void aFileHasNoDefaultList() throws Exception {
        String path = file("u::rw,g::r,o::-");
        String message = "Permission denied: " + path;
        byte[] spec = ints(3, DEFAULT, 1, 7, DEFAULT, 4, 7, DEFAULT, 32, 7);
        expect(AccessDeniedException.class, message, () -> ZOLTNative.getAclStatus(path, true));
        expect(AccessDeniedException.class, message, () -> ZOLTNative.setAcl(path, spec));
        expect(AccessDeniedException.class, message, () -> ZOLTNative.modifyAclEntries(path, spec));
        expect(AccessDeniedException.class, message, () -> ZOLTNative.removeAclEntries(path, spec));
    }

    // --- failures

    @Test
    void atTraceAFailedStatusIsDiagnosed() {
        Log.clear();
        expect(NoSuchFileException.class, "No such file or directory: " + dir + "/none",
                () -> ZOLTNative.getAclStatus(dir + "/none", true));
        assertEquals(Log.nativeThreshold() == Level.TRACE, Log.lines().stream()
                .anyMatch(line -> line.text().endsWith("\n@@@fails @" + dir)));
    }

    @Test
    void everyErrnoOfLoadingAndStoringHasItsException() throws Exception {
        String path = directory("u::rwx,u:7:r,g::rx,m::rx,o::-", null);
        for (String function : new String[] {"acl_get_file", "acl_set_file"}) {
            for (int errno : ERRORS) {
                for (Map.Entry<String, Executable> call : natives(path).entrySet()) {
                    Faults.clear();
                    Faults.arm(function, errno);
                    Log.clear();
                    List<Throwable> thrown = new ArrayList<>();
                    try {
                        call.getValue().execute();
                    } catch (Throwable e) {
                        thrown.add(e);
                    }
                    if (Faults.calls(function) == 0) {
                        // Storing only: a status. Loading only: what has nothing to load.
                        assertTrue(function.equals("acl_set_file")
                                == call.getKey().equals("getAclStatus"), call.getKey());
                        assertEquals(List.of(), thrown);
                        continue;
                    }
                    Failure failure = Failure.of(errno, path);
                    assertEquals(List.of(Outcome.thrown(failure.type(), failure.message())),
                            thrown.stream().map(Outcome::thrown).toList(), call.getKey());
                    Log.expect(Level.ERROR, function + " error " + errno + ": " + path);
                    Log.expectAmong(Level.DEBUG, failure.message());
                }
            }
        }
    }

    @Test
    void everyFailingCallOfLibaclIsOneException() throws Throwable {
        String path = directory("u::rwx,u:7:r,g::rx,m::rx,o::-", "u::rwx,u:7:r,g::-,m::r,o::x");
        byte[] initial = asSpecification(10, ZOLTNative.getAclStatus(path, true));
        for (String function : new String[] {"acl_init", "acl_create_entry", "acl_copy_entry",
            "acl_delete_entry", "acl_get_entry", "acl_check", "acl_add_perm", "acl_get_permset",
            "acl_calc_mask", "acl_get_qualifier", "acl_set_qualifier", "acl_get_tag_type",
            "acl_set_tag_type", "acl_get_perm"}) {
            int failed = 0;
            for (Executable call : natives(path).values()) {
                Faults.clear();
                ZOLTNative.setAcl(path, initial);
                Faults.arm(function, 1, Integer.MAX_VALUE, Faults.ENOMEM);
                try {
                    call.execute();
                    // What fails while a line is made for the log costs the line alone.
                    assertTrue(Faults.calls(function) == 0
                            || Log.nativeThreshold() == Level.TRACE, function);
                } catch (RuntimeException e) {
                    assertTrue(e.getMessage().startsWith("Cannot allocate memory: "), e::toString);
                    failed++;
                }
            }
            assertTrue(failed > 0, function);
        }
    }

    @Test
    void theLastEntryOfASpecificationMayLackItsEnd() throws Exception {
        String path = file("u::rw,g::r,o::-");
        byte[] spec = ints(1, ACCESS, 2, 7, 6);
        String noScope = "Success: convert,790 unknown acl scope: 0";
        expect(IOException.class, noScope, () -> ZOLTNative.setAcl(path, Arrays.copyOf(spec, 4)));
        expect(IOException.class, "Success: ",
                () -> ZOLTNative.setAcl(path, Arrays.copyOf(spec, 8)));
        assertEquals("user::rw-\ngroup::r--\nother::---\n\n", getfacl(path));
        String[] users = {"user:0:---", "user:7:---", "user:7:rw-"};
        for (int i = 0; i < users.length; i++) {
            ZOLTNative.setAcl(path, Arrays.copyOf(spec, 12 + 4 * i));
            assertEquals("user::rw-\n" + users[i] + "\ngroup::r--\nmask::"
                    + (i == 2 ? "rw-" : "r--") + "\nother::---\n\n", getfacl(path));
        }
    }

    @Test
    void anEmptyPathHasNoEntriesAndNowhereToStoreThem() throws IOException {
        assertArrayEquals(new byte[0], ZOLTNative.getAclStatus("", true));
        assertArrayEquals(new byte[0], ZOLTNative.getAclStatus("", false));
        expect(IOException.class, "Invalid argument: : Malformed access ACL \"\": "
                + "Missing or wrong entry", () -> ZOLTNative.removeAcl("", true));
        ZOLTNative.removeDefaultAcl("", false);
        expect(NoSuchFileException.class, "No such file or directory: ",
                () -> ZOLTNative.removeDefaultAcl("", true));
    }

    /** What a logger throws stays; the work it reports on is done all the same. */
    @Test
    void aThrowingLoggerDoesNotStopTheWork() throws Exception {
        String path = file("u::rw,g::r,o::-");
        RuntimeException fromLogger = new IllegalStateException("logger");
        Log.throwing(fromLogger);
        try {
            if (Log.nativeThreshold() == Level.TRACE) {
                assertSame(fromLogger, assertThrows(IllegalStateException.class,
                        () -> ZOLTNative.setAcl(path, ints(1, ACCESS, 2, 9, 6))));
                assertSame(fromLogger, assertThrows(IllegalStateException.class,
                        () -> ZOLTNative.getAclStatus(path, false)));
            } else {
                ZOLTNative.setAcl(path, ints(1, ACCESS, 2, 9, 6));
                assertEquals(64, ZOLTNative.getAclStatus(path, false).length);
            }
        } finally {
            Log.throwing(null);
        }
        assertEquals("user::rw-\nuser:9:rw-\ngroup::r--\nmask::rw-\nother::---\n\n", getfacl(path));
    }
}
