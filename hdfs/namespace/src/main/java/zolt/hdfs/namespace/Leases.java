package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.Optional;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import zolt.fs.Lease;

/**
 * Who writes a file: its lease, which is kept with the file itself, so that any NameNode knows it at any time. The calls
 * act with the service's rights on a file that is held open: the caller has been let in before.
 */
final class Leases {
    /** Where the file ended when it was opened to append: the first block starts there. */
    private static final byte[] START = "user.zolt.start".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] HOLDER = "user.lease.holder".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] ASK_SIZE = {};
    private static final int MOST_NAME = 4096;
    private static final int MOST_DIGITS = 20;
    private static final long MILLION = 1_000_000;

    private final Holders holders;
    private final Duration softLimit;
    private final Duration hardLimit;

    Leases(Holders holders, Duration softLimit, Duration hardLimit) {
        this.holders = holders;
        this.softLimit = softLimit;
        this.hardLimit = hardLimit;
    }

    /** The client that has a file open for writing. Asked of the kernel itself: that there is none is no error. */
    Optional<String> holder(String file) throws IOException {
        byte[] name = new byte[MOST_NAME];
        int length;
        try (Acting own = Acting.service()) {
            length = NativeFiles.getAttribute(bytes(file), HOLDER, name);
        }
        if (length == -SystemCallException.ENODATA || length == -SystemCallException.EOPNOTSUPP) {
            return Optional.empty();
        }
        SystemCallException.check(length, "the lease");
        return Optional.of(new String(name, 0, length, StandardCharsets.UTF_8));
    }

    /** Whether the thread can tell, with the rights that it has, that nobody writes a file. */
    boolean isFree(String file) {
        int length = NativeFiles.getAttribute(bytes(file), HOLDER, ASK_SIZE);
        return length == -SystemCallException.ENODATA || length == -SystemCallException.EOPNOTSUPP;
    }

    /**
     * Takes the lease for a client. One whose holder was not heard of for the soft limit is ended first: what was
     * written stays.
     *
     * @param what the call and the path, for the message
     * @throws AlreadyBeingCreatedException when the file is being written
     */
    void take(WritableFile file, String client, String what) throws IOException {
        try (Acting own = Acting.service()) {
            Optional<String> holder = holder(file.name());
            if (holder.isPresent()) {
                refuseOrEnd(file, holder.get(), client, what);
            }
            try {
                Lease.of(file.name()).set(client);
            } catch (IOException e) {
                if (Errors.of(e) == SystemCallException.EEXIST) {
                    throw new AlreadyBeingCreatedException(what + " because another client was faster");
                }
                throw e;
            }
        }
    }

    private void refuseOrEnd(WritableFile file, String holder, String client, String what) throws IOException {
        if (holder.equals(client)) {
            throw new AlreadyBeingCreatedException(what + " because " + client + " is already the current lease holder.");
        }
        if (!isExpired(file.entry(), holder, softLimit)) {
            throw new AlreadyBeingCreatedException(what + " because this file lease is currently owned by " + holder);
        }
        end(file.name());
    }

    /** Whether a holder was not heard of for the hard limit, so that anybody's look at the file ends the lease. */
    boolean isDead(Entry entry, String holder) throws IOException {
        return isExpired(entry, holder, hardLimit);
    }

    /** Every change of the file counts as a sign of life too. */
    private boolean isExpired(Entry entry, String holder, Duration limit) throws IOException {
        long last = Math.max(entry.changeNanos() / MILLION, holders.lastSeen(holder));
        return System.currentTimeMillis() - last > limit.toMillis();
    }

    void end(String file) throws IOException {
        try (Acting own = Acting.service()) {
            NativeFiles.removeAttribute(bytes(file), START);
            Lease.of(file).remove();
        }
    }

    void setStart(String file, long start) throws IOException {
        try (Acting own = Acting.service()) {
            SystemCallException.check(NativeFiles.setAttribute(bytes(file), START,
                    Long.toString(start).getBytes(StandardCharsets.US_ASCII), 0), "where the file ended");
        }
    }

    /** Where the writer's first block starts. */
    long start(String file) throws IOException {
        byte[] digits = new byte[MOST_DIGITS];
        int length;
        try (Acting own = Acting.service()) {
            length = NativeFiles.getAttribute(bytes(file), START, digits);
        }
        if (length == -SystemCallException.ENODATA) {
            return 0;
        }
        SystemCallException.check(length, "where the file ended");
        return Long.parseLong(new String(digits, 0, length, StandardCharsets.US_ASCII));
    }

    private static byte[] bytes(String path) {
        return path.getBytes(StandardCharsets.UTF_8);
    }
}
