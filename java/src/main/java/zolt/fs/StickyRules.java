package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

/**
 * What Linux forbids in sticky directories, such as /tmp, beside removing: to follow another's symbolic
 * link, and to open another's file or FIFO as if to make it (proc(5), "/proc/sys/fs/protected_symlinks" and
 * its neighbours). No capability permits it.
 */
final class StickyRules {
    private static final int STICKY = 01000;
    private static final int OTHERS_WRITE = 0002;
    private static final int GROUP_WRITES = 0020;

    private StickyRules() {}

    /** The value of a setting, 0 (no such rule) where the kernel has none by that name. */
    static int level(String setting) {
        try {
            return Integer.parseInt(new String(Files.readAllBytes(Paths.get("/proc/sys/fs", setting)),
                    StandardCharsets.US_ASCII).trim());
        } catch (IOException | NumberFormatException e) {
            return 0;
        }
    }

    /** The level at which files of this type are kept. For all but files and FIFOs it is not a setting. */
    static int creating(FileType type) {
        switch (type) {
            case FILE:
                return level("protected_regular");
            case FIFO:
                return level("protected_fifos");
            default:
                return 1;
        }
    }

    /** What to look for in sysctl(8), for a message. */
    static String setting(FileType type) {
        switch (type) {
            case FILE:
                return " (fs.protected_regular)";
            case FIFO:
                return " (fs.protected_fifos)";
            default:
                return "";
        }
    }

    /** Whether a user may not follow a symbolic link at the end of a path. */
    static boolean refusesLink(int level, int directoryMode, long directoryUid, long linkUid, long user) {
        return level > 0 && (directoryMode & STICKY) != 0 && (directoryMode & OTHERS_WRITE) != 0
                && linkUid != user && linkUid != directoryUid;
    }

    /** Whether a user may not open with O_CREAT what is there. */
    static boolean refusesCreating(int level, int directoryMode, long directoryUid, long fileUid,
            long user) {
        return level > 0 && (directoryMode & STICKY) != 0 && fileUid != user && fileUid != directoryUid
                && ((directoryMode & OTHERS_WRITE) != 0 || level > 1 && (directoryMode & GROUP_WRITES) != 0);
    }
}
