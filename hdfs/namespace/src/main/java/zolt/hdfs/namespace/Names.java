package zolt.hdfs.namespace;

import java.io.IOException;
import java.time.Duration;
import org.apache.hadoop.security.AccessControlException;
import zolt.fs.Accounts;

/** The names of owners and groups, remembered for a while; a number where there is no name. */
public final class Names {
    private static final int MOST = 65_536;

    private final Remembered<Integer, String> users;
    private final Remembered<Integer, String> groups;

    public Names(Duration time) {
        users = new Remembered<>(MOST, time);
        groups = new Remembered<>(MOST, time);
    }

    public String user(int uid) {
        String name = users.get(uid);
        if (name == null) {
            name = Accounts.userOrId(Integer.toUnsignedLong(uid));
            users.put(uid, name);
        }
        return name;
    }

    public String group(int gid) {
        String name = groups.get(gid);
        if (name == null) {
            name = Accounts.groupOrId(Integer.toUnsignedLong(gid));
            groups.put(gid, name);
        }
        return name;
    }

    /** The id of a user to whom something shall be given. */
    public static int uid(String user) throws IOException {
        try {
            return (int) Accounts.uid(user);
        } catch (IOException e) {
            throw new AccessControlException(e.getMessage());
        }
    }

    /** The id of a group to which something shall be given. */
    public static int gid(String group) throws IOException {
        try {
            return (int) Accounts.gid(group);
        } catch (IOException e) {
            throw new AccessControlException(e.getMessage());
        }
    }
}
