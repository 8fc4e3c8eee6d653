package zolt.test;

/** What the natives say of a failure behind the errno's own text, and the attributes of a lease. */
public final class Said {
    public static final String HOLDER = "user.lease.holder";
    public static final String UPDATE = "user.lease.update";
    /** The pair of them. */
    public static final String LEASE = "user.lease.*";
    /** One that was removed all the same. */
    public static final String KEPT = "It's not allowed to remove ";
    public static final String DIRECTORY = "failed to open directory";
    // Before a path.
    public static final String INODE = "stat failed for ";
    public static final String OPEN = "failed to open ";
    public static final String REPLICATION = "failed to set replication for ";

    private Said() {}

    public static String factor(int bgf, String path) {
        return "Failed to set BGF(" + bgf + ") for " + path;
    }

    /** Of a factor that no file may have. */
    public static String noFactor(int bgf) {
        return "Invalid BGF(" + bgf + ")";
    }

    /** Of a "user", "uid", "group" or "gid" that has no entry in the database. */
    public static String unknown(String kind, Object key) {
        return "Unknown " + advice(kind, key);
    }

    public static String advice(String kind, Object key) {
        boolean isUser = kind.startsWith("u");
        return kind + " \"" + key + "\", create the " + (isUser ? "user" : "group")
                + " on all kolvane nodes with the same " + (isUser ? "uid" : "gid") + " and try it again!";
    }
}
