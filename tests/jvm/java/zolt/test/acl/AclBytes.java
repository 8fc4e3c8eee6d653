package zolt.test.acl;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Access control lists as the natives take and give them. */
public final class AclBytes {
    public static final int ACCESS = 32768;
    public static final int DEFAULT = 16384;
    public static final int USER_OBJ = 1;
    public static final int USER = 2;
    public static final int GROUP_OBJ = 4;
    public static final int GROUP = 8;
    public static final int MASK = 16;
    public static final int OTHER = 32;
    public static final int NO_ID = -1;

    private AclBytes() {}

    public record Entry(int scope, int tag, int id, int permission) {
        public Entry(int scope, int tag, int permission) {
            this(scope, tag, NO_ID, permission);
        }
    }

    public static byte[] specification(List<Entry> entries) {
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

    public static byte[] specification(Entry... entries) {
        return specification(List.of(entries));
    }

    public static List<Entry> status(byte[] bytes) {
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
