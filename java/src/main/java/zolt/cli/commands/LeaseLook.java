package zolt.cli.commands;

import java.io.IOException;
import java.time.Duration;
import java.time.Instant;
import java.util.Arrays;
import zolt.cli.output.Json;
import zolt.fs.FileStatus;
import zolt.fs.Lease;

/** A lease as it was found: who holds it, and since when it was not renewed. */
final class LeaseLook {
    /** Times of files may be whole seconds. */
    private static final Duration COARSEST = Duration.ofSeconds(1);

    final String path;
    /** Null where no lease is held, or was until it was looked at. */
    final byte[] holder;
    final boolean half;
    final boolean removed;
    final Instant renewed;
    /** In seconds. */
    final long age;

    /** Whether it was not renewed within the time that was asked about. */
    final boolean old;

    private LeaseLook(String path) {
        this(path, null, false, false, false, null, 0);
    }

    private LeaseLook(String path, byte[] holder, boolean half, boolean old, boolean removed, Instant renewed, long age) {
        this.path = path;
        this.holder = holder;
        this.half = half;
        this.old = old;
        this.removed = removed;
        this.renewed = renewed;
        this.age = age;
    }

    /**
     * Looks at the lease of a file, and removes one that was not renewed within a time. A renewal moves the
     * file's change time, which is finer than the lease's own clock; but any other change moves it too, and the clock
     * none.
     *
     * @param time null to remove none
     */
    static LeaseLook of(String path, FileStatus status, Duration time) throws IOException {
        return of(path, null, status, time, time != null, false);
    }

    /**
     * The same for one holder alone, or for all where that is null; halves of leases count as such.
     *
     * @param time null for any
     * @param remove whether those that are old are to be removed
     */
    static LeaseLook withHalves(String path, byte[] wanted, FileStatus status, Duration time, boolean remove)
            throws IOException {
        return of(path, wanted, status, time, remove, true);
    }

    private static LeaseLook of(String path, byte[] wanted, FileStatus status, Duration time, boolean remove, boolean halves)
            throws IOException {
        Lease lease = Lease.of(path);
        byte[] holder = lease.holder(Lease.NEVER).orElse(null);
        boolean half = halves && holder == null && wanted == null && lease.isHalf();
        if (holder == null && !half || wanted != null && !Arrays.equals(wanted, holder)) {
            return new LeaseLook(path);
        }
        status.readFast(path);
        Instant now = Instant.now();
        Duration unchanged = Duration.between(status.changeTime(), now);
        Duration byClock = half ? unchanged : lease.leastAge();
        boolean longUnchanged = time != null && unchanged.compareTo(time.plus(COARSEST)) > 0;
        boolean old = longUnchanged || time != null && !half && byClock.compareTo(seconds(time)) > 0;
        boolean removed = longUnchanged && remove;
        if (removed) {
            lease.remove();
        } else if (remove && !half) {
            removed = !lease.holder(Lease.limitFor(time)).isPresent();
        }
        Duration age = byClock.compareTo(unchanged) > 0 ? byClock : unchanged;
        Instant renewed = byClock.compareTo(unchanged) > 0 ? now.minus(byClock) : status.changeTime();
        return new LeaseLook(path, holder, half, old, removed, renewed, Math.max(0, age.getSeconds()));
    }

    /** As {@link Lease#limitFor} counts: those begun. */
    private static Duration seconds(Duration time) {
        return Duration.ofSeconds(time.getNano() > 0 ? time.getSeconds() + 1 : time.getSeconds());
    }

    boolean isHeld() {
        return holder != null && !removed;
    }

    Json object() {
        Json object = new Json().put("path", path);
        if (holder != null) {
            object.put("holder", holder);
        }
        return object.put("renewed", renewed.toString()).put("age", age);
    }
}
