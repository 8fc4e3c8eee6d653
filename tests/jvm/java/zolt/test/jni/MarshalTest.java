package zolt.test.jni;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.HexFormat;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.test.Body;
import zolt.test.Failing;
import zolt.test.Frame;
import zolt.test.Log;

/** Strings and byte arrays across the border. */
class MarshalTest {
    @BeforeEach
    void clear() {
        Frame.threshold();
        Log.clear();
    }

    private static byte[] bytesOf(String string) {
        byte[][] out = new byte[1][];
        assertEquals(0, Frame.getString(string, out));
        return out[0];
    }

    private static byte[] hex(String digits) {
        return HexFormat.of().parseHex(digits);
    }

    @Test
    void aStringCrossesAsModifiedUtf8() {
        assertArrayEquals("plain /path".getBytes(UTF_8), bytesOf("plain /path"));
        assertArrayEquals(new byte[0], bytesOf(""));
        assertArrayEquals("\u00e9\u4e2d".getBytes(UTF_8), bytesOf("\u00e9\u4e2d"));
        assertArrayEquals(hex("61c08062"), bytesOf("a\u0000b"));
        assertArrayEquals(hex("eda0bdedb880"), bytesOf("\ud83d\ude00"));
        assertArrayEquals(hex("eda080"), bytesOf("\ud800"));
        String large = "x".repeat(70_000);
        assertArrayEquals(large.getBytes(UTF_8), bytesOf(large));
    }

    @Test
    void aNullStringIs22AndNothingIsThrown() {
        byte[][] out = new byte[1][];
        assertEquals(22, Frame.getString((String) null, out));
        assertArrayEquals("untouched".getBytes(UTF_8), out[0]);
    }

    @Test
    void bytesCrossExactly() {
        byte[] all = new byte[256];
        for (int i = 0; i < all.length; i++) {
            all[i] = (byte) i;
        }
        byte[][] out = new byte[1][];
        assertEquals(0, Frame.getString(all, out));
        assertArrayEquals(all, out[0]);
        assertArrayEquals(all, Frame.toByteArray(all));
        assertEquals(0, Frame.getString(new byte[0], out));
        assertEquals(0, out[0].length);
        assertEquals(0, Frame.toByteArray(new byte[0]).length);
    }

    @Test
    void readingBytesNeverWritesThemBack() {
        byte[] original = "unchanged".getBytes(ISO_8859_1);
        byte[] given = original.clone();
        Frame.getString(given, new byte[1][]);
        assertArrayEquals(original, given);
    }

    @Test
    void nullBytesAre22AndNothingIsThrown() {
        byte[][] out = new byte[1][];
        assertEquals(22, Frame.getString((byte[]) null, out));
        assertArrayEquals("untouched".getBytes(UTF_8), out[0]);
    }

    @Test
    void aStreamIsHandedOverToItsEndWhereverItsPutPosition() {
        byte[] text = "a\0bc".getBytes(ISO_8859_1);
        assertArrayEquals(text, Frame.streamToByteArray(text, 4));
        assertArrayEquals(text, Frame.streamToByteArray(text, 1));
        assertArrayEquals(new byte[0], Frame.streamToByteArray(new byte[0], 0));
    }

    /** A stream that found no memory says so only in its state; one that cannot seek is in the same. */
    @Test
    void aStreamThatCouldNotTakeEverythingIsAnErrorAndNoShorterArray() {
        byte[] text = "abc".getBytes(ISO_8859_1);
        assertEquals("Cannot allocate memory: ", assertThrows(RuntimeException.class,
                () -> Frame.streamToByteArray(text, -1)).getMessage());
    }

    private static void expectNoMemory(String function, Body call) {
        RuntimeException e =
                assertThrows(RuntimeException.class, () -> Failing.run(function, 1, call));
        assertEquals(RuntimeException.class, e.getClass());
        assertEquals("Cannot allocate memory: ", e.getMessage());
    }

    @Test
    void charactersForWhichThereIsNoMemoryAre12() {
        byte[][] out = new byte[1][];
        expectNoMemory("GetStringUTFChars", () -> Frame.getString("x", out));
        assertArrayEquals("untouched".getBytes(UTF_8), out[0]);
        out[0] = null;
        expectNoMemory("GetByteArrayElements", () -> Frame.getString(new byte[1], out));
        assertArrayEquals("untouched".getBytes(UTF_8), out[0]);
    }

    @Test
    void anArrayThatCannotBeMadeLeavesTheErrorOfTheVirtualMachine() {
        assertThrows(OutOfMemoryError.class,
                () -> Failing.run("NewByteArray", 1, () -> Frame.toByteArray(new byte[1])));
    }

    @Test
    void whatIsBorrowedIsGivenBack() {
        byte[][] out = new byte[1][];
        Failing.Taken taken = Failing.takenBy(() -> Frame.getString("x", out));
        assertEquals(1, taken.strings());
        assertEquals(0, taken.stringsLeft());
        taken = Failing.takenBy(() -> Frame.getString(new byte[10], out));
        assertEquals(1, taken.arrays());
        assertEquals(0, taken.arraysLeft());
        assertEquals(0, taken.arraysWrittenBack());
        assertEquals(0, taken.referencesLeft());
    }
}
