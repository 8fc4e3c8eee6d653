package zolt.test;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

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

    @BeforeEach
    void clear() {
        Frame.threshold();
        Log.clear();
    }

    @AfterEach
    void restore() {
        Frame.init();
        Frame.load();
    }

    @Test
    void aLookupThatFailsLeavesItsErrorAndNothingAfterItSet() {
        for (int row = 0; row < ROWS.length; row++) {
            int failing = row;
            LinkageError error = assertThrows(LinkageError.class, () -> Frame.initFailing(failing));
            assertSame(ROWS[row][0], error.getClass());
            assertEquals(ROWS[row][1], error.getMessage());
            assertEquals(row, Frame.entriesSet());
            boolean[] set = Frame.set();
            for (int entry = 0; entry < set.length; entry++) {
                assertEquals(entry < row, set[entry], "entry " + entry + " after failing " + row);
            }
        }
    }

    @Test
    void withoutAFailureEveryEntryIsSet() {
        assertEquals(0, Frame.initFailing(ROWS.length));
        assertEquals(ROWS.length + 1, Frame.entriesSet());
    }

    @Test
    void aFailedLoadStillAnswersItsVersionAndLogsNothing() {
        for (int row : new int[] {0, 5, 6, 8, 21}) {
            assertThrows(LinkageError.class, () -> Frame.initFailing(row));
            Frame.log("nothing", 4);
        }
        assertEquals(List.of(), Log.lines());
    }

    /** The platform has no class of the name that is asked for, so what FindClass leaves stands. */
    @Test
    void aLogFieldThatCannotBeReadLeavesTheErrorOfTheMissingErrorClass() {
        Throwable error = assertThrows(NoClassDefFoundError.class, Frame::initWithUnreadableLog);
        assertEquals("java/lang/NoFieldFoundError", error.getMessage());
        assertEquals(ROWS.length, Frame.entriesSet());
    }

    @Test
    void uninitReleasesTheSixAndNoOther() {
        Frame.uninit();
        boolean[] expected = new boolean[ROWS.length + 1];
        for (int entry = 0; entry < expected.length; entry++) {
            // IOException, NoSuchFile, AccessDenied, ZOLTNative, Log and the logger object
            expected[entry] = !List.of(1, 2, 4, 5, 7, 22).contains(entry);
        }
        assertArrayEquals(expected, Frame.set());
        Frame.log("silent", 4);
        assertEquals(List.of(), Log.lines());
        Frame.uninit();
        assertArrayEquals(expected, Frame.set());
    }

    @SuppressWarnings("unused")
    private static int staticField;

    @SuppressWarnings("unused")
    private int instanceField;

    @Test
    void lookupsFindInstanceAndStaticMembers() {
        assertEquals(0, Frame.methodId(String.class, "length", "()I", true));
        assertEquals(0, Frame.methodId(String.class, "valueOf", "(I)Ljava/lang/String;", false));
        assertEquals(0, Frame.fieldId(BindingTest.class, "instanceField", "I", true));
        assertEquals(0, Frame.fieldId(BindingTest.class, "staticField", "I", false));
        assertEquals(0, Frame.findClass("java/lang/String"));
    }

    @Test
    void lookupsTellInstanceFromStatic() {
        assertEquals("Cannot find methold length()I", assertThrows(NoSuchMethodError.class,
                () -> Frame.methodId(String.class, "length", "()I", false)).getMessage());
        assertEquals("Cannot find methold valueOf(I)Ljava/lang/String;",
                assertThrows(NoSuchMethodError.class, () -> Frame.methodId(String.class, "valueOf",
                        "(I)Ljava/lang/String;", true)).getMessage());
        assertEquals("Cannot find field instanceField", assertThrows(NoSuchFieldError.class,
                () -> Frame.fieldId(BindingTest.class, "instanceField", "I", false)).getMessage());
        assertEquals("Cannot find field staticField", assertThrows(NoSuchFieldError.class,
                () -> Frame.fieldId(BindingTest.class, "staticField", "I", true)).getMessage());
        assertEquals("Cannot find class no/such/Class", assertThrows(NoClassDefFoundError.class,
                () -> Frame.findClass("no/such/Class")).getMessage());
    }
}
