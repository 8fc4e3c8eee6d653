package zolt.fs;

import java.io.IOException;

/**
 * A lease that was to be taken is held, expired or not, or is half a one (EEXIST).
 *
 * <pre>{@code
 * Lease.of(file).set("writer-1");
 * try {
 *     Lease.of(file).set("writer-2");
 * } catch (LeaseHeldException e) {
 *     System.out.println(Lease.of(file).holderText(Duration.ofHours(1)).get()); // prints: writer-1
 * }
 * }</pre>
 */
public final class LeaseHeldException extends IOException {
    private static final long serialVersionUID = 1L;

    LeaseHeldException(IOException cause) {
        super(cause.getMessage(), cause);
    }
}
