package zolt.bench;

import java.nio.file.FileStore;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Configuration, mounts, the record's layout, and the failed path, which only a trace looks for. */
final class ConfigCases {
    private static final long BLOCK = 128 << 20;

    private ConfigCases() {}

    static void add(Bench bench) throws Exception {
        ErrorCases errors = new ErrorCases(bench, "-");
        bench.measure(newCase("setFSConfig")
                .floor(() -> Floor.fsConfig(false))
                .library(() -> ZOLTNative.setFSConfig(false)));
        bench.measure(newCase("setDefaultBlockSizeReplication")
                .floor(() -> {
                    Floor.defaults(BLOCK, 3);
                    return 1;
                })
                .library(() -> {
                    ZOLTNative.setDefaultBlockSizeReplication(BLOCK, 3);
                    return 1;
                }));
        errors.measure("setDefaultBlockSizeReplication", () -> {
            Floor.defaults(0, 0);
            return 1;
        }, () -> {
            ZOLTNative.setDefaultBlockSizeReplication(0, 0);
            return 1;
        });
        bench.measure(newCase("getFileStatusFormat")
                .floor(() -> Arrays.hashCode(Floor.format()))
                .library(() -> Arrays.hashCode(ZOLTNative.getFileStatusFormatNative())));
        mounts(bench, errors);
        failedPath(bench, errors);
    }

    private static void mounts(Bench bench, ErrorCases errors) throws Exception {
        Path root = Path.of("/proc");
        FileStore store = Files.getFileStore(root);
        String point = root.toString();
        String type = store.type();
        bench.measure(newCase("getFsName")
                .floor(() -> Floor.fsName(point, type).hashCode())
                .library(() -> ZOLTNative.getFsName(point, type).hashCode())
                .way("FileStore.name", () -> Files.getFileStore(root).name().hashCode()));
        errors.measure("getFsName", () -> Floor.fsName(point, "none").length(),
                () -> ZOLTNative.getFsName(point, "none").length());
    }

    private static void failedPath(Bench bench, ErrorCases errors) throws Exception {
        bench.measure(newCase("getFailedPath")
                .floor(() -> {
                    Floor.failedPath("/missing/file");
                    return 1;
                })
                .library(() -> {
                    ZOLTNative.getFailedPathNative("/missing/file", true);
                    return 1;
                }));
        errors.measure("getFailedPath", () -> {
            Floor.failedPath(null);
            return 1;
        }, () -> {
            ZOLTNative.getFailedPathNative(null, true);
            return 1;
        });
    }

    private static Case newCase(String name) {
        return new Case(name, "-", 0, 1);
    }
}
