package zolt.test.xattr;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * One of several virtual machines after the same leases. It says when it is ready; then each line of
 * its input is a folder, and its answer the numbers of the files whose leases it got, on one line.
 */
final class LeaseRacer {
    private LeaseRacer() {}

    /** The arguments: how many files 0, 1, ... a folder has, and the racer's name. */
    public static void main(String[] arguments) throws Exception {
        int count = Integer.parseInt(arguments[0]);
        byte[] name = arguments[1].getBytes(StandardCharsets.UTF_8);
        ZOLTNative.setFSConfig(false);
        System.out.println("ready");
        BufferedReader folders = new BufferedReader(new InputStreamReader(System.in));
        for (String folder = folders.readLine(); folder != null; folder = folders.readLine()) {
            StringBuilder won = new StringBuilder();
            for (int i = 0; i < count; i++) {
                if (takes(folder + "/" + i, name)) {
                    won.append(i).append(' ');
                }
            }
            System.out.println(won);
        }
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
