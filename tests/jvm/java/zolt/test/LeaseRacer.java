package zolt.test;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * One of several virtual machines after the same leases. It says when it is ready, starts with the
 * next line of its input, and prints the number of each file whose lease it got.
 */
final class LeaseRacer {
    private LeaseRacer() {}

    /** The arguments: the folder of the files 0, 1, ..., their number, and the racer's name. */
    public static void main(String[] arguments) throws Exception {
        Path folder = Path.of(arguments[0]);
        int count = Integer.parseInt(arguments[1]);
        byte[] name = arguments[2].getBytes(StandardCharsets.UTF_8);
        ZOLTNative.setFSConfig(false);
        System.out.println("ready");
        System.in.read();
        StringBuilder won = new StringBuilder();
        for (int i = 0; i < count; i++) {
            if (takes(folder.resolve("" + i).toString(), name)) {
                won.append(i).append('\n');
            }
        }
        System.out.print(won);
    }

    private static boolean takes(String file, byte[] name) throws Exception {
        try {
            take(file, name);
            return true;
        } catch (IOException e) {
            if (!"File exists: user.lease.holder already exists".equals(e.getMessage())) {
                throw e;
            }
            return false;
        }
    }

    // The natives raise checked exceptions that they do not declare.
    private static void take(String file, byte[] name) throws IOException {
        ZOLTNative.setFileLeaseNative(file, false, name);
    }
}
