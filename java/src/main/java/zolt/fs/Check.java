package zolt.fs;

import java.nio.file.FileSystems;
import java.nio.file.Path;
import java.nio.file.ProviderMismatchException;

/** What every entry point asks of its arguments. */
final class Check {
    private Check() {}

    static <T> T notNull(T value, String what) {
        if (value == null) {
            throw new NullPointerException(what + " is null");
        }
        return value;
    }

    /** A path as the natives take it; one of another file system than this machine's has none. */
    static String text(Path path) {
        if (notNull(path, "path").getFileSystem() != FileSystems.getDefault()) {
            throw new ProviderMismatchException(path + " is of another file system provider");
        }
        return path.toString();
    }

    static void thread(Thread owner, String what) {
        Thread current = Thread.currentThread();
        if (current != owner) {
            throw new IllegalStateException(what + " belongs to the thread \"" + owner.getName()
                    + "\" and cannot be used on \"" + current.getName() + "\"");
        }
    }
}
