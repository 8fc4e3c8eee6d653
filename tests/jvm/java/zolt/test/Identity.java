package zolt.test;

import static org.junit.jupiter.api.Assertions.assertNotEquals;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.function.Executable;

/** The identity that the kernel has for the calling thread. */
public record Identity(long fsuid, long fsgid, List<Long> groups) {
    public static Identity now() {
        List<String> status;
        try {
            status = Files.readAllLines(Path.of("/proc/thread-self/status"));
        } catch (IOException e) {
            throw new AssertionError(e);
        }
        // Real, effective, saved and file-system id.
        return new Identity(numbers(status, "Uid:").get(3), numbers(status, "Gid:").get(3),
                numbers(status, "Groups:"));
    }

    private static List<Long> numbers(List<String> status, String key) {
        String line = status.stream().filter(each -> each.startsWith(key)).findFirst().orElseThrow();
        return Arrays.stream(line.substring(key.length()).trim().split("\\s+"))
                .filter(each -> !each.isEmpty())
                .map(Long::valueOf)
                .collect(Collectors.toList());
    }

    /** Runs a body on a thread of its own, since groups that it sets stay with the thread. */
    public static void onThread(Executable body) throws Throwable {
        FutureTask<Void> task = new FutureTask<>(() -> {
            try {
                body.execute();
            } catch (Exception | Error e) {
                throw e;
            } catch (Throwable e) {
                throw new AssertionError(e);
            }
            return null;
        });
        new Thread(task).start();
        try {
            task.get();
        } catch (ExecutionException e) {
            throw e.getCause();
        }
    }

    /**
     * What a call comes to with the rights of a user. The body should not do more: what Java loads on
     * the way is loaded with these rights too.
     */
    public static <T> T as(String user, Callable<T> body) throws Exception {
        long handle = ZOLTNative.setFsUid(user);
        assertNotEquals(0, handle);
        try {
            return body.call();
        } finally {
            ZOLTNative.setFsUid(handle);
        }
    }
}
