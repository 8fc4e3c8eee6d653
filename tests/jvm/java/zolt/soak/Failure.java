package zolt.soak;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;

/** How the errors that occur reach Java. */
enum Failure {
    EPERM(AccessDeniedException.class, "Operation not permitted"),
    ENOENT(NoSuchFileException.class, "No such file or directory"),
    ENOMEM(RuntimeException.class, "Cannot allocate memory"),
    EACCES(AccessDeniedException.class, "Permission denied"),
    EEXIST(IOException.class, "File exists"),
    EINVAL(IOException.class, "Invalid argument"),
    ERANGE(IOException.class, "Numerical result out of range"),
    ELOOP(IOException.class, "Too many levels of symbolic links"),
    ENODATA(IOException.class, "No data available");

    final Class<? extends Throwable> type;
    final String text;

    Failure(Class<? extends Throwable> type, String text) {
        this.type = type;
        this.text = text;
    }
}
