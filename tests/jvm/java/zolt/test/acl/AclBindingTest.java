package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import javax.tools.ToolProvider;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Log;
import zolt.test.Preload;

/** The load of the library beside a libacl that is there, is none, or lacks something. */
class AclBindingTest extends AclFixture {
    /** Loads the library and tries every native, in a virtual machine of its own. */
    static final class Try {
        private Try() {}

        public static void main(String[] paths) throws IOException {
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

    /** What another virtual machine prints, with that folder first in the search path. */
    private static List<String> runJava(Path folder, String... arguments) throws Exception {
        List<String> command = new ArrayList<>();
        command.add(ProcessHandle.current().info().command().orElseThrow());
        command.add("-Xcheck:jni");
        command.addAll(List.of(arguments));
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        Preload.noFaults(builder);
        Map<String, String> environment = builder.environment();
        // Nor with the libacl that can fail: not every C library has room for what the two keep of a thread, this late.
        environment.put("LD_LIBRARY_PATH", folder + ":"
                + environment.get("LD_LIBRARY_PATH").replace(":" + System.getenv("LIBACL_PATH"), ""));
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), output);
        return Arrays.asList(output.split("\n"));
    }

    private List<String> tryWithLibacl(Path folder) throws Exception {
        return runJava(folder, "-Dzolt.test.level=DEBUG",
                "-Dzolt.library=" + System.getProperty("zolt.library"), "-cp",
                System.getenv("CLASSPATH"), Try.class.getName(), dir.toString());
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
        Files.copy(Path.of(System.getProperty("zolt.library")), library);
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

    /** A load that ends in a Java error has bound libacl all the same. */
    @Test
    void aLoadThatFailsBindsLibaclToo() throws Exception {
        String source = "package org.apache.hadoop.hdfs.server.namenode;"
                + "public class ZOLTNative {"
                + "static boolean bound() throws Exception { return java.nio.file.Files"
                + ".readAllLines(java.nio.file.Paths.get(\"/proc/self/maps\"))"
                + ".toString().contains(\"libacl.so.1\"); }"
                + "public static void main(String[] a) throws Exception {"
                + "System.out.println(\"before \" + bound());"
                + "try { System.load(a[0]); System.out.println(\"loaded\"); }"
                + "catch (Throwable t) { System.out.println(t); }"
                + "System.out.println(\"after \" + bound()); } }";
        Path file = Files.writeString(dir.resolve("ZOLTNative.java"), source);
        Path logger = Files.writeString(dir.resolve("Logger.java"),
                "package org.slf4j; public interface Logger {}");
        assertEquals(0, ToolProvider.getSystemJavaCompiler().run(null, null, null, "-d",
                dir.toString(), file.toString(), logger.toString()));
        List<String> output = runJava(dir, "-cp", dir.toString(),
                ZOLTNative.class.getName(), System.getProperty("zolt.library"));
        assertTrue(output.contains("before false"), () -> "" + output);
        assertTrue(output.stream().anyMatch(line -> line.startsWith("java.lang.NoSuch")),
                () -> "" + output);
        assertTrue(output.contains("after true"), () -> "" + output);
    }
}
