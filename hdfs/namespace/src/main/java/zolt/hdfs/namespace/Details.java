package zolt.hdfs.namespace;

/**
 * What the file system's client tells of a file, and HDFS shows with its status.
 *
 * @param blockSize bytes of an HDFS block; 0 for what is no regular file
 * @param replication copies; 0 for what is no regular file
 * @param hasAcl whether there is more of an access control list than the mode says
 */
public record Details(long blockSize, int replication, boolean hasAcl) {
    /** Those of what is neither a file nor a directory. */
    static final Details NONE = new Details(0, 0, false);

    /** As they stand in a record. */
    static Details in(long[] records, int at) {
        return new Details(records[at + NativeFiles.BLOCK_SIZE], (int) records[at + NativeFiles.REPLICATION],
                (records[at + NativeFiles.FLAGS] & NativeFiles.HAS_ACL) != 0);
    }
}
