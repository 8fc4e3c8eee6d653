package zolt.hdfs.namespace;

import java.io.IOException;
import java.io.UncheckedIOException;
import org.apache.hadoop.security.AccessControlException;
import zolt.fs.ThreadIdentity;

/**
 * For whom a request is done: ids as the user database had them when last asked.
 *
 * @param user the name
 * @param superuser whether the rights are the service's own; the ids are then those of what it makes alone
 */
public record Caller(String user, int uid, int gid, int[] groups, boolean superuser) {
    /** The service itself. */
    public static final Caller SERVICE = new Caller(System.getProperty("user.name"), 0, 0, new int[0], true);

    /** The user ids by which the kernel knows the process; asked once, before any thread acts for another. */
    private static final class Own {
        static final int UID = uid();

        private static int uid() {
            try {
                return (int) ThreadIdentity.now().effectiveUid();
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
        }
    }

    /** Whether the process itself is this user. */
    public static boolean isOfProcess(Caller caller) {
        return caller.uid == Own.UID;
    }

    /** Refuses everybody but a superuser, in Hadoop's words. */
    public void requireSuperuser() throws AccessControlException {
        if (!superuser) {
            throw new AccessControlException("Access denied for user " + user + ". Superuser privilege is required");
        }
    }

    /** Whether the user is in a group. */
    public boolean isIn(int group) {
        for (int each : groups) {
            if (each == group) {
                return true;
            }
        }
        return group == gid;
    }
}
