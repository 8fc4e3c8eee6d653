package zolt.test;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

class AclTest {
    static final int ACCESS = 32768;
    static final int DEFAULT = 16384;

    private static final Map<Integer, Class<? extends Exception>> CLASSES = Map.of(
            Faults.EPERM, AccessDeniedException.class,
            Faults.EACCES, AccessDeniedException.class,
            Faults.ENOENT, NoSuchFileException.class,
            Faults.ENOMEM, RuntimeException.class,
            Faults.EIO, IOException.class,
            Faults.EINVAL, IOException.class,
            Faults.EOPNOTSUPP, IOException.class);
    private static final Map<Integer, String> TEXTS = Map.of(
            Faults.EPERM, "Operation not permitted",
            Faults.EACCES, "Permission denied",
            Faults.ENOENT, "No such file or directory",
            Faults.ENOMEM, "Cannot allocate memory",
            Faults.EIO, "Input/output error",
            Faults.EINVAL, "Invalid argument",
            Faults.EOPNOTSUPP, "Operation not supported");

    @TempDir Path dir;

    @BeforeEach
    void clear() {
        Faults.clear();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Faults.clear();
    }

    static byte[] ints(int... values) {
        ByteBuffer buffer = ByteBuffer.allocate(4 * values.length).order(ByteOrder.nativeOrder());
        Arrays.stream(values).forEach(buffer::putInt);
        return buffer.array();
    }

    /** A status has no count before its entries; a specification has. */
    private static byte[] asSpecification(int count, byte[] status) {
        byte[] spec = Arrays.copyOf(ints(count), 4 + status.length);
        System.arraycopy(status, 0, spec, 4, status.length);
        return spec;
    }

    /** Runs a command against the system's own libraries. */
    private static String run(String... command) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().keySet().removeAll(List.of("LD_LIBRARY_PATH", "LD_PRELOAD"));
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), output);
        return output;
    }

    private static String getfacl(String path) throws Exception {
        return run("getfacl", "-pcnE", path);
    }

    private String file(String acl) throws Exception {
        Path path = dir.resolve("file");
        if (!Files.exists(path)) {
            Files.createFile(path);
        }
        run("setfacl", "--set", acl, path.toString());
        return path.toString();
    }

    private String directory(String access, String byDefault) throws Exception {
        Path path = dir.resolve("directory");
        if (!Files.exists(path)) {
            Files.createDirectory(path);
        }
        run("setfacl", "-k", "--set", access, path.toString());
        if (byDefault != null) {
            run("setfacl", "-d", "--set", byDefault, path.toString());
        }
        return path.toString();
    }

    private static void expect(Class<?> type, String message, Executable call) {
        Throwable thrown = assertThrows(Throwable.class, call);
        assertSame(type, thrown.getClass(), thrown::toString);
        assertEquals(message, thrown.getMessage());
    }

    /** Every native on one path, with a specification that changes the access list. */
    private static Map<String, Executable> natives(String path) {
        byte[] spec = ints(1, ACCESS, 2, 7, 4);
        Map<String, Executable> calls = new LinkedHashMap<>();
        calls.put("getAclStatus", () -> ZOLTNative.getAclStatus(path, true));
        calls.put("setAcl", () -> ZOLTNative.setAcl(path, spec));
        calls.put("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, spec));
        calls.put("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, spec));
        calls.put("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(path, true));
        calls.put("removeAcl", () -> ZOLTNative.removeAcl(path, true));
        return calls;
    }

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
        for (byte[] spec : new byte[][] {ints(0), {}, {1, 0, 0}, ints(-5)}) {
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
    void aNullPathIsSaidWhereSomethingIsToBeSaid() {
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
    void aMissingPathIsNamed() {
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
            for (int errno : CLASSES.keySet()) {
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
                    String message = TEXTS.get(errno) + ": " + path;
                    assertEquals(1, thrown.size(), call.getKey());
                    assertSame(CLASSES.get(errno), thrown.get(0).getClass(), call.getKey());
                    assertEquals(message, thrown.get(0).getMessage(), call.getKey());
                    Log.expect(Level.ERROR, function + " error " + errno + ": " + path);
                    Log.expectAmong(Level.DEBUG, message);
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

    // --- without libacl

    /** Loads the library and tries every native, in a virtual machine of its own. */
    static final class Try {
        private Try() {}

        public static void main(String[] paths) {
            ZOLTNative.setFSConfig(false);
            Log.lines().forEach(line -> System.out.println(line.level() + " " + line.body()));
            List<Executable> calls = new ArrayList<>(natives(paths[0]).values());
            byte[] nothing = ints(0);
            calls.add(() -> ZOLTNative.setAcl(paths[0], nothing));
            calls.add(() -> ZOLTNative.modifyAclEntries(paths[0], nothing));
            calls.add(() -> ZOLTNative.removeAclEntries(paths[0], nothing));
            calls.add(() -> ZOLTNative.removeDefaultAcl(paths[0], false));
            calls.add(() -> ZOLTNative.removeAcl(paths[0], false));
            for (Executable call : calls) {
                try {
                    call.execute();
                    System.out.println("done");
                } catch (Throwable e) {
                    System.out.println(e);
                }
            }
            System.out.println("count " + ZOLTNative.getDirentCountNative(paths[0]));
        }
    }

    private List<String> tryWithLibacl(Path folder) throws Exception {
        String java = ProcessHandle.current().info().command().orElseThrow();
        ProcessBuilder builder = new ProcessBuilder(java, "-Xcheck:jni", "-Dzolt.test.level=DEBUG",
                "-Dzolt.library=" + System.getProperty("zolt.library"), "-cp",
                System.getenv("CLASSPATH"), Try.class.getName(), dir.toString())
                .redirectErrorStream(true);
        Map<String, String> environment = builder.environment();
        environment.remove("LD_PRELOAD");
        environment.put("LD_LIBRARY_PATH", folder + ":" + environment.get("LD_LIBRARY_PATH"));
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), output);
        return Arrays.asList(output.split("\n"));
    }

    private static void expectNotAvailable(List<String> output) {
        String refusal = "java.io.IOException: Operation not supported: libacl.so.1 is not available";
        assertEquals(11, output.stream().filter(refusal::equals).count(), () -> "" + output);
        assertTrue(!output.contains("done"), () -> "" + output);
        assertTrue(output.stream().anyMatch(line -> line.matches("count \\d+")), () -> "" + output);
        assertTrue(output.contains("DEBUG libzolthadoop initializing"), () -> "" + output);
    }

    @Test
    void withoutLibaclEverythingElseWorks() throws Exception {
        Path folder = Files.createDirectory(dir.resolve("lib"));
        Files.writeString(folder.resolve("libacl.so.1"), "no library");
        List<String> output = tryWithLibacl(folder);
        expectNotAvailable(output);
        assertTrue(output.stream().noneMatch(line -> line.contains("DEBUG") && line.contains("acl")),
                () -> "" + output);
    }

    @Test
    void aLibaclThatLacksASymbolIsNotBound() throws Exception {
        Path folder = Files.createDirectory(dir.resolve("lib"));
        Path library = folder.resolve("libacl.so.1");
        // Any other library has none of the symbols.
        Files.copy(Path.of(System.getenv("FAULTS")), library);
        List<String> output = tryWithLibacl(folder);
        expectNotAvailable(output);
        assertTrue(output.contains("DEBUG failed to resolve: acl_init: " + library
                + ": undefined symbol: acl_init"), () -> "" + output);
    }

    @Test
    void withLibaclTheLibraryIsBoundAtLoad() throws Exception {
        List<String> output = tryWithLibacl(dir);
        assertTrue(output.contains("DEBUG libacl.so loaded"), () -> "" + output);
        assertEquals(11, output.stream().filter("done"::equals).count(), () -> "" + output);
    }
}
