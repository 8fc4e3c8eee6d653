package zolt.test.identity;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Identity;
import zolt.test.Level;
import zolt.test.Log;

/** Many threads that act as many users at once: each sees its own rights, all the time. */
class ManyCallersTest {
    private static final int USERS = 10;
    private static final int THREADS = 64;
    /** Long where logging does not take most of the time. */
    private static final int SECONDS = Log.javaLevel() == Level.OFF ? 10 : 2;
    private static final int FIRST_ID = 70100;

    @TempDir Path dir;

    /** A file in a directory that only its owner may search. */
    private Path secretOf(int user) {
        return dir.resolve("user" + user).resolve("file");
    }

    private void prepare() throws Exception {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        for (int user = 0; user < USERS; user++) {
            Path own = Files.createDirectory(dir.resolve("user" + user));
            Files.writeString(secretOf(user), "x".repeat(user + 1));
            Files.setPosixFilePermissions(own, PosixFilePermissions.fromString("rwx------"));
            Files.setAttribute(own, "unix:uid", FIRST_ID + user);
            Files.setAttribute(own, "unix:gid", FIRST_ID + user);
        }
    }

    /** A call as one user on a file of another: the size found, or -1 where access was denied. */
    private static long sizeOf(Path file, boolean fast, ByteBuffer buffer) {
        try {
            if (fast) {
                ZOLTNative.getFileStatusFastNative(file.toString(), true, buffer, 0, 0);
            } else {
                ZOLTNative.getFileStatusNative(file.toString(), true, true, buffer, 0, 0, 0, 0);
            }
            return buffer.getLong(8);
        } catch (Throwable e) {
            return e instanceof AccessDeniedException ? -1 : -2;
        }
    }

    private String work(int thread, long deadline) throws Exception {
        ByteBuffer buffer = ByteBuffer.allocateDirect(88).order(ByteOrder.nativeOrder());
        for (int user = 0; user < USERS; user++) {
            Faults.user("user" + user, FIRST_ID + user, FIRST_ID + user, 0);
        }
        Identity before = Identity.now();
        for (int round = 0; System.nanoTime() < deadline; round++) {
            int user = (thread + round) % USERS;
            int other = (user + 1 + round % (USERS - 1)) % USERS;
            boolean fast = round % 2 == 0;
            long handle = ZOLTNative.setFsUid("user" + user);
            Identity switched = Identity.now();
            long own = sizeOf(secretOf(user), fast, buffer);
            Identity still = Identity.now();
            long others = sizeOf(secretOf(other), false, buffer);
            long again = sizeOf(secretOf(user), !fast, buffer);
            // Last, since at trace its diagnosis ends with the service's own identity.
            long othersFast = sizeOf(secretOf(other), true, buffer);
            ZOLTNative.setFsUid(handle);
            long id = FIRST_ID + user;
            Identity wanted = new Identity(id, id, List.of(id)); // groups of no other thread's user
            if (!switched.equals(wanted) || !still.equals(wanted)) {
                return "as " + user + ": " + switched + ", then " + still;
            }
            if (own != user + 1 || others != -1 || again != user + 1 || othersFast != -1) {
                return "as " + user + ": own " + own + " and " + again + ", of " + other + ": "
                        + others + " and " + othersFast;
            }
            Log.clear();
        }
        Identity after = Identity.now();
        return before.fsuid() == after.fsuid() && before.fsgid() == after.fsgid() ? "" : "" + after;
    }

    @Test
    void eachSeesItsOwnRights() throws Exception {
        prepare();
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        try {
            List<Callable<String>> tasks = new ArrayList<>();
            long deadline = System.nanoTime() + SECONDS * 1_000_000_000L;
            for (int t = 0; t < THREADS; t++) {
                int thread = t;
                tasks.add(() -> work(thread, deadline));
            }
            for (Future<String> result : pool.invokeAll(tasks)) {
                assertEquals("", result.get());
            }
            Descriptors.expectNone(dir);
        } finally {
            pool.shutdown();
        }
    }
}
