package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Optional;

/**
 * The lease of a file, as the file has it.
 *
 * @param holder the client that writes
 * @param session nothing where another program has taken the lease, or has changed what stands beside it
 */
public record HeldLease(String holder, Optional<Session> session) {
    static final byte[] HOLDER = "user.lease.holder".getBytes(StandardCharsets.US_ASCII);

    private static final int USUAL_BYTES = 256;
    /** Linux has no longer values. */
    private static final int MOST_BYTES = 1 << 16;

    /** The lease of an open file, asked for with the thread's rights; nothing when nobody writes the file. */
    public static Optional<HeldLease> of(int descriptor) throws IOException {
        byte[] file = NativeFiles.nameOf(descriptor).getBytes(StandardCharsets.US_ASCII);
        byte[] value = new byte[USUAL_BYTES];
        int length = NativeFiles.getAttribute(file, HOLDER, value);
        if (length == -SystemCallException.ERANGE) {
            value = new byte[MOST_BYTES];
            length = NativeFiles.getAttribute(file, HOLDER, value);
        }
        if (isAbsent(length)) {
            return Optional.empty();
        }
        SystemCallException.check(length, "the lease");
        String holder = new String(value, 0, length, StandardCharsets.UTF_8);
        return Optional.of(new HeldLease(holder, session(file)));
    }

    private static Optional<Session> session(byte[] file) throws SystemCallException {
        byte[] value = new byte[Session.MOST_BYTES];
        int length = NativeFiles.getAttribute(file, Session.ATTRIBUTE, value);
        if (isAbsent(length) || length == -SystemCallException.ERANGE) {
            return Optional.empty();
        }
        return Session.of(value, SystemCallException.check(length, "the session of the lease"));
    }

    /** Whether the answer says that there is no such attribute. */
    static boolean isAbsent(int answer) {
        return answer == -SystemCallException.ENODATA || answer == -SystemCallException.EOPNOTSUPP;
    }

    /** Whether this is the lease that a call took. */
    boolean isOf(OpenFiles.Writer writer) {
        return holder.equals(writer.client()) && isOf(writer.call());
    }

    /** Whether it is the lease of a session. */
    public boolean isOf(String id) {
        return session.isPresent() && session.get().id().equals(id);
    }

    /** The session; where it began is never guessed. */
    Session known() throws IOException {
        return session.orElseThrow(() -> new IOException("The lease of " + holder
                + " was not taken here, or its attribute was changed: it is to be recovered before the file is written"));
    }
}
