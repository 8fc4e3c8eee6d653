package zolt.fs;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

/** Which ids there are in the user namespace of this process (user_namespaces(7)). */
final class UserNamespace {
    private static final String ALL = "0 0 4294967295";

    private UserNamespace() {}

    /** Whether every id is one here, as outside of all namespaces. */
    static boolean hasAllIds() {
        return has("uid_map") && has("gid_map");
    }

    private static boolean has(String map) {
        try {
            return read("/proc/thread-self/" + map).replaceAll("\\s+", " ").equals(ALL);
        } catch (IOException e) {
            return true; // of a kernel without such namespaces
        }
    }

    /** Whether one of the ids is that which stands for all that have none. */
    static boolean isOverflow(long uid, long gid) throws IOException {
        return uid == Long.parseLong(read("/proc/sys/kernel/overflowuid"))
                || gid == Long.parseLong(read("/proc/sys/kernel/overflowgid"));
    }

    /** The one line; what sysctl(8) shows is there at once, and not a byte at a time. */
    private static String read(String file) throws IOException {
        try (BufferedReader in = Files.newBufferedReader(Paths.get(file), StandardCharsets.US_ASCII)) {
            return String.valueOf(in.readLine()).trim();
        }
    }
}
