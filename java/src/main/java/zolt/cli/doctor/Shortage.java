package zolt.cli.doctor;

import java.io.File;
import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import zolt.fs.Mount;

/** A file system that has nothing left to give: no space, no inodes, or no more of either for a user. */
final class Shortage {
    static final String MEND = "make room, or have the limits raised: see df, df -i, quota and ulimit -f";

    private Shortage() {}

    /** What is short below a path, by what a call there has failed with; null where that is another reason. */
    static String of(IOException e, String path) {
        String reason = reason(e);
        if (reason.startsWith("Disk quota exceeded")) {
            return "the quota of this user is used up";
        }
        if (reason.startsWith("File too large")) {
            return "this process may write no file of that size (ulimit -f)";
        }
        if (!reason.startsWith("No space left on device")) {
            return null;
        }
        File file = new File(path);
        if (file.getTotalSpace() == 0) {
            return "no space or no inodes are left";
        }
        long free = file.getUsableSpace();
        return (free > 0 ? "no inodes are left (" + free + " bytes of space are)" : "no space is left")
                + Mount.of(path).map(mount -> " on " + mount).orElse("");
    }

    /** The system's text, without what Java puts before it. */
    static String reason(IOException e) {
        if (e instanceof AccessDeniedException) {
            return "Permission denied";
        }
        if (e instanceof NoSuchFileException) {
            return "No such file or directory";
        }
        String reason = e instanceof FileSystemException ? ((FileSystemException) e).getReason() : e.getMessage();
        return reason == null ? e.toString() : reason;
    }
}
