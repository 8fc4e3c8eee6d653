package zolt.cli.output;

import zolt.fs.FileType;

/** The words for types of files. */
public final class Kind {
    private Kind() {}

    public static String of(FileType type) {
        switch (type) {
            case FIFO:
                return "fifo";
            case CHARACTER_DEVICE:
                return "character device";
            case DIRECTORY:
                return "directory";
            case BLOCK_DEVICE:
                return "block device";
            case FILE:
                return "file";
            case LINK:
                return "link";
            case SOCKET:
                return "socket";
            default:
                return "unknown";
        }
    }
}
