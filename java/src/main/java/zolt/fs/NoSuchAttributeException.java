package zolt.fs;

import java.io.IOException;

/**
 * An extended attribute, or a lease, that was to be replaced or removed is not there (ENODATA).
 *
 * <pre>{@code
 * try {
 *     ExtendedAttributes.of(file).remove("user.none");
 * } catch (NoSuchAttributeException e) {
 *     System.out.println(e.getMessage()); // prints: No data available: user.none does not exist
 * }
 * }</pre>
 */
public final class NoSuchAttributeException extends IOException {
    private static final long serialVersionUID = 1L;

    NoSuchAttributeException(IOException cause) {
        super(cause.getMessage(), cause);
    }
}
