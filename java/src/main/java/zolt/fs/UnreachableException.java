package zolt.fs;

import java.nio.file.FileSystemException;

/**
 * What a link leads to has a name that no path can express: see {@link DirectoryEntry#isReachable()}.
 *
 * <pre>{@code
 * try {
 *     PathFailure.of(file, PathFailure.Access.READ);
 * } catch (UnreachableException e) {
 *     System.out.println(e.getFile());
 * }
 * }</pre>
 */
public final class UnreachableException extends FileSystemException {
    private static final long serialVersionUID = 1L;

    UnreachableException(String path) {
        super(path, null, "a name that no path can express");
    }
}
