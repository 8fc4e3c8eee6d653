package zolt.test.status;

/** Where a status record has what, and the header of block locations behind it. */
public interface StatusRecord {
    int INODE = 0;
    int SIZE = 8;
    int UID = 16;
    int GID = 20;
    int MODE = 24;
    int BLOCK_SIZE = 28;
    int ATIME = 32;
    int MTIME = 48;
    int CTIME = 64;
    int ACL = 80;
    int REPLICATION = 82;
    int LEASE = 84;
    int END = 86;
    /** What a buffer must have room for. */
    int BYTES = 88;
    int HEADER = 90;
    int HEADER_COPIES = 98;
    int HEADER_END = 102;

    /** What stands at ACL where there is a list. */
    int HAS_ACL = 0x1000;
    int REGULAR = 0100000;
    int DIRECTORY = 0040000;

    static boolean isRegular(long mode) {
        return (mode & 0170000) == REGULAR;
    }
}
