package zolt.test.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import javax.tools.JavaCompiler;
import javax.tools.ToolProvider;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.test.Preload;

/** Loading, in virtual machines of their own, with what a broken installation may look like. */
class LoadTest {
    private static final String LIBRARY = System.getProperty("zolt.library");
    /** It calls a static method without a look at what it threw, whatever library it loads. */
    private static final boolean IS_JAVA_8 = System.getProperty("java.specification.version").equals("1.8");
    private static final String[] LOGGER_METHODS = {"boolean isTraceEnabled()",
        "boolean isDebugEnabled()", "boolean isWarnEnabled()", "boolean isInfoEnabled()",
        "boolean isErrorEnabled()", "void trace(String s)", "void debug(String s)",
        "void info(String s)", "void warn(String s)", "void error(String s)"};

    @TempDir Path dir;

    /** What a virtual machine printed, without what -Xcheck:jni says of the descriptor names. */
    private String run(List<String> options, String... command) throws Exception {
        List<String> line = new ArrayList<>();
        line.add(ProcessHandle.current().info().command().orElseThrow());
        line.add("-Xcheck:jni");
        line.addAll(options);
        line.addAll(Arrays.asList(command));
        ProcessBuilder builder = new ProcessBuilder(line).redirectErrorStream(true);
        Preload.noFaults(builder);
        builder.environment().remove("CLASSPATH");
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        process.waitFor();
        assertTrue(process.exitValue() <= 1, () -> "died: " + output);
        return output;
    }

    private static String without(String methodName) {
        StringBuilder body = new StringBuilder();
        for (String method : LOGGER_METHODS) {
            if (!method.contains(" " + methodName + "(")) {
                body.append(method).append(";\n");
            }
        }
        return "package org.slf4j; public interface Logger {" + body + "}";
    }

    private static String nativeClass(String log) {
        return "package org.apache.hadoop.hdfs.server.namenode; public class ZOLTNative {" + log
                + "public static native int setFSConfig(boolean b);"
                + "public static void main(String[] a) { try { System.load(a[0]);"
                + "System.out.println(\"loaded \" + setFSConfig(false)); }"
                + "catch (Throwable t) { System.out.println(\"threw \" + t); } } }";
    }

    /** Compiles the sources by their class names and runs ZOLTNative's main. */
    private String load(String[]... sources) throws Exception {
        JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
        Path classes = Files.createTempDirectory(dir, "classes");
        List<String> arguments = new ArrayList<>(List.of("-d", classes.toString()));
        for (String[] source : sources) {
            Path file = Files.createTempDirectory(dir, "source").resolve(source[0] + ".java");
            Files.writeString(file, source[1]);
            arguments.add(file.toString());
        }
        arguments.addAll(List.of("-classpath", classes.toString()));
        assertEquals(0, compiler.run(null, null, null, arguments.toArray(String[]::new)));
        return run(List.of("-cp", classes.toString()),
                "org.apache.hadoop.hdfs.server.namenode.ZOLTNative", LIBRARY);
    }

    private static String[] source(String name, String text) {
        return new String[] {name, text};
    }

    private static void expectLine(String wanted, String output) {
        assertTrue(Arrays.asList(output.split("\n")).contains(wanted), output);
    }

    private static void expectOnlyKnownWarnings(String output) {
        for (String line : output.split("\n")) {
            if (line.contains("WARNING in native") || line.contains("FATAL ERROR")) {
                assertTrue(line.contains("\"Ljava/util/HashMap;\"")
                        || line.contains("\"Ljava/lang/String;\"")
                        || IS_JAVA_8 && line.endsWith(" CallStaticObjectMethod"), output);
            }
        }
    }

    /** What loading says of a class with this LOG, and of a logger without this method. */
    private void expectLoad(String wanted, String log, String missing) throws Exception {
        String output = load(source("Logger", without(missing)),
                source("ZOLTNative", nativeClass(log)));
        expectLine(wanted, output);
        expectOnlyKnownWarnings(output);
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "static Object LOG = null;", "org.slf4j.Logger LOG = null;"})
    void aClassWithoutAStaticLogOfItsType(String log) throws Exception {
        expectLoad("threw java.lang.NoSuchFieldError: Cannot find field LOG", log, "none");
    }

    @Test
    void aLogThatIsNullLoadsAndIsSilent() throws Exception {
        expectLoad("loaded 1", "static org.slf4j.Logger LOG = null;", "none");
    }

    @ParameterizedTest
    @ValueSource(strings = {"isTraceEnabled()Z", "isErrorEnabled()Z", "trace(Ljava/lang/String;)V",
        "error(Ljava/lang/String;)V"})
    void aLoggerThatLacksAMethod(String method) throws Exception {
        expectLoad("threw java.lang.NoSuchMethodError: Cannot find methold " + method,
                "static org.slf4j.Logger LOG = null;", method.substring(0, method.indexOf('(')));
    }

    @Test
    void aLoggerThatThrowsWhenItIsAsked() throws Exception {
        expectLoad("threw java.lang.IllegalStateException: isTraceEnabled",
                "static org.slf4j.Logger LOG = (org.slf4j.Logger) java.lang.reflect.Proxy"
                + ".newProxyInstance(ZOLTNative.class.getClassLoader(),"
                + " new Class<?>[] {org.slf4j.Logger.class},"
                + " (p, m, a) -> { throw new IllegalStateException(m.getName()); });", "none");
    }

    @Test
    void anotherClassThanTheOneExpected() throws Exception {
        String other = nativeClass("").replace("org.apache.hadoop.hdfs.server.namenode", "other");
        Path file = dir.resolve("ZOLTNative.java");
        Files.writeString(file, other);
        assertEquals(0, ToolProvider.getSystemJavaCompiler().run(null, null, null, "-d",
                dir.toString(), file.toString()));
        String output = run(List.of("-cp", dir.toString()), "other.ZOLTNative", LIBRARY);
        expectLine("threw java.lang.NoClassDefFoundError: Cannot find class "
                + "org/apache/hadoop/hdfs/server/namenode/ZOLTNative", output);
        expectOnlyKnownWarnings(output);
    }

    // What the class says when there is nothing to load.

    private String touch(String... options) throws IOException, Exception {
        List<String> all = new ArrayList<>(Arrays.asList(options));
        all.addAll(List.of("-cp", System.getenv("CLASSPATH")));
        return run(all, Touch.class.getName());
    }

    /** Uses the class in a virtual machine of its own. */
    static final class Touch {
        private Touch() {}

        public static void main(String[] arguments) {
            try {
                System.out.println("answer "
                        + org.apache.hadoop.hdfs.server.namenode.ZOLTNative.setFSConfig(false));
            } catch (Throwable e) {
                System.out.println(e);
            }
        }
    }

    @Test
    void theLibraryIsFoundByItsPropertyOrByTheLibraryPath() throws Exception {
        expectLine("answer 1", touch("-Dzolt.library=" + LIBRARY));
        expectLine("answer 1", touch("-Djava.library.path=" + Path.of(LIBRARY).getParent()));
    }

    @Test
    void aLibraryThatIsNotThereIsSaidClearly() throws Exception {
        String output = touch("-Djava.library.path=" + dir);
        assertTrue(output.contains("Cannot load libzolthadoop.so from java.library.path=" + dir),
                output);
        assertTrue(output.contains("-Dzolt.library=FILE"), output);

        output = touch("-Dzolt.library=" + dir + "/none.so");
        assertTrue(output.contains("Cannot load the ZOLT library from zolt.library=" + dir
                + "/none.so"), output);
        assertTrue(output.contains("There is no such file"), output);

        Path garbage = Files.writeString(dir.resolve("garbage.so"), "no library");
        output = touch("-Dzolt.library=" + garbage);
        assertTrue(output.contains("the loader refuses it"), output);
    }

    @Test
    void aMissingClientLibraryIsSaidClearly() throws Exception {
        String java = ProcessHandle.current().info().command().orElseThrow();
        ProcessBuilder builder = new ProcessBuilder(java, "-Dzolt.library=" + LIBRARY, "-cp",
                System.getenv("CLASSPATH"), Touch.class.getName()).redirectErrorStream(true);
        builder.environment().remove("LD_LIBRARY_PATH");
        Preload.noFaults(builder);
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertTrue(output.contains("client library libzolt.so was not found"), output);
    }
}
