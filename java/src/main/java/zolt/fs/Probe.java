package zolt.fs;

import java.io.File;
import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.AccessMode;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * What the kernel answers when it is asked without anything being changed. Nothing else tells of the flags
 * of chattr(1), of a mount that the process's table does not have, or of a security module.
 *
 * <p>What is told apart is told by the class of the exception: its text is in the language of the process.
 */
final class Probe {
    /** What access(2) answers. */
    enum Answer { PERMITTED, DENIED, FORBIDDEN_TO_ALL }

    /**
     * No file system has attributes of this namespace by this name. The kernel looks at mount and flags
     * before it finds that out, and at no one's rights.
     */
    private static final String NO_ATTRIBUTE = "system.zolt.probe";

    private Probe() {}

    /** Whether the flag "immutable" or "append only" keeps a file, itself and not its target, as it is. */
    static boolean isFlagged(String path) {
        try {
            ZOLTNative.removeXAttr(path, NO_ATTRIBUTE);
        } catch (AccessDeniedException e) {
            return true;
        } catch (IOException e) {
            // "Operation not supported", as wanted; or the mount is read-only.
        }
        return false;
    }

    /**
     * Asks access(2), which looks at the real ids of the process and not at those that the thread acts
     * with. A refusal that is not one of rights ("Read-only file system", or of an immutable file
     * "Operation not permitted") comes before any look at them.
     */
    static Answer access(String path, PathFailure.Access access) {
        Path file = Paths.get(path);
        try {
            file.getFileSystem().provider().checkAccess(file, mode(access));
            return Answer.PERMITTED;
        } catch (AccessDeniedException | NoSuchFileException e) {
            return Answer.DENIED;
        } catch (IOException e) {
            return Answer.FORBIDDEN_TO_ALL;
        }
    }

    private static AccessMode mode(PathFailure.Access access) {
        switch (access) {
            case READ:
                return AccessMode.READ;
            case WRITE:
                return AccessMode.WRITE;
            default:
                return AccessMode.EXECUTE;
        }
    }

    /**
     * Whether there is no block left. statvfs(2) also knows the limit of the project (ext4, xfs) of a
     * directory that passes its project on.
     *
     * @param reserved whether the blocks that are kept for the superuser may be used, too
     */
    static boolean isFull(String path, boolean reserved) {
        File file = new File(path);
        return file.getTotalSpace() > 0 && (reserved ? file.getFreeSpace() : file.getUsableSpace()) == 0;
    }
}
