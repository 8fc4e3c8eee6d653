package zolt.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Identity switches with databases of ten and of ten thousand users. The databases are the files
 * that the script of the benchmark has mounted over the system's for this process alone.
 */
final class IdentityCases {
    private static final int FIRST_ID = 20_000;

    private IdentityCases() {}

    static void add(Bench bench) throws Exception {
        String folder = System.getProperty("zolt.bench.accounts");
        if (folder == null) {
            bench.leaveOut("databases of ten and ten thousand users: that takes a mount namespace");
            measure(bench, "nobody", 0);
            return;
        }
        for (int users : new int[] {10, 10_000}) {
            write(Path.of(folder), users);
            measure(bench, "user" + (users - 1), users);
        }
    }

    private static void write(Path folder, int users) throws IOException {
        StringBuilder passwd = new StringBuilder("root:x:0:0:root:/root:/bin/sh\n");
        StringBuilder group = new StringBuilder("root:x:0:\n");
        for (int i = 0; i < users; i++) {
            int id = FIRST_ID + i;
            passwd.append("user" + i + ":x:" + id + ":" + id + "::/home/user" + i + ":/bin/sh\n");
            group.append("user" + i + ":x:" + id + ":user" + (i + 1) % users + "\n");
        }
        Files.writeString(folder.resolve("passwd"), passwd);
        Files.writeString(folder.resolve("group"), group);
    }

    private static void measure(Bench bench, String user, int users) throws Exception {
        bench.measure(new Case("identity switch and restore", "-", users, 1)
                .floor(() -> {
                    Floor.restore(Floor.identity(user));
                    return 1;
                })
                .library(() -> {
                    ZOLTNative.setFsUid(ZOLTNative.setFsUid(user));
                    return 1;
                })
                .goal(Case.FLOOR, 1.05));
    }
}
