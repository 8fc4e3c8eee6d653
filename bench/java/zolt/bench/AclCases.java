package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The ACL status: of 3, 10 and 100 entries, and of a directory. */
final class AclCases {
    private static final int ACCESS = 32768;
    private static final int DEFAULT = 16384;
    private static final int USER_OBJ = 1;
    private static final int USER = 2;
    private static final int GROUP_OBJ = 4;
    private static final int MASK = 16;
    private static final int OTHER = 32;
    private static final int BASE = 4; // of an extended list: the owner's three, and the mask

    private AclCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        for (int entries : new int[] {3, 10, 100}) {
            Path file = space.file("acl-" + entries, 0);
            if (entries > BASE) {
                ZOLTNative.setAcl(file.toString(), spec(ACCESS, entries));
            }
            measure(bench, space, file, entries, false);
        }
        Path directory = Files.createDirectory(space.folder.resolve("acl-directory"));
        ZOLTNative.setAcl(directory.toString(), spec(ACCESS, 10));
        ZOLTNative.setAcl(directory.toString(), spec(DEFAULT, 10));
        measure(bench, space, directory, 20, true);
    }

    private static byte[] spec(int scope, int entries) {
        ByteBuffer out = ByteBuffer.allocate(4 + 16 * entries).order(ByteOrder.nativeOrder());
        out.putInt(entries);
        out.putInt(scope).putInt(USER_OBJ).putInt(6);
        for (int i = 0; i < entries - BASE; i++) {
            out.putInt(scope).putInt(USER).putInt(5000 + i).putInt(4);
        }
        out.putInt(scope).putInt(GROUP_OBJ).putInt(4);
        out.putInt(scope).putInt(MASK).putInt(6);
        out.putInt(scope).putInt(OTHER).putInt(0);
        return Arrays.copyOf(out.array(), out.position());
    }

    private static long getfacl(String path) throws IOException, InterruptedException {
        Process process = new ProcessBuilder("getfacl", "-cpn", path).start();
        long length = process.getInputStream().readAllBytes().length;
        process.waitFor();
        return length;
    }

    private static void measure(Bench bench, Workspace space, Path file, int entries,
            boolean isDirectory) throws Exception {
        String path = file.toString();
        String name = isDirectory ? "getAclStatus, directory"
                : entries == 3 ? "getAclStatus, plain" : "getAclStatus, extended";
        Case status = new Case(name, space.type, entries, 1)
                .way(Case.FLOOR, () -> Floor.acl(path, isDirectory).length,
                        () -> Arrays.hashCode(Floor.acl(path, isDirectory)))
                .way(Case.LIBRARY, () -> ZOLTNative.getAclStatus(path, isDirectory).length,
                        () -> Arrays.hashCode(ZOLTNative.getAclStatus(path, isDirectory)))
                .goal(Case.FLOOR, 1.20);
        if (!isDirectory) {
            status.bare(Floor.ACL, Floor.prepare(path, null, null));
        }
        bench.measure(status);
        if (entries == 10) { // a process takes milliseconds: apart, or there would be few rounds
            bench.measure(new Case("getAclStatus and a getfacl", space.type, entries, 1)
                    .way(Case.LIBRARY, () -> ZOLTNative.getAclStatus(path, isDirectory).length)
                    .way("getfacl process", () -> getfacl(path), null)
                    .wallGoal("getfacl process", 0.01));
        }
    }
}
