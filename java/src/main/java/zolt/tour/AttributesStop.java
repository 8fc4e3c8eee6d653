package zolt.tour;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Extended attributes, and the leases that are kept in two of them. */
final class AttributesStop {
    private static final String[] NAMES = {"user.colour", "user.none"};
    private static final short ONLY_CREATE = 1;
    private static final int HOLDER_BYTES = 64;

    private AttributesStop() {}

    static void visit(Stop stop) throws IOException, InterruptedException {
        Files.write(stop.directory.resolve("part-0000"), new byte[0]);
        attributes(stop, stop.path("part-0000"));
        lease(stop, stop.path("part-0000"));
    }

    private static void attributes(Stop stop, String file) {
        stop.page.title("Extended attributes of part-0000");
        ZOLTNative.setExtendedAttribute(file, "user.colour", bytes("green"), (short) 0);
        ZOLTNative.setExtendedAttribute(file, "user.empty", null, (short) 0);
        stop.page.line("set:            " + text(ZOLTNative.dumpXAttrs(file)));
        stop.page.line("asked for two:  " + text(ZOLTNative.getXAttrs(file, NAMES)));
        stop.page.line("create again:   " + Stop.outcome(() -> String.valueOf(
                ZOLTNative.setExtendedAttribute(file, "user.colour", bytes("red"), ONLY_CREATE))));
        ZOLTNative.removeXAttr(file, "user.empty");
        stop.page.line("one removed:    " + text(ZOLTNative.dumpXAttrs(file)));
    }

    private static void lease(Stop stop, String file) throws InterruptedException {
        stop.page.title("A lease on part-0000");
        ZOLTNative.setFileLeaseNative(file, false, bytes("writer-1"));
        stop.page.line("writer-1 takes it; the holder is now " + holder(file, Long.MAX_VALUE));
        stop.page.line("writer-2 tries:     " + Stop.outcome(() -> {
            ZOLTNative.setFileLeaseNative(file, false, bytes("writer-2"));
            return "has it";
        }));
        ZOLTNative.renewFileLeaseNative(file, false);
        // The lease clock falls back at every full second, so a look may find the lease alive again.
        int looks = 1;
        while (!holder(file, 0).equals("nobody")) {
            Thread.sleep(5);
            looks++;
        }
        stop.page.line("it expires:         found dead at look " + looks + ", and removed");
        ZOLTNative.setFileLeaseNative(file, false, bytes("writer-2"));
        stop.page.line("writer-2 tries now: the holder is " + holder(file, Long.MAX_VALUE));
        ZOLTNative.removeFileLeaseNative(file, false);
    }

    private static String holder(String file, long limit) {
        byte[] holder = ZOLTNative.getFileLeaseNative(file, false, HOLDER_BYTES, limit);
        return holder == null ? "nobody" : new String(holder, StandardCharsets.UTF_8);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static String text(Map<String, byte[]> attributes) {
        StringBuilder text = new StringBuilder();
        new TreeMap<>(attributes).forEach((name, value) -> text
                .append(text.length() == 0 ? "" : ", ").append(name).append("=\"")
                .append(new String(value, StandardCharsets.UTF_8)).append('"'));
        return text.toString();
    }
}
