package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Extended attributes. */
final class XattrCases {
    // The feature ea_inode keeps long values elsewhere, but the entries stay: inodes of 1 KiB and
    // empty values make room for 245.
    private static final String EVEN_SO = "; with large inodes and ea_inode, for 245";
    private static final String VIEW = "attribute view";
    private static final byte[] VALUE = "a value of thirty-two bytes long".getBytes();

    private XattrCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        Path file = space.file("attributes-1", 0);
        fill(file, 1);
        single(bench, space, file);
        removed(bench, space, file);
        for (int count : new int[] {1, 5, 20, 1000}) {
            Path many = space.file("dumped-" + count, 0);
            int fitting = fill(many, count);
            if (fitting < count) {
                bench.leaveOut(count + " attributes on " + space.type + ": a file has room for "
                        + fitting + " such, in its inode and one block" + EVEN_SO);
                continue;
            }
            dump(bench, space, many, count);
            named(bench, space, many, count);
        }
    }

    /** How many attributes the file has room for, up to {@code count}. */
    private static int fill(Path file, int count) {
        UserDefinedFileAttributeView view = view(file);
        for (int i = 0; i < count; i++) {
            try {
                view.write("name-" + i, ByteBuffer.wrap(VALUE));
            } catch (IOException e) {
                return i;
            }
        }
        return count;
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
                .way(VIEW, () -> read(view, "name-0"))
                .goal(Case.FLOOR, 1.06).goal(VIEW, 0.72));
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
                .way(VIEW, () -> view.write("name-0", ByteBuffer.wrap(VALUE)) > 0
                        ? 1 : 0)
                .goal(Case.FLOOR, 1.06));
    }

    /** What a name is given is taken away in the same turn. */
    private static void removed(Bench bench, Workspace space, Path file) throws Exception {
        String path = file.toString();
        UserDefinedFileAttributeView view = view(file);
        bench.measure(new Case("setExtendedAttribute and removeXAttr", space.type, 0, 1)
                .floor(() -> Floor.setXattr(path, "user.gone", VALUE)
                        && Floor.removeXattr(path, "user.gone") ? 1 : 0)
                .library(() -> ZOLTNative.setExtendedAttribute(path, "user.gone", VALUE, (short) 0)
                        && ZOLTNative.removeXAttr(path, "user.gone") ? 1 : 0)
                .way(VIEW, () -> {
                    view.write("gone", ByteBuffer.wrap(VALUE));
                    view.delete("gone");
                    return 1;
                }));
    }

    private static void named(Bench bench, Workspace space, Path file, int count) throws Exception {
        String path = file.toString();
        UserDefinedFileAttributeView view = view(file);
        String[] names = new String[count];
        Arrays.setAll(names, i -> "user.name-" + i);
        bench.measure(new Case("getXAttrs", space.type, count, count)
                .way(Case.FLOOR, () -> Floor.namedXattrs(path, names).size(),
                        () -> sum(Floor.namedXattrs(path, names)))
                .way(Case.LIBRARY, () -> ZOLTNative.getXAttrs(path, names).size(),
                        () -> sum(ZOLTNative.getXAttrs(path, names)))
                .way(VIEW, () -> {
                    var map = new HashMap<String, byte[]>();
                    for (String name : names) {
                        map.put(name, value(view, name.substring("user.".length())));
                    }
                    return map.size();
                }, null));
    }

    private static byte[] value(UserDefinedFileAttributeView view, String name) throws IOException {
        byte[] value = new byte[view.size(name)];
        view.read(name, ByteBuffer.wrap(value));
        return value;
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
                .way(VIEW, () -> {
                    var map = new HashMap<String, byte[]>();
                    for (String name : view.list()) {
                        map.put("user." + name, value(view, name));
                    }
                    return map.size();
                }, null);
        if (count == 5 || count == 20) {
            dump.goal(Case.FLOOR, 1.10).goal(VIEW, 0.80);
        }
        bench.measure(dump);
    }
}
