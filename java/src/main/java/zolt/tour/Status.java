package zolt.tour;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** A status record, read by the table that the library publishes. */
final class Status {
    static final String[] FIELDS = {"inode", "size", "owner", "group", "mode", "block size",
        "accessed", "modified", "changed", "has ACL", "replication", "lease holder"};
    static final int INODE = 0;
    static final int SIZE = 1;
    static final int OWNER = 2;
    static final int GROUP = 3;
    static final int MODE = 4;
    static final int BLOCK_SIZE = 5;
    static final int ACL = 9;

    /** The block locations native appends its header two bytes past the record. */
    static final int HEADER = 90;

    private static final int HEADER_BYTES = 12;
    private static final int[] FORMAT = ZOLTNative.getFileStatusFormatNative();

    final ByteBuffer buffer = ByteBuffer.allocateDirect(HEADER + HEADER_BYTES)
            .order(ByteOrder.nativeOrder());

    /** The record of a path as the current identity may see it. */
    static Status of(String path, boolean followLink) {
        Status status = new Status();
        ZOLTNative.getFileStatusNative(path, followLink, true, status.buffer, 0, 0, 0, 0);
        return status;
    }

    int offset(int field) {
        return FORMAT[2 * field];
    }

    int size(int field) {
        return FORMAT[2 * field + 1];
    }

    long get(int field) {
        switch (size(field)) {
            case 2:
                return buffer.getShort(offset(field)) & 0xffff;
            case 4:
                return buffer.getInt(offset(field)) & 0xffffffffL;
            default:
                return buffer.getLong(offset(field));
        }
    }

    /** "drwxr-xr-x", with a "+" where there is an access control list. */
    String modeText() {
        long mode = get(MODE);
        StringBuilder text = new StringBuilder();
        int type = (int) (mode >> 12);
        text.append(type == 4 ? 'd' : type == 10 ? 'l' : type == 8 ? '-' : '?');
        for (int bit = 8; bit >= 0; bit--) {
            text.append((mode >> bit & 1) != 0 ? "xwr".charAt(bit % 3) : '-');
        }
        return text.append(get(ACL) != 0 ? "+" : "").toString();
    }

    String owner() {
        return Stop.outcome(() -> ZOLTNative.getUser((int) get(OWNER)));
    }

    String group() {
        return Stop.outcome(() -> ZOLTNative.getGroup((int) get(GROUP)));
    }
}
