package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.DirectoryNotEmptyException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import java.util.HashMap;
import java.util.Map;

/** The number behind a failure, whichever of the ways to the kernel reports it. */
final class Errors {
    private static final int LAST = 133;
    private static final Map<String, Integer> BY_TEXT = new HashMap<>();

    static {
        for (int errno = 1; errno <= LAST; errno++) {
            BY_TEXT.putIfAbsent(NativeFiles.errorText(errno), errno);
        }
    }

    private Errors() {}

    /** errno; EIO where the failure tells nothing. */
    static int of(IOException failure) {
        if (failure instanceof SystemCallException) {
            return ((SystemCallException) failure).errno();
        } else if (failure instanceof NoSuchFileException) {
            return SystemCallException.ENOENT;
        } else if (failure instanceof FileAlreadyExistsException) {
            return SystemCallException.EEXIST;
        } else if (failure instanceof DirectoryNotEmptyException) {
            return SystemCallException.ENOTEMPTY;
        } else if (failure instanceof AccessDeniedException) {
            return SystemCallException.EACCES;
        }
        return byText(failure);
    }

    /** The class library gives the system's text as the reason, the natives begin with it. */
    private static int byText(IOException failure) {
        String text = failure instanceof FileSystemException
                ? ((FileSystemException) failure).getReason() : failure.getMessage();
        if (text == null) {
            return SystemCallException.EIO;
        }
        if (text.endsWith(" or unable to access attributes of symbolic link")) {
            return SystemCallException.ELOOP;
        }
        int end = text.indexOf(": ");
        return BY_TEXT.getOrDefault(end < 0 ? text : text.substring(0, end), SystemCallException.EIO);
    }
}
