package zolt.hdfs.namespace;

import java.io.IOException;

/**
 * A system call that failed, with its errno: what decides the exception that a client gets. Many of them are the
 * expected answer, that a path is not there: they are made without a stack, and their text only when it is asked for.
 */
public final class SystemCallException extends IOException {
    private static final long serialVersionUID = 1;

    /** Numbers of errno(3). */
    public static final int EPERM = 1;
    public static final int ENOENT = 2;
    public static final int EIO = 5;
    public static final int EAGAIN = 11;
    public static final int EACCES = 13;
    public static final int EBUSY = 16;
    public static final int EEXIST = 17;
    public static final int EXDEV = 18;
    public static final int ENOTDIR = 20;
    public static final int EISDIR = 21;
    public static final int EINVAL = 22;
    public static final int ENOSPC = 28;
    public static final int EROFS = 30;
    public static final int ERANGE = 34;
    public static final int ENAMETOOLONG = 36;
    public static final int ENOTEMPTY = 39;
    public static final int ELOOP = 40;
    public static final int ENODATA = 61;
    public static final int EOPNOTSUPP = 95;
    public static final int ENOTCONN = 107;
    public static final int ESHUTDOWN = 108;
    public static final int ENOTRECOVERABLE = 131;
    public static final int ESTALE = 116;
    public static final int EDQUOT = 122;

    private final int errno;
    private final String what;

    /** A failure of {@code what}, which may be a path. */
    public SystemCallException(int errno, String what) {
        this.errno = errno;
        this.what = what;
    }

    @Override
    public String getMessage() {
        return NativeFiles.errorText(errno) + ": " + what;
    }

    @Override
    public synchronized Throwable fillInStackTrace() {
        return this;
    }

    /** The number. */
    public int errno() {
        return errno;
    }

    /** The result of a call, or its failure. */
    public static int check(int result, String what) throws SystemCallException {
        if (result < 0) {
            throw new SystemCallException(-result, what);
        }
        return result;
    }
}
