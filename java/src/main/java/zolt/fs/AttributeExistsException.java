package zolt.fs;

import java.io.IOException;

/**
 * An extended attribute that was to be made is there already (EEXIST).
 *
 * <pre>{@code
 * ExtendedAttributes.of(file).create("user.a", new byte[0]);
 * try {
 *     ExtendedAttributes.of(file).create("user.a", new byte[0]);
 * } catch (AttributeExistsException e) {
 *     System.out.println(e.getMessage()); // prints: File exists: user.a already exists
 * }
 * }</pre>
 */
public final class AttributeExistsException extends IOException {
    private static final long serialVersionUID = 1L;

    AttributeExistsException(IOException cause) {
        super(cause.getMessage(), cause);
    }
}
