package zolt.test.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static zolt.test.Cleared.expect;

import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Binding;
import zolt.test.Frame;
import zolt.test.Log;

/** The binding cache: each row failing in its turn, and the lookups themselves. */
class BindingTest {
    /** What is looked up, in order; the error that is left says that it cannot be found. */
    private static final String[] ROWS = {"class java/lang/RuntimeException",
        "class java/io/IOException", "class java/nio/file/NoSuchFileException",
        "class java/nio/BufferOverflowException", "class java/nio/file/AccessDeniedException",
        "class org/apache/hadoop/hdfs/server/namenode/ZOLTNative", "field LOG",
        "class org/slf4j/Logger", "methold isTraceEnabled()Z", "methold isDebugEnabled()Z",
        "methold isWarnEnabled()Z", "methold isInfoEnabled()Z", "methold isErrorEnabled()Z",
        "methold trace(Ljava/lang/String;)V", "methold debug(Ljava/lang/String;)V",
        "methold info(Ljava/lang/String;)V", "methold warn(Ljava/lang/String;)V",
        "methold error(Ljava/lang/String;)V", "class Ljava/util/HashMap;", "methold <init>()V",
        "methold put(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;",
        "class Ljava/lang/String;"};
    private static final Map<String, Class<? extends Error>> ERRORS = Map.of("class",
            NoClassDefFoundError.class, "field", NoSuchFieldError.class, "methold",
            NoSuchMethodError.class);

    /** The rows whose value is a global reference; the logger object comes after them. */
    private static final int[] REFERENCES = {0, 1, 2, 3, 4, 5, 7, 18, 21, ROWS.length};

    private final int[] result = {77};
    private final int[] loaded = {77, 77, 77};

    @BeforeEach
    void clear() {
        Binding.load();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Binding.load();
    }

    private static void expectMissing(String row, Executable call) {
        expect(ERRORS.get(row.split(" ")[0]), "Cannot find " + row, call);
    }

    private static void expectSetBefore(int failed) {
        boolean[] set = Binding.set();
        assertEquals(ROWS.length + 1, set.length);
        for (int entry = 0; entry < set.length; entry++) {
            assertEquals(entry < failed, set[entry], "entry " + entry + " after failing " + failed);
        }
    }

    @Test
    void aLookupThatFailsLeavesItsErrorAndNothingAfterItSet() {
        for (int row = 0; row < ROWS.length; row++) {
            int failing = row;
            expectMissing(ROWS[row], () -> Binding.init("lookup", failing, result));
            assertEquals(-1, result[0]);
            expectSetBefore(row);
        }
    }

    @Test
    void withoutAFailureEveryEntryIsSet() {
        Binding.init("lookup", ROWS.length, result);
        assertEquals(0, result[0]);
        expectSetBefore(ROWS.length + 1);
    }

    @Test
    void aLoadThatFailsStillAnswersItsVersionAndLogsNothing() {
        for (int row = 0; row < ROWS.length; row++) {
            int failing = row;
            expectMissing(ROWS[row], () -> Binding.load("lookup", failing, loaded));
            assertArrayEquals(new int[] {0x10006, 5, 1}, loaded);
            Frame.log("nothing", 4);
        }
        assertEquals(List.of(), Log.lines());
    }

    /** One lookup more is made at load, of a class that a virtual machine need not have. */
    @Test
    void aLoadNeedsNoClassOfReadOnlyBuffers() {
        Binding.load("lookup", ROWS.length, loaded);
        assertEquals(0x10006, loaded[0]);
        expectSetBefore(ROWS.length + 1);
    }

    @Test
    void aReferenceThatTheVirtualMachineCannotMakeIsAnError() {
        for (int nth = 0; nth < REFERENCES.length; nth++) {
            int failing = nth;
            expect(OutOfMemoryError.class, "no global reference left",
                    () -> Binding.init("NewGlobalRef", failing, result));
            assertEquals(-1, result[0]);
            expectSetBefore(REFERENCES[nth]);
            expect(OutOfMemoryError.class, "no global reference left",
                    () -> Binding.load("NewGlobalRef", failing, loaded));
            assertArrayEquals(new int[] {0x10006, 5, 1}, loaded);
        }
        // The last one is that of the class of read-only buffers, without which none could be refused.
        expect(OutOfMemoryError.class, "no global reference left",
                () -> Binding.load("NewGlobalRef", REFERENCES.length, loaded));
        assertEquals(0x10006, loaded[0]);
    }

    @Test
    void aLoadForWhichThereIsNoMemoryIsAnErrorToo() {
        for (int nth : new int[] {0, 5, 8}) {
            expect(OutOfMemoryError.class, "while loading libzolthadoop",
                    () -> Binding.load("memory", nth, loaded));
            assertEquals(0x10006, loaded[0]);
        }
    }

    /** The platform has no class of the name that is asked for, so what FindClass leaves stands. */
    @Test
    void aLogFieldThatCannotBeReadLeavesTheErrorOfTheMissingErrorClass() {
        expect(NoClassDefFoundError.class, "java/lang/NoFieldFoundError",
                () -> Binding.init("LOG", 0, result));
        assertEquals(-1, result[0]);
        expectSetBefore(ROWS.length);
    }

    @Test
    void whereThatErrorClassExistsItSaysWhatCannotBeRead() {
        expect(NoSuchFieldError.class, "Cannot get object: ZOLTNative.LOG",
                () -> Binding.init("LOG, where its error class exists", 0, result));
        assertEquals(0, result[0], "as the throw succeeded");
        expectSetBefore(ROWS.length);
    }

    @Test
    void uninitReleasesTheSixInTheirOrderAndNoOther() {
        // IOException, NoSuchFile, AccessDenied, ZOLTNative, Log and the logger object
        assertArrayEquals(new int[] {1, 2, 4, 5, 7, 22}, Binding.uninit());
        boolean[] expected = new boolean[ROWS.length + 1];
        for (int entry = 0; entry < expected.length; entry++) {
            expected[entry] = !List.of(1, 2, 4, 5, 7, 22).contains(entry);
        }
        assertArrayEquals(expected, Binding.set());
        Frame.log("silent", 4);
        assertEquals(List.of(), Log.lines());
        assertArrayEquals(new int[0], Binding.uninit());
        assertArrayEquals(expected, Binding.set());
    }

    @SuppressWarnings("unused")
    private static int staticField;

    @SuppressWarnings("unused")
    private int instanceField;

    @Test
    void lookupsFindInstanceAndStaticMembers() {
        assertEquals(0, Binding.methodId(String.class, "length", "()I", true));
        assertEquals(0, Binding.methodId(String.class, "valueOf", "(I)Ljava/lang/String;", false));
        assertEquals(0, Binding.fieldId(BindingTest.class, "instanceField", "I", true));
        assertEquals(0, Binding.fieldId(BindingTest.class, "staticField", "I", false));
        assertEquals(0, Binding.findClass("java/lang/String"));
    }

    @Test
    void lookupsTellInstanceFromStatic() {
        expectMissing("methold length()I",
                () -> Binding.methodId(String.class, "length", "()I", false));
        expectMissing("methold valueOf(I)Ljava/lang/String;",
                () -> Binding.methodId(String.class, "valueOf", "(I)Ljava/lang/String;", true));
        expectMissing("field instanceField",
                () -> Binding.fieldId(BindingTest.class, "instanceField", "I", false));
        expectMissing("field staticField",
                () -> Binding.fieldId(BindingTest.class, "staticField", "I", true));
        expectMissing("class no/such/Class",
                () -> Binding.findClass("no/such/Class"));
    }
}
