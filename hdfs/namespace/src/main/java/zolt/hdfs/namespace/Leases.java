package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.time.Duration;
import java.util.Optional;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import zolt.fs.Lease;
import zolt.fs.LeaseHeldException;

/**
 * Who writes a file: its lease, which is kept with the file itself, so that any NameNode knows it at any time. The calls
 * act with the service's rights on a file that is held open: the caller has been let in before.
 *
 * <p>A process may end between any two steps. So the session is there before the lease is taken, and until it is gone; and
 * what is to be done to the file last is done before the lease goes.
 */
final class Leases {
    private static final byte[] UPDATE = "user.lease.update".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] ASK_SIZE = {};
    private static final long MILLION = 1_000_000;

    private final Holders holders;
    private final Locks locks;
    private final Duration softLimit;
    private final Duration hardLimit;

    Leases(Holders holders, Locks locks, Duration softLimit, Duration hardLimit) {
        this.holders = holders;
        this.locks = locks;
        this.softLimit = softLimit;
        this.hardLimit = hardLimit;
    }

    /** What is done to a file while nobody can take its lease. */
    @FunctionalInterface
    interface Change {
        Change NONE = () -> { };

        void run() throws IOException;
    }

    /** The lease of a file. */
    Optional<HeldLease> of(int file) throws IOException {
        try (Acting own = Acting.service()) {
            return HeldLease.of(file);
        }
    }

    /** Whether the thread can tell, with the rights that it has, that nobody writes a file. */
    boolean isFree(int file) {
        return HeldLease.isAbsent(NativeFiles.getAttribute(name(file), HeldLease.HOLDER, ASK_SIZE));
    }

    /** The lease of a file. That of a holder who was not heard of for the hard limit is ended by this look. */
    Optional<HeldLease> look(int file) throws IOException {
        try (Acting own = Acting.service()) {
            Optional<HeldLease> held = HeldLease.of(file);
            if (held.isEmpty() || !isExpired(file, held.get(), hardLimit)) {
                return held;
            }
            try (Locks.Hold lock = lock(file)) {
                return unlessExpired(file, hardLimit);
            }
        }
    }

    /**
     * Takes the lease for a client, or finds that the same call has taken it before. That of a holder who was not heard of
     * for the soft limit is ended first: what was written stays.
     *
     * @param provisional whether the end of the session shall cut the file
     * @param what the call and the path, for the message
     * @throws AlreadyBeingCreatedException when the file is being written
     * @throws FileNotFoundException when the file has no name any more: what is written would be lost
     */
    Session take(int file, OpenFiles.Writer writer, boolean provisional, String what) throws IOException {
        try (Acting own = Acting.service(); Locks.Hold lock = lock(file)) {
            Optional<HeldLease> held = unlessExpired(file, softLimit);
            if (held.isPresent() && held.get().isOf(writer)) {
                return held.get().known();
            }
            refuse(held, writer, what);
            Entry entry = Entry.of(file);
            if (entry.links() == 0) {
                throw new FileNotFoundException("File does not exist: " + what);
            }
            Session session = new Session(entry.size(), writer.call(), provisional);
            holders.touch(writer.client());
            set(file, session);
            hold(file, writer.client(), what);
            return session;
        }
    }

    private static void refuse(Optional<HeldLease> held, OpenFiles.Writer writer, String what)
            throws AlreadyBeingCreatedException {
        if (held.isPresent()) {
            String holder = held.get().holder();
            throw new AlreadyBeingCreatedException(what + " because " + (holder.equals(writer.client())
                    ? holder + " is already the current lease holder."
                    : "this file lease is currently owned by " + holder));
        }
    }

    private static void hold(int file, String client, String what) throws IOException {
        Lease lease = Lease.of(NativeFiles.nameOf(file));
        try {
            lease.set(client);
        } catch (LeaseHeldException half) {
            // The time of a lease without its holder: a process ended while it removed the two.
            remove(file, UPDATE);
            try {
                lease.set(client);
            } catch (LeaseHeldException e) {
                throw new AlreadyBeingCreatedException(what + " because another program was faster");
            }
        }
    }

    /** Changes a file that nobody writes, with the rights of the caller. */
    void whileUnwritten(int file, OpenFiles.Writer writer, String what, Change change) throws IOException {
        try (Locks.Hold lock = lock(file)) {
            try (Acting own = Acting.service()) {
                refuse(unlessExpired(file, softLimit), writer, what);
            }
            change.run();
        }
    }

    /** Changes a file that has no lease, with the rights of the caller; one that has stays as it is. */
    void unlessLeased(int file, Change change) throws IOException {
        try (Locks.Hold lock = lock(file)) {
            if (of(file).isEmpty()) {
                change.run();
            }
        }
    }

    /**
     * Ends a session.
     *
     * @param last is done before, with the rights of the caller
     * @throws org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException when it has ended: another one may have begun
     */
    void end(int file, Session session, Change last) throws IOException {
        try (Locks.Hold lock = lock(file)) {
            HeldLease held = requireHeld(file, session);
            last.run();
            clear(file, held);
        }
    }

    /** From now on a file keeps what stands before a size, also when the end of the provisional session cuts it. */
    void keep(int file, Session session, long size) throws IOException {
        try (Locks.Hold lock = lock(file); Acting own = Acting.service()) {
            requireHeld(file, session);
            set(file, new Session(size, session.id(), session.provisional()));
        }
    }

    private HeldLease requireHeld(int file, Session session) throws IOException {
        return of(file).filter(lease -> lease.isOf(session.id()))
                .orElseThrow(() -> ServerExceptions.leaseExpired("The lease was lost: the file is another's by now"));
    }

    /** Ends a session unless it has ended. */
    void endIfHeld(int file, Session session) throws IOException {
        try (Locks.Hold lock = lock(file)) {
            Optional<HeldLease> held = of(file).filter(lease -> lease.isOf(session.id()));
            if (held.isPresent()) {
                clear(file, held.get());
            }
        }
    }

    /** Ends whichever session there is. */
    void endAny(int file) throws IOException {
        try (Locks.Hold lock = lock(file)) {
            Optional<HeldLease> held = of(file);
            if (held.isPresent()) {
                clear(file, held.get());
            }
        }
    }

    /** Under the lock of the file. */
    private Optional<HeldLease> unlessExpired(int file, Duration limit) throws IOException {
        Optional<HeldLease> held = HeldLease.of(file);
        if (held.isPresent() && isExpired(file, held.get(), limit)) {
            clear(file, held.get());
            return Optional.empty();
        }
        return held;
    }

    /** Every change of the file counts as a sign of life too. */
    private boolean isExpired(int file, HeldLease held, Duration limit) throws IOException {
        long last = Math.max(Entry.of(file).changeNanos() / MILLION, holders.lastSeen(held.holder()));
        return System.currentTimeMillis() - last > limit.toMillis();
    }

    /** Under the lock of the file. A file that was removed takes its lease along. */
    private static void clear(int file, HeldLease held) throws IOException {
        if (Entry.of(file).links() == 0) {
            return;
        }
        if (held.session().isPresent() && held.session().get().provisional()) {
            cut(file, held.session().get().start());
        }
        try (Acting own = Acting.service()) {
            remove(file, HeldLease.HOLDER);
            remove(file, UPDATE);
            remove(file, Session.ATTRIBUTE);
        }
    }

    private static void cut(int file, long size) throws IOException {
        try (Acting own = Acting.onData();
                FileChannel channel = FileChannel.open(Path.of(NativeFiles.nameOf(file)), StandardOpenOption.WRITE)) {
            if (size < channel.size()) {
                channel.truncate(size);
                channel.force(true);
            }
        }
    }

    private static void set(int file, Session session) throws SystemCallException {
        SystemCallException.check(NativeFiles.setAttribute(name(file), Session.ATTRIBUTE, session.toBytes(), 0),
                "the session of the lease");
    }

    private static void remove(int file, byte[] attribute) throws SystemCallException {
        int result = NativeFiles.removeAttribute(name(file), attribute);
        if (!HeldLease.isAbsent(result)) {
            SystemCallException.check(result, "the lease");
        }
    }

    private Locks.Hold lock(int file) throws IOException {
        return locks.hold(Entry.of(file).inode());
    }

    private static byte[] name(int file) {
        return NativeFiles.nameOf(file).getBytes(StandardCharsets.US_ASCII);
    }
}
