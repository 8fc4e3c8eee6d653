package zolt.fs;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.time.Duration;
import java.time.Instant;
import java.util.Collections;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The lease of a file: who holds it open for writing. It is kept on the file, in two extended
 * attributes, and expires when it is looked at too long after it was set or renewed.
 *
 * <p>Time is measured by the lease clock, a number of units: 1000 for each second since the epoch, and
 * one for each microsecond of the second begun. Within a second it runs ahead by up to 999999, and
 * falls back at the next. So the age of a lease in units is its age in milliseconds give or take
 * 999999, and may be negative; {@link #limitFor} makes allowance for that.
 *
 * <pre>{@code
 * Lease lease = Lease.of(file);
 * lease.set("writer-1");
 * lease.renew();
 * System.out.println(lease.holderText(Duration.ofMinutes(1)).get()); // prints: writer-1
 * lease.remove();
 * }</pre>
 */
public final class Lease {
    /** The limit, in units of the lease clock, with which no lease expires. */
    public static final long NEVER = Long.MAX_VALUE;

    /** The most bytes that a holder may have: the longest value of an attribute on Linux. */
    public static final int MAX_HOLDER_BYTES = 65536;

    private static final long UNITS_PER_SECOND = 1000;

    /** By how much the clock may run ahead within a second. */
    private static final long LEAP = 999_999;

    /** The two attributes, and what the library calls them together. */
    private static final String[] ATTRIBUTES = {"user.lease.holder", "user.lease.update", "user.lease.*"};

    private final String path;
    private final boolean followLink;

    private Lease(String path, boolean followLink) {
        this.path = Check.notNull(path, "path");
        this.followLink = followLink;
    }

    /**
     * The lease of a path; a symbolic link at its end is followed. Nothing is read yet.
     *
     * <pre>{@code
     * Lease lease = Lease.of(file);
     * }</pre>
     *
     * @param path the path of a file
     * @return its lease, held or not
     */
    public static Lease of(String path) {
        return new Lease(path, true);
    }

    /**
     * As {@link #of(String)}.
     *
     * <pre>{@code
     * Lease lease = Lease.of(Paths.get(file));
     * }</pre>
     *
     * @param path a file
     * @return its lease, held or not
     */
    public static Lease of(Path path) {
        return of(Check.text(path));
    }

    /**
     * The lease of a path where a symbolic link stands for itself. Linux keeps no such attributes on
     * links, so that what this prevents is following one.
     *
     * <pre>{@code
     * System.out.println(Lease.ofLink(file).holder(Lease.NEVER).isPresent()); // prints: false
     * }</pre>
     *
     * @param path the path of a file
     * @return its lease, held or not
     */
    public static Lease ofLink(String path) {
        return new Lease(path, false);
    }

    /**
     * The limit with which a lease that was renewed within a time is never found expired. The clock
     * being what it is, one that was not renewed is found expired for certain only 2000 seconds later
     * than that time.
     *
     * <pre>{@code
     * System.out.println(Lease.limitFor(Duration.ofSeconds(60))); // prints: 1059999
     * }</pre>
     *
     * @param time how long a holder may go without renewing, not negative
     * @return units of the lease clock; {@link #NEVER} when they do not fit
     * @throws IllegalArgumentException for a negative time
     */
    public static long limitFor(Duration time) {
        if (time.isNegative()) {
            throw new IllegalArgumentException(time + " is negative");
        }
        if (time.getSeconds() >= NEVER / UNITS_PER_SECOND - LEAP) {
            return NEVER;
        }
        long secondsBegun = time.getSeconds() + (time.getNano() > 0 ? 1 : 0);
        return secondsBegun * UNITS_PER_SECOND + LEAP;
    }

    /**
     * For how long the lease was not renewed by its own clock, at the least. {@link #limitFor} of a shorter time, in whole
     * seconds, finds it expired.
     *
     * <pre>{@code
     * Lease lease = Lease.of(file);
     * lease.set("writer-1");
     * System.out.println(lease.leastAge().isNegative()); // prints: true
     * }</pre>
     *
     * @return the time; negative where it may have been renewed just now, and where there is no lease, or none that the
     *     thread may see
     */
    public Duration leastAge() {
        ByteBuffer update = ByteBuffer.allocate(Long.BYTES).order(ByteOrder.nativeOrder());
        UserDefinedFileAttributeView attributes = attributes();
        try {
            if (attributes == null || attributes.read("lease.update", update) != Long.BYTES) {
                return Duration.ofMillis(-LEAP);
            }
        } catch (IOException unreadable) {
            return Duration.ofMillis(-LEAP);
        }
        Instant now = Instant.now();
        long clock = now.getEpochSecond() * UNITS_PER_SECOND + TimeUnit.NANOSECONDS.toMicros(now.getNano());
        return Duration.ofMillis(clock - LEAP).minus(Duration.ofMillis(update.getLong(0)));
    }

    /**
     * Takes the lease.
     *
     * <pre>{@code
     * Lease.of(file).set(new byte[] {1, 2, 3});
     * System.out.println(FileStatus.of(file).leaseLength()); // prints: 3
     * }</pre>
     *
     * @param holder who takes it, byte for byte, at most {@link #MAX_HOLDER_BYTES}; what the file
     *     system takes may be less
     * @throws LeaseHeldException when it is held, expired or not
     * @throws IOException when it cannot be set
     */
    public void set(byte[] holder) throws IOException {
        try {
            ZOLTNative.setFileLeaseNative(path, followLink, Check.notNull(holder, "holder"));
        } catch (IOException e) {
            throw NativeFailure.isExisting(e, ATTRIBUTES) ? new LeaseHeldException(e) : e;
        }
    }

    /**
     * Takes the lease.
     *
     * <pre>{@code
     * Lease.of(file).set("writer-1");
     * }</pre>
     *
     * @param holder who takes it, kept as UTF-8
     * @throws IOException as {@link #set(byte[])}
     */
    public void set(String holder) throws IOException {
        set(holder.getBytes(StandardCharsets.UTF_8));
    }

    /**
     * The holder of the lease. A lease that is older than the limit is removed.
     *
     * <pre>{@code
     * Lease.of(file).set("writer-1");
     * System.out.println(Lease.of(file).holder(Lease.NEVER).get().length); // prints: 8
     * }</pre>
     *
     * @param limit the oldest age, in units of the lease clock, of a lease that still holds
     * @return the holder; empty when no lease is held, or was until this call; see also {@link #isHalf}
     * @throws IOException when it cannot be read, or an expired one cannot be removed
     */
    public Optional<byte[]> holder(long limit) throws IOException {
        try {
            return Optional.ofNullable(ZOLTNative.getFileLeaseNative(path, followLink,
                    MAX_HOLDER_BYTES, limit));
        } catch (IOException e) {
            if (NativeFailure.isMissing(e, ATTRIBUTES)) {
                return Optional.empty();
            }
            throw e;
        }
    }

    /**
     * Whether there is but one of the two attributes: so a process leaves them that ends while it takes or
     * ends the lease. Then nobody holds it, and nobody can take it until it is removed.
     *
     * <pre>{@code
     * Lease lease = Lease.of(file);
     * lease.set("writer-1");
     * System.out.println(lease.isHalf()); // prints: false
     * }</pre>
     *
     * @return true for half a lease; false also where the thread may not see that
     */
    public boolean isHalf() {
        try {
            UserDefinedFileAttributeView attributes = attributes();
            List<String> names = attributes == null ? Collections.emptyList() : attributes.list();
            return names.contains("lease.holder") != names.contains("lease.update");
        } catch (IOException e) {
            return false;
        }
    }

    /** Null where there are none: no other kind of file has such attributes, and to open a FIFO would wait. */
    private UserDefinedFileAttributeView attributes() {
        LinkOption[] options = followLink ? new LinkOption[0] : new LinkOption[] {LinkOption.NOFOLLOW_LINKS};
        Path file = Paths.get(path);
        return Files.isRegularFile(file, options) || Files.isDirectory(file, options)
                ? Files.getFileAttributeView(file, UserDefinedFileAttributeView.class, options) : null;
    }

    /**
     * The holder of the lease, as text. A lease that was not renewed within a time may be removed; see
     * {@link #limitFor}.
     *
     * <pre>{@code
     * System.out.println(Lease.of(file).holderText(Duration.ofMinutes(1)).isPresent()); // prints: false
     * }</pre>
     *
     * @param time how long a holder may go without renewing
     * @return the holder, read as UTF-8; empty when no lease is held, or was until this call
     * @throws IOException as {@link #holder}
     */
    public Optional<String> holderText(Duration time) throws IOException {
        return holder(limitFor(time)).map(bytes -> new String(bytes, StandardCharsets.UTF_8));
    }

    /**
     * Renews the lease in place: one system call, and no object. It does not ask who holds the lease,
     * nor whether anyone does: the holder renews what he has set.
     *
     * <pre>{@code
     * Lease lease = Lease.of(file);
     * lease.set("writer-1");
     * lease.renew();
     * }</pre>
     *
     * @throws IOException when the file is not there or may not be written
     */
    public void renew() throws IOException {
        ZOLTNative.renewFileLeaseNative(path, followLink);
    }

    /**
     * Removes the lease, whoever holds it, and also half a one.
     *
     * <pre>{@code
     * Lease lease = Lease.of(file);
     * lease.set("writer-1");
     * lease.remove();
     * System.out.println(lease.holder(Lease.NEVER).isPresent()); // prints: false
     * }</pre>
     *
     * @throws NoSuchAttributeException when there is none
     * @throws IOException when it cannot be removed
     */
    public void remove() throws IOException {
        boolean half = isHalf();
        try {
            ZOLTNative.removeFileLeaseNative(path, followLink);
        } catch (IOException e) {
            if (!NativeFailure.isMissing(e, ATTRIBUTES)) {
                throw e;
            }
            if (!half || isHalf()) {
                throw new NoSuchAttributeException(e);
            }
        }
    }

    /** The path; for a log. */
    @Override
    public String toString() {
        return "lease of " + path;
    }
}
