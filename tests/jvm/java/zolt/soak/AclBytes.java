package zolt.soak;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Access control lists as the natives take and give them. */
final class AclBytes {
    static final int ACCESS = 32768;
    static final int DEFAULT = 16384;
    static final int USER_OBJ = 1;
    static final int USER = 2;
    static final int GROUP_OBJ = 4;
    static final int GROUP = 8;
    static final int MASK = 16;
    static final int OTHER = 32;
    static final int NO_ID = -1;

    private AclBytes() {}

    record Entry(int scope, int tag, int id, int permission) {
        Entry(int scope, int tag, int permission) {
            this(scope, tag, NO_ID, permission);
        }
    }

    static byte[] specification(List<Entry> entries) {
        ByteBuffer buffer = ByteBuffer.allocate(4 + 16 * entries.size())
                .order(ByteOrder.nativeOrder()).putInt(entries.size());
        for (Entry entry : entries) {
            buffer.putInt(entry.scope).putInt(entry.tag);
            if (isNamed(entry.tag)) {
                buffer.putInt(entry.id);
            }
            buffer.putInt(entry.permission);
        }
        return Arrays.copyOf(buffer.array(), buffer.position());
    }

    static byte[] specification(Entry... entries) {
        return specification(List.of(entries));
    }

    static List<Entry> status(byte[] bytes) {
        ByteBuffer buffer = ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder());
        List<Entry> entries = new ArrayList<>();
        while (buffer.hasRemaining()) {
            int scope = buffer.getInt();
            int tag = buffer.getInt();
            int id = isNamed(tag) ? buffer.getInt() : NO_ID;
            entries.add(new Entry(scope, tag, id, buffer.getInt()));
        }
        return entries;
    }

    private static boolean isNamed(int tag) {
        return tag == USER || tag == GROUP;
    }
}
