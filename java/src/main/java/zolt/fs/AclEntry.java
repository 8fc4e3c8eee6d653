package zolt.fs;

import java.io.IOException;

/**
 * One entry of an access control list: for whom it is, and what it permits.
 *
 * <pre>{@code
 * AclEntry entry = AclEntry.user("nobody", AclEntry.READ | AclEntry.EXECUTE);
 * System.out.println(entry); // prints: user:nobody:r-x
 * System.out.println(entry.inherited()); // prints: default:user:nobody:r-x
 * }</pre>
 */
public final class AclEntry implements Comparable<AclEntry> {
    /** The permission to read, or to list a directory. */
    public static final int READ = 4;
    /** The permission to write, or to change a directory. */
    public static final int WRITE = 2;
    /** The permission to execute, or to search a directory. */
    public static final int EXECUTE = 1;

    private static final int ALL = READ | WRITE | EXECUTE;
    private static final long NO_ID = -1;

    /** Which of its lists an entry is in. */
    public enum Scope {
        /** What is checked at each access. */
        ACCESS(0x8000),
        /** What a directory gives to what is made in it. */
        DEFAULT(0x4000);

        final int code;

        Scope(int code) {
            this.code = code;
        }
    }

    /** For whom an entry is, in the order of a list. */
    public enum Type {
        /** The owner of the file. */
        OWNER(1, "user"),
        /** A user. */
        USER(2, "user"),
        /** The group of the file. */
        OWNING_GROUP(4, "group"),
        /** A group. */
        GROUP(8, "group"),
        /** The most that all but the owner and the others get. */
        MASK(16, "mask"),
        /** All others. */
        OTHER(32, "other");

        final int code;
        private final String word;

        Type(int code, String word) {
            this.code = code;
            this.word = word;
        }

        /**
         * The word for it in the text form, as getfacl(1) has it.
         *
         * <pre>{@code
         * System.out.println(AclEntry.Type.OWNING_GROUP.word()); // prints: group
         * }</pre>
         *
         * @return "user", "group", "mask" or "other"
         */
        public String word() {
            return word;
        }

        boolean isNamed() {
            return this == USER || this == GROUP;
        }
    }

    private final Scope scope;
    private final Type type;
    private final long id;
    private final int permissions;

    private AclEntry(Scope scope, Type type, long id, int permissions) {
        if ((permissions & ~ALL) != 0) {
            throw new IllegalArgumentException(permissions + " are no permissions: 0 to " + ALL);
        }
        if (type.isNamed()) {
            Accounts.narrow(id);
        }
        this.scope = scope;
        this.type = type;
        this.id = id;
        this.permissions = permissions;
    }

    static AclEntry of(Scope scope, Type type, long id, int permissions) {
        return new AclEntry(scope, type, type.isNamed() ? id : NO_ID, permissions);
    }

    /**
     * An entry of the access list for the owner, the owning group, the mask or the others.
     *
     * <pre>{@code
     * System.out.println(AclEntry.base(AclEntry.Type.OTHER, 0)); // prints: other::---
     * }</pre>
     *
     * @param type any but {@link Type#USER} and {@link Type#GROUP}
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     * @throws IllegalArgumentException for a type that needs a name, or other bits
     */
    public static AclEntry base(Type type, int permissions) {
        if (type.isNamed()) {
            throw new IllegalArgumentException(type + " needs a name");
        }
        return new AclEntry(Scope.ACCESS, type, NO_ID, permissions);
    }

    /**
     * An entry of the access list for a user.
     *
     * <pre>{@code
     * System.out.println(AclEntry.user("nobody", AclEntry.READ).id()); // prints: 65534
     * }</pre>
     *
     * @param name a user of the system
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     * @throws IOException for a user that the system does not know
     */
    public static AclEntry user(String name, int permissions) throws IOException {
        return user(Accounts.uid(name), permissions);
    }

    /**
     * An entry of the access list for a user's id.
     *
     * <pre>{@code
     * System.out.println(AclEntry.user(4123456789L, AclEntry.READ)); // prints: user:4123456789:r--
     * }</pre>
     *
     * @param uid 0 to 4294967295
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     */
    public static AclEntry user(long uid, int permissions) {
        return new AclEntry(Scope.ACCESS, Type.USER, uid, permissions);
    }

    /**
     * An entry of the access list for a group.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group("nogroup", AclEntry.READ)); // prints: group:nogroup:r--
     * }</pre>
     *
     * @param name a group of the system
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     * @throws IOException for a group that the system does not know
     */
    public static AclEntry group(String name, int permissions) throws IOException {
        return group(Accounts.gid(name), permissions);
    }

    /**
     * An entry of the access list for a group's id.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, AclEntry.READ)); // prints: group:root:r--
     * }</pre>
     *
     * @param gid 0 to 4294967295
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     */
    public static AclEntry group(long gid, int permissions) {
        return new AclEntry(Scope.ACCESS, Type.GROUP, gid, permissions);
    }

    /**
     * The same entry in the default list.
     *
     * <pre>{@code
     * System.out.println(AclEntry.base(AclEntry.Type.MASK, 7).inherited()); // prints: default:mask::rwx
     * }</pre>
     *
     * @return an entry of the default list
     */
    public AclEntry inherited() {
        return new AclEntry(Scope.DEFAULT, type, id, permissions);
    }

    /**
     * The list that the entry is in.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, 7).scope()); // prints: ACCESS
     * }</pre>
     *
     * @return the scope
     */
    public Scope scope() {
        return scope;
    }

    /**
     * For whom the entry is.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, 7).type()); // prints: GROUP
     * }</pre>
     *
     * @return the type
     */
    public Type type() {
        return type;
    }

    /**
     * The id of the user or the group.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, 7).id()); // prints: 0
     * }</pre>
     *
     * @return 0 to 4294967295; -1 for an entry that names none
     */
    public long id() {
        return id;
    }

    /**
     * The name of the user or the group, looked up anew with each call.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, 7).name()); // prints: root
     * }</pre>
     *
     * @return the name, or the id in decimal where it has none; "" for an entry that names none
     */
    public String name() {
        switch (type) {
            case USER:
                return Accounts.userOrId(id);
            case GROUP:
                return Accounts.groupOrId(id);
            default:
                return "";
        }
    }

    /**
     * What the entry permits, before any mask.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, AclEntry.READ | AclEntry.WRITE).permissions()); // prints: 6
     * }</pre>
     *
     * @return a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     */
    public int permissions() {
        return permissions;
    }

    /**
     * The same entry with other permissions.
     *
     * <pre>{@code
     * System.out.println(AclEntry.group(0, 7).withPermissions(AclEntry.READ)); // prints: group:root:r--
     * }</pre>
     *
     * @param others a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return the entry
     */
    public AclEntry withPermissions(int others) {
        return new AclEntry(scope, type, id, others);
    }

    /** Whether both are for the same in the same list. */
    boolean sameKey(AclEntry other) {
        return scope == other.scope && type == other.type && id == other.id;
    }

    /** Whether a mask limits entries of this type. */
    boolean isMasked() {
        return type.isNamed() || type == Type.OWNING_GROUP;
    }

    /**
     * Permissions as a listing shows them.
     *
     * <pre>{@code
     * System.out.println(AclEntry.letters(AclEntry.READ | AclEntry.EXECUTE)); // prints: r-x
     * }</pre>
     *
     * @param permissions a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
     * @return three characters
     */
    public static String letters(int permissions) {
        return ((permissions & READ) != 0 ? "r" : "-") + ((permissions & WRITE) != 0 ? "w" : "-")
                + ((permissions & EXECUTE) != 0 ? "x" : "-");
    }

    /** The entry as a line of getfacl(1), with names or with ids. */
    String text(boolean numeric) {
        String who = !type.isNamed() ? "" : numeric ? Long.toString(id) : AclText.quoted(name());
        return (scope == Scope.DEFAULT ? "default:" : "") + type.word + ":" + who + ":"
                + letters(permissions);
    }

    /**
     * By scope, type and id: the order in which a list is shown.
     *
     * <pre>{@code
     * System.out.println(AclEntry.user(1, 7).compareTo(AclEntry.user(2, 7)) < 0); // prints: true
     * }</pre>
     */
    @Override
    public int compareTo(AclEntry other) {
        int order = scope.compareTo(other.scope);
        order = order != 0 ? order : type.compareTo(other.type);
        order = order != 0 ? order : Long.compare(id, other.id);
        return order != 0 ? order : Integer.compare(permissions, other.permissions);
    }

    /** Whether all four are equal. */
    @Override
    public boolean equals(Object other) {
        return other instanceof AclEntry && compareTo((AclEntry) other) == 0;
    }

    /** Agrees with equals. */
    @Override
    public int hashCode() {
        return ((scope.hashCode() * 31 + type.hashCode()) * 31 + Long.hashCode(id)) * 31 + permissions;
    }

    /** The entry as a line of getfacl(1), with a name. */
    @Override
    public String toString() {
        return text(false);
    }
}
