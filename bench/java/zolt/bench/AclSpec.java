package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;

/** Specifications of ACLs as they cross into the library. */
final class AclSpec {
    static final int ACCESS = 32768;
    static final int DEFAULT = 16384;
    /** Of a list with named entries: the owner's three, and the mask. */
    static final int BASE = 4;

    private static final int USER_OBJ = 1;
    private static final int USER = 2;
    private static final int GROUP_OBJ = 4;
    private static final int MASK = 16;
    private static final int OTHER = 32;
    private static final int FIRST_USER = 5000;

    private AclSpec() {}

    /** A whole list: the base entries, and named users up to that many entries. */
    static byte[] of(int scope, int entries) {
        ByteBuffer out = room(entries);
        out.putInt(scope).putInt(USER_OBJ).putInt(6);
        for (int i = 0; i < entries - BASE; i++) {
            out.putInt(scope).putInt(USER).putInt(FIRST_USER + i).putInt(4);
        }
        out.putInt(scope).putInt(GROUP_OBJ).putInt(4);
        out.putInt(scope).putInt(MASK).putInt(6);
        out.putInt(scope).putInt(OTHER).putInt(0);
        return bytes(out);
    }

    /** One named user: the first of a whole list, or one that it does not have. */
    static byte[] user(int scope, boolean listed) {
        ByteBuffer out = room(1);
        out.putInt(scope).putInt(USER).putInt(listed ? FIRST_USER : FIRST_USER - 1).putInt(6);
        return bytes(out);
    }

    private static ByteBuffer room(int entries) {
        return ByteBuffer.allocate(4 + 16 * entries).order(ByteOrder.nativeOrder()).putInt(entries);
    }

    private static byte[] bytes(ByteBuffer out) {
        return Arrays.copyOf(out.array(), out.position());
    }
}
