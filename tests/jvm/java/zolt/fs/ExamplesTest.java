package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.sun.source.tree.ClassTree;
import com.sun.source.tree.CompilationUnitTree;
import com.sun.source.tree.MethodTree;
import com.sun.source.util.DocTrees;
import com.sun.source.util.JavacTask;
import com.sun.source.util.TreePathScanner;
import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.lang.model.element.Modifier;
import javax.tools.JavaCompiler;
import javax.tools.StandardJavaFileManager;
import javax.tools.ToolProvider;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;
import org.junit.jupiter.api.io.TempDir;

/**
 * The examples of the documentation, taken from the sources: each public class and method has one, and
 * each of them, compiled and run, prints what it says.
 */
class ExamplesTest {
    private static final Path SOURCES = Path.of(System.getenv("JAVA_SOURCES"), "zolt", "fs");
    private static final Pattern BLOCK = Pattern.compile("<pre>\\{@code\n(.*?)}</pre>", Pattern.DOTALL);
    private static final Pattern PRINTS = Pattern.compile("// prints: (.*)");
    private static final Set<String> OF_ALL_OBJECTS = Set.of("equals", "hashCode", "toString");

    /** A public class or method, and the example in its documentation; null for none. */
    private record Documented(String name, String example) {}

    private static final List<Documented> ALL = new ArrayList<>();

    @TempDir static Path classes;

    /** In the order of the sources; nested enums say by their constants what they are. */
    @BeforeAll
    static void readAndCompile() throws IOException {
        JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
        assumeTrue(compiler != null, "this Java has no compiler");
        List<File> sources;
        try (Stream<Path> files = Files.list(SOURCES)) {
            sources = files.filter(file -> !file.endsWith("package-info.java")).sorted().map(Path::toFile).toList();
        }
        ALL.clear();
        try (StandardJavaFileManager manager = compiler.getStandardFileManager(null, null, null)) {
            JavacTask task = (JavacTask) compiler.getTask(null, manager, null, null, null,
                    manager.getJavaFileObjects(sources.toArray(File[]::new)));
            DocTrees trees = DocTrees.instance(task);
            for (CompilationUnitTree unit : task.parse()) {
                new Reader(trees).scan(unit, null);
            }
        }
        compile(compiler);
    }

    private static final class Reader extends TreePathScanner<Void, Void> {
        private final DocTrees trees;
        private String type = "";

        Reader(DocTrees trees) {
            this.trees = trees;
        }

        @Override
        public Void visitClass(ClassTree tree, Void unused) {
            if (!tree.getModifiers().getFlags().contains(Modifier.PUBLIC)) {
                return null;
            }
            String outer = type;
            type = outer.isEmpty() ? tree.getSimpleName().toString()
                    : outer + "." + tree.getSimpleName();
            if (outer.isEmpty()) {
                add(type);
            }
            super.visitClass(tree, null);
            type = outer;
            return null;
        }

        @Override
        public Void visitMethod(MethodTree tree, Void unused) {
            String name = tree.getName().toString();
            if (tree.getModifiers().getFlags().contains(Modifier.PUBLIC)
                    && !OF_ALL_OBJECTS.contains(name)) {
                add(type + "." + name);
            }
            return null;
        }

        private void add(String name) {
            String documentation = trees.getDocComment(getCurrentPath());
            Matcher block = BLOCK.matcher(documentation == null ? "" : documentation);
            ALL.add(new Documented(name, block.find() ? block.group(1) : null));
        }
    }

    private static void compile(JavaCompiler compiler) throws IOException {
        StringBuilder source = new StringBuilder("package zolt.examples;\n"
                + "import static java.nio.charset.StandardCharsets.UTF_8;\n"
                + "import java.io.*;\nimport java.nio.*;\nimport java.nio.file.*;\nimport java.time.*;\n"
                + "import java.util.*;\n"
                + "import zolt.fs.*;\npublic class Examples {\n");
        for (int each = 0; each < ALL.size(); each++) {
            source.append("public static void example").append(each).append("(String directory,"
                    + " String inner, String file, String link, String blocks) throws Exception {\n")
                    .append(ALL.get(each).example() == null ? "" : ALL.get(each).example())
                    .append("}\n");
        }
        Path file = Files.writeString(classes.resolve("Examples.java"), source.append("}\n"));
        ByteArrayOutputStream errors = new ByteArrayOutputStream();
        assertEquals(0, compiler.run(null, null, errors, "-classpath",
                System.getProperty("java.class.path"), "-d", classes.toString(), file.toString()),
                () -> errors.toString(StandardCharsets.UTF_8));
    }

    @Test
    void everyPublicClassAndMethodHasAnExample() {
        List<String> without = ALL.stream().filter(each -> each.example() == null)
                .map(Documented::name).toList();
        assertEquals(List.of(), without);
    }

    /** What the virtual machine has of public methods is what was found in the sources. */
    @Test
    void noMethodIsOverlooked() throws Exception {
        for (String type : ALL.stream().map(Documented::name).filter(name -> !name.contains("."))
                .toList()) {
            Class<?> loaded = Class.forName("zolt.fs." + type);
            List<String> wanted = Stream.concat(
                    Stream.of(loaded.getDeclaredMethods())
                            .filter(method -> java.lang.reflect.Modifier.isPublic(
                                    method.getModifiers()) && !method.isSynthetic())
                            .map(method -> method.getName())
                            .filter(name -> !OF_ALL_OBJECTS.contains(name))
                            .filter(name -> !loaded.isEnum() || !name.startsWith("value")),
                    Stream.of(loaded.getConstructors()).map(constructor -> "<init>"))
                    .sorted().toList();
            List<String> found = ALL.stream().map(Documented::name)
                    .filter(name -> name.startsWith(type + "."))
                    .map(name -> name.substring(type.length() + 1))
                    .filter(name -> !name.contains(".")).sorted() // those of nested classes
                    .collect(Collectors.toList());
            assertEquals(wanted, found, type);
        }
        assertFalse(ALL.isEmpty());
    }

    @TestFactory
    Stream<DynamicTest> everyExamplePrintsWhatItSays() throws Exception {
        URLClassLoader loader = new URLClassLoader(new URL[] {classes.toUri().toURL()},
                ExamplesTest.class.getClassLoader());
        Class<?> examples = loader.loadClass("zolt.examples.Examples");
        List<DynamicTest> tests = new ArrayList<>();
        for (int each = 0; each < ALL.size(); each++) {
            int number = each;
            Documented documented = ALL.get(each);
            if (documented.example() != null) {
                tests.add(DynamicTest.dynamicTest(documented.name(),
                        () -> runExample(examples, number, documented)));
            }
        }
        return tests.stream();
    }

    private static void runExample(Class<?> examples, int number, Documented documented)
            throws Exception {
        Fixture files = new Fixture(Files.createTempDirectory("zolt-examples-"));
        PrintStream out = System.out;
        ByteArrayOutputStream printed = new ByteArrayOutputStream();
        System.setOut(new PrintStream(printed, true, StandardCharsets.UTF_8));
        try {
            Fixture.onThread("example", () -> examples.getMethod("example" + number, String.class,
                    String.class, String.class, String.class, String.class).invoke(null,
                    files.directory, files.inner, files.file, files.link, files.blocks));
        } catch (InvocationTargetException e) {
            throw new AssertionError(documented.example(), e.getCause());
        } finally {
            System.setOut(out);
            ZoltLibrary.setAlwaysSuper(false);
            Fixture.run("rm", "-r", Path.of(files.file).getParent().toString());
        }
        List<String> wanted = PRINTS.matcher(documented.example()).results()
                .map(result -> result.group(1)).toList();
        assertEquals(String.join("\n", wanted),
                printed.toString(StandardCharsets.UTF_8).stripTrailing(), documented.example());
        assertTrue(documented.example().contains(
                documented.name().replaceFirst(".*\\.", "").replace("<init>", "new ")),
                "an example that is of something else: " + documented.example());
    }
}
