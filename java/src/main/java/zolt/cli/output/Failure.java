package zolt.cli.output;

import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;
import zolt.fs.AttributeExistsException;
import zolt.fs.DirectoryEntry;
import zolt.fs.LeaseHeldException;
import zolt.fs.NoSuchAttributeException;

/** A failed operation as a person and a script see it: one line, and an exit code. */
public final class Failure extends Exception {
    private static final long serialVersionUID = 1L;
    private static final String SEPARATOR = ": ";

    public final int code;

    public Failure(int code, String reason) {
        super(reason);
        this.code = code;
    }

    /** What a call about a path has thrown. */
    public static Failure of(String path, Exception e) {
        if (e instanceof Failure) {
            return (Failure) e;
        }
        if (e instanceof IllegalArgumentException) {
            return new Failure(Exit.USAGE, e.getMessage());
        }
        String reason = reason(path, String.valueOf(e.getMessage()));
        if (e instanceof AccessDeniedException) {
            return new Failure(Exit.DENIED, reason);
        }
        if (e instanceof NoSuchFileException) {
            String remedy = DirectoryEntry.isReachable(path) ? "" : " (" + Names.UNREACHABLE + ")";
            return new Failure(Exit.NOT_FOUND, reason + remedy);
        }
        if (e instanceof NoSuchAttributeException) {
            return new Failure(Exit.NOT_FOUND, reason);
        }
        boolean exists = e instanceof AttributeExistsException || e instanceof LeaseHeldException;
        return new Failure(exists ? Exit.EXISTS : Exit.FAILED, reason);
    }

    /**
     * The library says "system's text: what it was about". What repeats the path is left out: the line
     * begins with it; and so is the separator before nothing.
     */
    private static String reason(String path, String message) {
        int separator = message.indexOf(SEPARATOR);
        return separator >= 0 && (message.indexOf(path, separator) >= 0
                || separator + SEPARATOR.length() == message.length())
                        ? message.substring(0, separator) : message;
    }
}
