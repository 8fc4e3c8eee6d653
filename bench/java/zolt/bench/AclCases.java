package zolt.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The ACL status: of 3, 10 and 100 entries, and of a directory. */
final class AclCases {
    private AclCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        for (int entries : new int[] {3, 10, 100}) {
            Path file = space.file("acl-" + entries, 0);
            if (entries > AclSpec.BASE) {
                ZOLTNative.setAcl(file.toString(), AclSpec.of(AclSpec.ACCESS, entries));
            }
            measure(bench, space, file, entries, false);
        }
        Path directory = Files.createDirectory(space.folder.resolve("acl-directory"));
        ZOLTNative.setAcl(directory.toString(), AclSpec.of(AclSpec.ACCESS, 10));
        ZOLTNative.setAcl(directory.toString(), AclSpec.of(AclSpec.DEFAULT, 10));
        measure(bench, space, directory, 20, true);
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
