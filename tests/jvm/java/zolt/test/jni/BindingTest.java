package zolt.test.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.test.Binding;
import zolt.test.Frame;
import zolt.test.Log;

/** The binding cache: each row failing in its turn, and the lookups themselves. */
class BindingTest {
    /** What fails at each lookup, in order, with the error that must be left. */
    private static final Object[][] ROWS = {
        {NoClassDefFoundError.class, "Cannot find class java/lang/RuntimeException"},
        {NoClassDefFoundError.class, "Cannot find class java/io/IOException"},
        {NoClassDefFoundError.class, "Cannot find class java/nio/file/NoSuchFileException"},
        {NoClassDefFoundError.class, "Cannot find class java/nio/BufferOverflowException"},
        {NoClassDefFoundError.class, "Cannot find class java/nio/file/AccessDeniedException"},
        {NoClassDefFoundError.class,
            "Cannot find class org/apache/hadoop/hdfs/server/namenode/ZOLTNative"},
        {NoSuchFieldError.class, "Cannot find field LOG"},
        {NoClassDefFoundError.class, "Cannot find class org/slf4j/Logger"},
        {NoSuchMethodError.class, "Cannot find methold isTraceEnabled()Z"},
        {NoSuchMethodError.class, "Cannot find methold isDebugEnabled()Z"},
        {NoSuchMethodError.class, "Cannot find methold isWarnEnabled()Z"},
        {NoSuchMethodError.class, "Cannot find methold isInfoEnabled()Z"},
        {NoSuchMethodError.class, "Cannot find methold isErrorEnabled()Z"},
        {NoSuchMethodError.class, "Cannot find methold trace(Ljava/lang/String;)V"},
        {NoSuchMethodError.class, "Cannot find methold debug(Ljava/lang/String;)V"},
        {NoSuchMethodError.class, "Cannot find methold info(Ljava/lang/String;)V"},
        {NoSuchMethodError.class, "Cannot find methold warn(Ljava/lang/String;)V"},
        {NoSuchMethodError.class, "Cannot find methold error(Ljava/lang/String;)V"},
        {NoClassDefFoundError.class, "Cannot find class Ljava/util/HashMap;"},
        {NoSuchMethodError.class, "Cannot find methold <init>()V"},
        {NoSuchMethodError.class,
            "Cannot find methold put(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;"},
        {NoClassDefFoundError.class, "Cannot find class Ljava/lang/String;"},
    };

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

    private static void expectSetBefore(int failed) {
        boolean[] set = Binding.set();
        assertEquals(ROWS.length + 1, set.length);
        for (int entry = 0; entry < set.length; entry++) {
            assertEquals(entry < failed, set[entry], "entry " + entry + " after failing " + failed);
        }
    }

    private static void expect(Object type, Object message, Executable call) {
        Throwable error = assertThrows(Throwable.class, call);
        assertSame(type, error.getClass(), error::toString);
        assertEquals(message, error.getMessage());
    }

    @Test
    void aLookupThatFailsLeavesItsErrorAndNothingAfterItSet() {
        for (int row = 0; row < ROWS.length; row++) {
            int failing = row;
            expect(ROWS[row][0], ROWS[row][1], () -> Binding.init("lookup", failing, result));
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
            expect(ROWS[row][0], ROWS[row][1], () -> Binding.load("lookup", failing, loaded));
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
        assertEquals("Cannot find methold length()I", assertThrows(NoSuchMethodError.class,
                () -> Binding.methodId(String.class, "length", "()I", false)).getMessage());
        assertEquals("Cannot find methold valueOf(I)Ljava/lang/String;",
                assertThrows(NoSuchMethodError.class, () -> Binding.methodId(String.class, "valueOf",
                        "(I)Ljava/lang/String;", true)).getMessage());
        assertEquals("Cannot find field instanceField", assertThrows(NoSuchFieldError.class,
                () -> Binding.fieldId(BindingTest.class, "instanceField", "I", false)).getMessage());
        assertEquals("Cannot find field staticField", assertThrows(NoSuchFieldError.class,
                () -> Binding.fieldId(BindingTest.class, "staticField", "I", true)).getMessage());
        assertEquals("Cannot find class no/such/Class", assertThrows(NoClassDefFoundError.class,
                () -> Binding.findClass("no/such/Class")).getMessage());
    }
}
