package zolt.tour;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Access control lists: set, shown, and what they change. */
final class AclStop {
    private static final int ACCESS = 32768;
    private static final int USER_OBJ = 1;
    private static final int USER = 2;
    private static final int GROUP_OBJ = 4;
    private static final int GROUP = 8;
    private static final int MASK = 16;
    private static final int OTHER = 32;

    private AclStop() {}

    static void visit(Stop stop) {
        String dir = stop.path("closed");
        stop.page.title("An access control list on closed/");
        int id = ZOLTNative.getUid(Stop.OTHER_USER);
        show(stop, "before", dir);
        look(stop);
        ZOLTNative.modifyAclEntries(dir, specification(ACCESS, USER, id, 5));
        show(stop, Stop.OTHER_USER + " added", dir);
        look(stop);
        ZOLTNative.removeAcl(dir, true);
        show(stop, "removed", dir);
    }

    private static byte[] specification(int... entry) {
        ByteBuffer bytes = ByteBuffer.allocate(Integer.BYTES * (1 + entry.length))
                .order(ByteOrder.nativeOrder()).putInt(1);
        for (int word : entry) {
            bytes.putInt(word);
        }
        return bytes.array();
    }

    private static void look(Stop stop) {
        if (!stop.root) {
            return;
        }
        try (As user = As.user(Stop.OTHER_USER)) {
            stop.page.line(Stop.OTHER_USER + " looks at closed/inner.txt: " + Stop.outcome(
                    () -> "inode " + ZOLTNative.getINum(stop.path("closed/inner.txt"), true)));
        }
    }

    private static void show(Stop stop, String when, String path) {
        ByteBuffer status = ByteBuffer.wrap(ZOLTNative.getAclStatus(path, true))
                .order(ByteOrder.nativeOrder());
        StringBuilder text = new StringBuilder();
        while (status.hasRemaining()) {
            int scope = status.getInt();
            int tag = status.getInt();
            String name = tag == USER ? ZOLTNative.getUser(status.getInt())
                    : tag == GROUP ? ZOLTNative.getGroup(status.getInt()) : "";
            int permission = status.getInt();
            text.append(text.length() == 0 ? "" : "  ").append(scope == ACCESS ? "" : "default:")
                    .append(tagName(tag)).append(':').append(name).append(':')
                    .append((permission & 4) != 0 ? 'r' : '-')
                    .append((permission & 2) != 0 ? 'w' : '-')
                    .append((permission & 1) != 0 ? 'x' : '-');
        }
        stop.page.line(String.format("%-12s  %s", when, text));
    }

    private static String tagName(int tag) {
        switch (tag) {
            case USER_OBJ:
            case USER:
                return "user";
            case GROUP_OBJ:
            case GROUP:
                return "group";
            case MASK:
                return "mask";
            case OTHER:
                return "other";
            default:
                return "tag " + tag;
        }
    }
}
