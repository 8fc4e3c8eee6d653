package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.Map;
import java.util.concurrent.Callable;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Beside Hadoop's own local file system, where the build could get it: a module apart, found by name.
 * A size and a time are what both ways answer; owner and mode cost Hadoop a process, which is a case
 * apart.
 */
final class HadoopCases {
    private static final String MODULE = "zolt.bench.hadoop.LocalFiles";
    private static final String HADOOP = "RawLocalFileSystem";
    private static final int ENTRIES = 1000;

    private HadoopCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        Class<?> module;
        try {
            module = Class.forName(MODULE);
        } catch (ClassNotFoundException e) {
            bench.leaveOut("Hadoop's " + HADOOP + ": "
                    + System.getProperty("zolt.bench.hadoop.without"));
            return;
        }
        Path file = space.file("hadoop-file", 1000);
        Path directory = space.directory("hadoop-directory", ENTRIES);
        Map<String, Callable<Long>> ways =
                operations(module, file.toString(), directory.toString());
        ZOLTNative.setExtendedAttribute(file.toString(), "user.name-0", new byte[32], (short) 0);
        bench.settle();
        status(bench, space, file.toString(), ways);
        list(bench, space, directory.toString(), ways.get("listStatus"));
        String path = file.toString();
        measure(bench, space, "getXAttr", () -> ZOLTNative.getXAttr(path, "user.name-0").length,
                ways);
        measure(bench, space, "setTimes", () -> ZOLTNative.setTimes(path, 1500, 1500) ? 1 : 0, ways);
        measure(bench, space, "setPermission",
                () -> ZOLTNative.setPermission(path, (short) 0644) ? 1 : 0, ways);
    }

    @SuppressWarnings("unchecked")
    private static Map<String, Callable<Long>> operations(Class<?> module, String file,
            String directory) throws Exception {
        return (Map<String, Callable<Long>>) module.getMethod("operations", String.class, String.class)
                .invoke(null, file, directory);
    }

    private static void measure(Bench bench, Workspace space, String name, Work library,
            Map<String, Callable<Long>> ways) throws Exception {
        Callable<Long> hadoop = ways.get(name);
        try {
            hadoop.call();
        } catch (UnsupportedOperationException e) {
            bench.leaveOut("Hadoop's " + HADOOP + "." + name + ": it has none");
            return;
        }
        bench.measure(new Case(name + ", Hadoop", space.type, 0, 1).library(library)
                .way(HADOOP, hadoop::call));
    }

    private static void status(Bench bench, Workspace space, String path,
            Map<String, Callable<Long>> ways) throws Exception {
        ByteBuffer record = Workspace.direct(88);
        Work full = () -> ZOLTNative.getFileStatusNative(path, true, true, record, 0, 0, 0, 0) == 1
                ? sizeAndTime(record) : -1;
        measure(bench, space, "getFileStatus", full, ways);
        bench.measure(new Case("getFileStatus and owner, Hadoop", space.type, 0, 1)
                .way(Case.LIBRARY, full, null)
                .way(HADOOP, ways.get("getFileStatus and owner")::call, null));
    }

    private static long sizeAndTime(ByteBuffer record) {
        return record.getLong(8) * 31 + record.getLong(48);
    }

    private static void list(Bench bench, Workspace space, String path, Callable<Long> hadoop)
            throws Exception {
        ByteBuffer page = Workspace.direct(64 << 10);
        ByteBuffer record = Workspace.direct(88);
        bench.measure(new Case("listStatus, Hadoop", space.type, ENTRIES, ENTRIES)
                .library(() -> {
                    long sum = 0;
                    int more;
                    do {
                        more = ZOLTNative.getDirentsNative(path, page, false, false);
                        page.clear();
                        for (int left = page.getInt(); left > 0; left--) {
                            page.position(page.position() + 10); // inode and type
                            byte[] name = new byte[page.getInt()];
                            page.get(name);
                            ZOLTNative.getFileStatusFastNative(path + "/" + new String(name), true,
                                    record, 0, 0);
                            sum += sizeAndTime(record);
                        }
                    } while (more == 1);
                    return sum;
                })
                .way(HADOOP, hadoop::call));
    }
}
