package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Extended attributes and the lease's read. */
final class XattrCases {
    private static final byte[] VALUE = "a value of thirty-two bytes long".getBytes();

    private XattrCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        Path file = space.file("attributes-1", 0);
        fill(file, 1);
        single(bench, space, file);
        lease(bench, space);
        for (int count : new int[] {1, 5, 20, 1000}) {
            Path many = space.file("dumped-" + count, 0);
            try {
                fill(many, count);
            } catch (IOException e) {
                bench.leaveOut(count + " attributes on " + space.type + ": " + e.getMessage());
                continue;
            }
            dump(bench, space, many, count);
        }
    }

    private static void fill(Path file, int count) throws IOException {
        UserDefinedFileAttributeView view = view(file);
        for (int i = 0; i < count; i++) {
            view.write("name-" + i, ByteBuffer.wrap(VALUE));
        }
    }

    private static UserDefinedFileAttributeView view(Path file) {
        return Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
    }

    private static long read(UserDefinedFileAttributeView view, String name) throws IOException {
        ByteBuffer value = ByteBuffer.allocate(view.size(name));
        return view.read(name, value);
    }

    private static void single(Bench bench, Workspace space, Path file) throws Exception {
        String path = file.toString();
        UserDefinedFileAttributeView view = view(file);
        bench.measure(new Case("getXAttr", space.type, 0, 1)
                .floor(() -> Floor.xattr(path, "user.name-0").length)
                .bare(Floor.XATTR, Floor.prepare(path, "user.name-0", null))
                .library(() -> ZOLTNative.getXAttr(path, "user.name-0").length)
                .way("attribute view", () -> read(view, "name-0"))
                .goal(Case.FLOOR, 1.06).goal("attribute view", 0.72));
        bench.measure(new Case("getXAttr, absent", space.type, 0, 1)
                .floor(() -> Floor.xattr(path, "user.none") == null ? 1 : 0)
                .library(() -> ZOLTNative.getXAttr(path, "user.none") == null ? 1 : 0)
                .goal(Case.FLOOR, 1.06));
        ByteBuffer direct = Workspace.direct(VALUE.length);
        direct.put(VALUE);
        bench.measure(new Case("setExtendedAttribute", space.type, 0, 1)
                .floor(() -> Floor.setXattr(path, "user.name-0", VALUE) ? 1 : 0)
                .bare(Floor.SET_XATTR, Floor.prepare(path, "user.name-0", direct))
                .library(() -> ZOLTNative.setExtendedAttribute(path, "user.name-0", VALUE,
                        (short) 0) ? 1 : 0)
                .way("attribute view", () -> view.write("name-0", ByteBuffer.wrap(VALUE)) > 0
                        ? 1 : 0)
                .goal(Case.FLOOR, 1.06));
    }

    private static void lease(Bench bench, Workspace space) throws Exception {
        String path = space.file("leased", 0).toString();
        ZOLTNative.setFileLeaseNative(path, true, VALUE);
        bench.measure(new Case("getFileLease", space.type, 0, 1)
                .floor(() -> Floor.lease(path, 64).length)
                .bare(Floor.LEASE, Floor.prepare(path, null, null))
                .library(() -> ZOLTNative.getFileLeaseNative(path, true, 64, Long.MAX_VALUE).length)
                .goal(Case.FLOOR, 1.06));
    }

    private static long sum(Map<String, byte[]> map) {
        long sum = 0;
        for (Map.Entry<String, byte[]> entry : map.entrySet()) {
            sum += entry.getKey().hashCode() + entry.getValue().length;
        }
        return sum;
    }

    private static void dump(Bench bench, Workspace space, Path file, int count) throws Exception {
        String path = file.toString();
        UserDefinedFileAttributeView view = view(file);
        Case dump = new Case("dumpXAttrs", space.type, count, count)
                .way(Case.FLOOR, () -> Floor.xattrs(path).size(), () -> sum(Floor.xattrs(path)))
                .way(Case.LIBRARY, () -> ZOLTNative.dumpXAttrs(path).size(),
                        () -> sum(ZOLTNative.dumpXAttrs(path)))
                .way("attribute view", () -> {
                    var map = new java.util.HashMap<String, byte[]>();
                    for (String name : view.list()) {
                        byte[] value = new byte[view.size(name)];
                        view.read(name, ByteBuffer.wrap(value));
                        map.put("user." + name, value);
                    }
                    return map.size();
                }, null);
        if (count == 5 || count == 20) {
            dump.goal(Case.FLOOR, 1.10).goal("attribute view", 0.80);
        }
        bench.measure(dump);
    }
}
