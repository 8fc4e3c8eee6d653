package zolt.test;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;

/** The exception that an errno becomes in Java: what every test of the natives expects is made of it. */
public record Failure(Class<? extends Throwable> type, String message) {
    /** The errno's text, ": " and what the native says. */
    public static Failure of(int errno, String said) {
        Class<? extends Throwable> type = switch (errno) {
            case Faults.EPERM, Faults.EACCES -> AccessDeniedException.class;
            case Faults.ENOENT -> NoSuchFileException.class;
            case Faults.ENOMEM -> RuntimeException.class;
            default -> IOException.class;
        };
        return new Failure(type, Kernel.strerror(errno) + ": " + said);
    }

    /** That of an operation on an extended attribute, or on all of them where the name is empty. */
    public static Failure ofAttribute(int errno, String operation, String name) {
        if (name.isEmpty()) {
            return of(errno, operation + " failed");
        }
        return switch (errno) {
            case Faults.EEXIST -> of(errno, name + " already exists");
            case Faults.ENODATA -> of(errno, name + " does not exist");
            default -> of(errno, operation + " failed for " + name);
        };
    }
}
