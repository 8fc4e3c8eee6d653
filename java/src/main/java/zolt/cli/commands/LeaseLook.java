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

    private LeaseLook(String path, byte[] holder, boolean half, boolean removed, Instant renewed, long age) {
        this.path = path;
        this.holder = holder;
        this.half = half;
        this.removed = removed;
        this.renewed = renewed;
        this.age = age;
    }

    /**
     * Looks at the lease of a file, and removes one that was not renewed within a time. A renewal moves the
     * file's change time, which is finer than the lease's own clock.
     *
     * @param time null to remove none
     */
    static LeaseLook of(String path, FileStatus status, Duration time) throws IOException {
        return of(path, null, status, time, false);
    }

    /** The same for one holder alone, or for all where that is null; halves of leases count as such. */
    static LeaseLook withHalves(String path, byte[] wanted, FileStatus status, Duration time)
            throws IOException {
        return of(path, wanted, status, time, true);
    }

    private static LeaseLook of(String path, byte[] wanted, FileStatus status, Duration time, boolean halves)
            throws IOException {
        Lease lease = Lease.of(path);
        byte[] holder = lease.holder(Lease.NEVER).orElse(null);
        boolean half = halves && holder == null && wanted == null && lease.isHalf();
        if (holder == null && !half || wanted != null && !Arrays.equals(wanted, holder)) {
            return new LeaseLook(path, null, false, false, null, 0);
        }
        status.readFast(path);
        Duration age = Duration.between(status.changeTime(), Instant.now());
        boolean removed = time != null && age.compareTo(time.plus(COARSEST)) > 0;
        if (removed) {
            lease.remove();
        } else if (time != null && holder != null) {
            removed = !lease.holder(Lease.limitFor(time)).isPresent();
        }
        return new LeaseLook(path, holder, half, removed, status.changeTime(), Math.max(0, age.getSeconds()));
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
