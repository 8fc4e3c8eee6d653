package zolt.test.xattr;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Faults;

/** Which bytes the name of an attribute is. */
class XattrNamesTest extends XattrFixture {
    @Test
    void namesCrossAsTheyAre() throws IOException {
        String name = "user.\u00e9\u4e2d";
        ZOLTNative.setExtendedAttribute(path, name, bytes("1"), ANY);
        assertEquals("1", stored(name));
        assertEquals(Map.of(name, "1"), texts(ZOLTNative.dumpXAttrs(path)));
        assertArrayEquals(bytes("1"), ZOLTNative.getXAttr(path, name));
        assertEquals(Map.of(name, "1"), texts(ZOLTNative.getXAttrs(path, new String[] {name})));
    }

    /** Java's own encoding of a character beyond U+FFFF is two surrogates, not the four of UTF-8. */
    @Test
    void aCharacterBeyondTheBasicPlaneIsTwoSurrogates() throws IOException {
        String name = "user.\ud83d\ude00";
        Faults.storeXattr(path, bytes("user.\u00ed\u00a0\u00bd\u00ed\u00b8\u0080"), bytes("1"));
        assertTrue(ZOLTNative.setExtendedAttribute(path, name, bytes("2"), REPLACE));
        assertArrayEquals(bytes("2"), ZOLTNative.getXAttr(path, name));
        assertEquals(Map.of(name, "2"), texts(ZOLTNative.getXAttrs(path, new String[] {name})));
        assertEquals(Map.of(name, "2"), texts(ZOLTNative.dumpXAttrs(path)));
        assertTrue(ZOLTNative.removeXAttr(path, name));
        assertEquals(Map.of(), ZOLTNative.dumpXAttrs(path));
    }

    private List<String> listed() throws IOException {
        return List.copyOf(ZOLTNative.dumpXAttrs(path).keySet());
    }

    /** What others stored by such a name is listed, but no Java string is its name. */
    @Test
    void aNameInTrueUtf8IsListedButNotFound() throws IOException {
        String stored = "user.\u00f0\u009f\u0098\u0080";
        Faults.storeXattr(path, bytes(stored), bytes("1"));
        assertNull(ZOLTNative.getXAttr(path, "user.\ud83d\ude00"));
        assertEquals(List.of("user.\ud83d\ude00"), listed());
    }

    /** A byte that is part of no character is the low surrogate of its number. */
    @Test
    void aNameOfAnyBytesIsListed() throws IOException {
        Map<String, String> keys = Map.of(
                "\u00ff", "\udcff",
                "\u00e9x", "\udce9x",
                "\u00c3", "\udcc3",
                "\u00e2\u0082", "\udce2\udc82",
                "\u0080\u0080", "\udc80\udc80",
                "\u00c1\u0081", "\udcc1\udc81",
                "\u00c3\u00a9", "\u00e9");
        for (Map.Entry<String, String> key : keys.entrySet()) {
            Faults.storeXattr(path, bytes("user." + key.getKey()), bytes("1"));
            assertEquals(List.of("user." + key.getValue()), listed());
            Faults.removeXattr(path, bytes("user." + key.getKey()));
        }
    }

    /** So that no attribute hides another. */
    @Test
    void namesOfDifferentBytesAreDifferentKeys() throws IOException {
        List<String> names = List.of("user.A", "user.\u00c1\u0081", "user.\u00c3\u00a9", "user.\u00e9");
        for (String name : names) {
            Faults.storeXattr(path, bytes(name), bytes("1"));
        }
        assertEquals(names.size(), ZOLTNative.dumpXAttrs(path).size());
    }

    @Test
    void aNameMayNotBeEmpty() throws IOException {
        expect(IOException.class, "Numerical result out of range: setxattr failed",
                () -> ZOLTNative.setExtendedAttribute(path, "", bytes("v"), ANY));
        expect(IOException.class, "Numerical result out of range: getxattr failed",
                () -> ZOLTNative.getXAttr(path, ""));
        expect(IOException.class, "Numerical result out of range: removexattr failed",
                () -> ZOLTNative.removeXAttr(path, ""));
        assertEquals(Map.of(), ZOLTNative.getXAttrs(path, new String[] {""}));
    }
}
