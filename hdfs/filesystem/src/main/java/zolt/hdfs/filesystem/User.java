package zolt.hdfs.filesystem;

import java.io.IOException;
import java.util.concurrent.TimeUnit;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Caller;
import zolt.hdfs.namespace.Callers;

/**
 * The user for whom a file system was made. Its ids are asked for now and then, as the service does; the kernel checks
 * each access against them.
 */
final class User {
    private final String name;
    private final long nanos;
    private volatile Known known;

    private record Known(Caller caller, long until) {}

    /** @param seconds how long what the user database says holds */
    User(String name, int seconds) {
        this.name = name;
        nanos = TimeUnit.SECONDS.toNanos(seconds);
    }

    String name() {
        return name;
    }

    /**
     * Has the calling thread act as the user, until the scope is closed.
     *
     * @throws org.apache.hadoop.security.AccessControlException for a user whom the system does not know, or for whom
     *     this process may not act
     */
    Acting acting() throws IOException {
        Known now = known;
        if (now == null || System.nanoTime() - now.until > 0) {
            now = new Known(Callers.guest(name), System.nanoTime() + nanos);
            known = now;
        }
        return Acting.asGuest(now.caller);
    }
}
