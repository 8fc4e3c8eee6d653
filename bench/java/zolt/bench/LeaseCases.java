package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Leases: taken and given back, read, and renewed. Java's way writes the same two attributes. */
final class LeaseCases {
    private static final byte[] HOLDER = "DFSClient_NONMAPREDUCE_4711_01".getBytes();

    private LeaseCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        Path file = space.file("leased", 0);
        String path = file.toString();
        UserDefinedFileAttributeView view =
                Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
        byte[] stamp = new byte[8];
        bench.measure(new Case("setFileLease and removeFileLease", space.type, 0, 1)
                .floor(() -> {
                    Floor.setLease(path, HOLDER);
                    Floor.removeLease(path);
                    return 1;
                })
                .library(() -> {
                    ZOLTNative.setFileLeaseNative(path, true, HOLDER);
                    ZOLTNative.removeFileLeaseNative(path, true);
                    return 1;
                })
                .way("attribute view", () -> {
                    view.write("lease.holder", ByteBuffer.wrap(HOLDER));
                    view.write("lease.update", ByteBuffer.wrap(stamp));
                    view.delete("lease.holder");
                    view.delete("lease.update");
                    return 1;
                }));
        ZOLTNative.setFileLeaseNative(path, true, HOLDER);
        bench.measure(new Case("getFileLease", space.type, 0, 1)
                .way(Case.FLOOR, () -> Floor.lease(path, 64).length,
                        () -> Arrays.hashCode(Floor.lease(path, 64)))
                .bare(Floor.LEASE, Floor.prepare(path, null, null))
                .way(Case.LIBRARY, () -> read(path).length, () -> Arrays.hashCode(read(path)))
                .goal(Case.FLOOR, 1.06));
        bench.measure(new Case("renewFileLease", space.type, 0, 1)
                .floor(() -> {
                    Floor.renewLease(path);
                    return 1;
                })
                .library(() -> {
                    ZOLTNative.renewFileLeaseNative(path, true);
                    return 1;
                })
                .way("attribute view", () -> view.write("lease.update", ByteBuffer.wrap(stamp)) > 0
                        ? 1 : 0));
    }

    private static byte[] read(String path) throws Exception {
        return ZOLTNative.getFileLeaseNative(path, true, 64, Long.MAX_VALUE);
    }
}
