package zolt.cli.output;

import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import zolt.fs.AttributeExistsException;
import zolt.fs.DirectoryEntry;
import zolt.fs.LeaseHeldException;
import zolt.fs.NoSuchAttributeException;
import zolt.fs.UnreachableException;

/** A failed operation as a person and a script see it: one line, and an exit code. */
public final class Failure extends Exception {
    private static final long serialVersionUID = 1L;
    private static final String SEPARATOR = ": ";
    private static final String MISSING = "No such file or directory";
    private static final String NO_DIRECTORY = "Not a directory";
    private static final String DENIED = "Permission denied";
    private static final String NOT_PERMITTED = "Operation not permitted";
    /** What natives say before the path, if anything. */
    private static final String[] BEFORE_PATHS = {"", "stat failed for ", "failed to open ", "failed to open directory ",
        "failed to set replication for ", "failed to restripe file "};

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
        String reason = reason(path, e);
        if (e instanceof AccessDeniedException) {
            return new Failure(Exit.DENIED, reason);
        }
        if (e instanceof UnreachableException) {
            return new Failure(Exit.FAILED, Names.UNREACHABLE);
        }
        if (e instanceof NoSuchFileException && leadsThroughFile(path)) {
            return new Failure(Exit.FAILED, NO_DIRECTORY);
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

    /** As {@link #of}, where no one else says what it is about. */
    public static Failure about(String file, Exception e) {
        Failure failure = of(file, e);
        return new Failure(failure.code, file + SEPARATOR + failure.getMessage());
    }

    /**
     * What is wrong, without the path: the line begins with it. Java's own exceptions have the path in a part of
     * its own, and no reason where their class says it.
     */
    private static String reason(String path, Exception e) {
        String message = String.valueOf(e.getMessage());
        if (!(e instanceof FileSystemException)) {
            return ofLibrary(path, message);
        }
        String reason = ((FileSystemException) e).getReason();
        if (reason != null) {
            return reason;
        }
        for (String text : new String[] {MISSING, DENIED, NOT_PERMITTED}) {
            if (message.equals(text) || message.startsWith(text + SEPARATOR)) {
                return ofLibrary(path, message);
            }
        }
        return e instanceof NoSuchFileException ? MISSING : e instanceof AccessDeniedException ? DENIED : message;
    }

    /** Of a path through something that is no directory, the library says as HDFS does that it is not there. */
    private static boolean leadsThroughFile(String path) {
        for (int slash = path.lastIndexOf('/'); slash > 0; slash = path.lastIndexOf('/', slash - 1)) {
            Path parent = Paths.get(path.substring(0, slash));
            if (Files.exists(parent)) {
                return !Files.isDirectory(parent);
            }
        }
        return false;
    }

    /**
     * The library says "system's text: what it was about". That is left out where it is the path or nothing; a
     * path that stands elsewhere in the text is a word of it.
     */
    private static String ofLibrary(String path, String message) {
        int separator = message.indexOf(SEPARATOR);
        if (separator < 0) {
            return message;
        }
        String about = message.substring(separator + SEPARATOR.length());
        for (String words : BEFORE_PATHS) {
            about = about.equals(words + path) ? "" : about;
        }
        boolean absolute = about.startsWith("/") && about.endsWith("/" + path);
        return about.isEmpty() || absolute ? message.substring(0, separator) : message;
    }
}
