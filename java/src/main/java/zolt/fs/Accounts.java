package zolt.fs;

import java.io.IOException;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Names and ids of users and groups, by the databases of the system.
 *
 * <p>An id is an unsigned 32-bit number in a {@code long}, 0 to 4294967295.
 *
 * <pre>{@code
 * System.out.println(Accounts.uid("root")); // prints: 0
 * System.out.println(Accounts.user(0)); // prints: root
 * }</pre>
 */
public final class Accounts {
    private static final long MAX_ID = 0xffffffffL;

    private Accounts() {}

    /**
     * The id of a user.
     *
     * <pre>{@code
     * System.out.println(Accounts.uid("nobody")); // prints: 65534
     * }</pre>
     *
     * @param user a name
     * @return the id
     * @throws IOException for a user that the system does not know; the message names the user
     */
    public static long uid(String user) throws IOException {
        return Integer.toUnsignedLong(ZOLTNative.getUid(Check.notNull(user, "user")));
    }

    /**
     * The id of a group.
     *
     * <pre>{@code
     * System.out.println(Accounts.gid("nogroup")); // prints: 65534
     * }</pre>
     *
     * @param group a name
     * @return the id
     * @throws IOException for a group that the system does not know; the message names the group
     */
    public static long gid(String group) throws IOException {
        return Integer.toUnsignedLong(ZOLTNative.getGid(Check.notNull(group, "group")));
    }

    /**
     * The name of a user.
     *
     * <pre>{@code
     * System.out.println(Accounts.user(65534)); // prints: nobody
     * }</pre>
     *
     * @param uid an id
     * @return the name
     * @throws IOException for an id that the system does not know; the message has the id
     * @throws IllegalArgumentException for a number that is no id
     */
    public static String user(long uid) throws IOException {
        return ZOLTNative.getUser(narrow(uid));
    }

    /**
     * The name of a group.
     *
     * <pre>{@code
     * System.out.println(Accounts.group(65534)); // prints: nogroup
     * }</pre>
     *
     * @param gid an id
     * @return the name
     * @throws IOException for an id that the system does not know; the message has the id
     * @throws IllegalArgumentException for a number that is no id
     */
    public static String group(long gid) throws IOException {
        return ZOLTNative.getGroup(narrow(gid));
    }

    /**
     * The name of a user, or the id in decimal where there is none: what a listing shows.
     *
     * <pre>{@code
     * System.out.println(Accounts.userOrId(4123456789L)); // prints: 4123456789
     * }</pre>
     *
     * @param uid an id
     * @return the name or the number
     */
    public static String userOrId(long uid) {
        try {
            return nameOrId(user(uid), uid);
        } catch (IOException e) {
            return Long.toString(uid);
        }
    }

    /**
     * The name of a group, or the id in decimal where there is none.
     *
     * <pre>{@code
     * System.out.println(Accounts.groupOrId(0)); // prints: root
     * }</pre>
     *
     * @param gid an id
     * @return the name or the number
     */
    public static String groupOrId(long gid) {
        try {
            return nameOrId(group(gid), gid);
        } catch (IOException e) {
            return Long.toString(gid);
        }
    }

    static int narrow(long id) {
        if (id < 0 || id > MAX_ID) {
            throw new IllegalArgumentException(id + " is no id: ids are 0 to " + MAX_ID);
        }
        return (int) id;
    }

    /** A lookup that fails in silence answers with an empty name. */
    private static String nameOrId(String name, long id) {
        return name.isEmpty() ? Long.toString(id) : name;
    }
}
