package zolt.hdfs.namespace;

import java.io.IOException;
import java.time.Duration;
import org.apache.hadoop.security.AccessControlException;
import zolt.fs.Accounts;

/** The ids of users, remembered for a while: to ask the user database for each request costs more than the request. */
public final class Callers {
    private static final int MOST = 10_000;

    private final String service;
    private final String supergroup;
    private final Remembered<String, Caller> callers;

    /**
     * @param service the user as whom the service has logged in, who has its rights, as with HDFS
     * @param supergroup the group whose members have the service's rights; it need not exist
     * @param time how long what the database said holds
     */
    public Callers(String service, String supergroup, Duration time) {
        this.service = service;
        this.supergroup = supergroup;
        callers = new Remembered<>(MOST, time, System::nanoTime);
    }

    /**
     * The caller of a name.
     *
     * @throws AccessControlException for a user whom the system does not know; its text says what to do
     */
    public Caller of(String user) throws IOException {
        Caller known = callers.get(user);
        if (known == null) {
            known = lookUp(user);
            callers.put(user, known);
        }
        return known;
    }

    /** The user database is asked again for everybody. */
    public void forget() {
        callers.clear();
    }

    /** The caller of a name in a process that is no service: its rights are those of its ids. */
    public static Caller guest(String user) throws IOException {
        int[] ids = NativeFiles.credentials(user);
        if (ids == null) {
            throw unknown(user);
        }
        return new Caller(user, ids[0], ids[1], java.util.Arrays.copyOfRange(ids, 2, ids.length), ids[0] == 0);
    }

    private Caller lookUp(String user) throws IOException {
        if (user.equals(Caller.SERVICE.user())) {
            return Caller.SERVICE;
        }
        int[] ids;
        try (Acting own = Acting.service()) {
            ids = NativeFiles.credentials(user);
        }
        if (ids == null) {
            throw unknown(user);
        }
        int[] groups = java.util.Arrays.copyOfRange(ids, 2, ids.length);
        Caller caller = new Caller(user, ids[0], ids[1], groups, false);
        return isSuperuser(caller) ? new Caller(user, ids[0], ids[1], groups, true) : caller;
    }

    private boolean isSuperuser(Caller caller) {
        if (caller.uid() == 0 || caller.user().equals(service)) {
            return true;
        }
        try {
            return caller.isIn((int) Accounts.gid(supergroup));
        } catch (IOException e) {
            return false;
        }
    }

    private static AccessControlException unknown(String user) {
        try {
            Accounts.uid(user);
            return new AccessControlException("the user database had no user " + user + " a moment ago");
        } catch (IOException e) {
            return new AccessControlException(e.getMessage());
        }
    }
}
