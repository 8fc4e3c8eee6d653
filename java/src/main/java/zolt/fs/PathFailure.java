package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Paths;
import java.util.Optional;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Why a user does not get at a path: the component that refuses, its owner, group, mode and access
 * control list, and the entry of that list which decides.
 *
 * <p>The path is walked with the identity that is asked about, so that it is the file system that
 * refuses; what refuses is then described with the rights of the superuser where the service has
 * them, and else with what the thread may see.
 *
 * <pre>{@code
 * FileOperations.setPermissions(directory, 0700);
 * PathFailure failure = PathFailure.of(inner, "nobody", PathFailure.Access.LOOK).get();
 * System.out.println(failure.component().equals(directory)); // prints: true
 * System.out.println(failure.decidingEntry().get()); // prints: other::---
 * }</pre>
 */
public final class PathFailure {
    /** What is to be done with the path. */
    public enum Access {
        /** To look at its status: to search every directory on the way. */
        LOOK(0, "search"),
        /** To read it, or to list it. */
        READ(AclEntry.READ, "read"),
        /** To write it, or to make and remove files in it. */
        WRITE(AclEntry.WRITE, "write"),
        /** To execute it, or to search it. */
        EXECUTE(AclEntry.EXECUTE, "execute"),
        /** To remove or rename it, itself and not what a symbolic link leads to: to write its directory. */
        REMOVE(AclEntry.WRITE, "remove");

        final int bit;
        final String verb;

        Access(int bit, String verb) {
            this.bit = bit;
            this.verb = verb;
        }
    }

    /** The kind of a failure. */
    public enum Reason {
        /** The component is not there, or is reached through something that is no directory. */
        MISSING,
        /** Owner, mode or access control list of the component refuse. */
        REFUSED,
        /** The component is on a file system that is mounted read-only. */
        READ_ONLY,
        /** The component is on a file system that is mounted with the option "noexec". */
        NO_EXEC,
        /** The component is a sticky directory: only its owner removes what is not his own. */
        STICKY,
        /** A file system is mounted on what is to be removed. */
        MOUNT_POINT,
        /** Anything else: see {@link #explain}. */
        OTHER
    }

    /** As many links as the kernel follows (path_resolution(7)). */
    private static final int MOST_LINKS = 40;

    private static final int OWNER_SHIFT = 6;
    private static final int GROUP_SHIFT = 3;
    private static final int ALL_BITS = 7;
    private static final int GROUP_CLASS = 0070;
    private static final int ANY_EXECUTE = 0111;
    private static final int STICKY_BIT = 01000;

    private final String path;
    private final ThreadIdentity who;
    private final Access access;
    private String component;
    private Access refused;
    private Reason reason;
    private String error = "";
    private long inode;
    private long uid;
    private long gid;
    private int mode;
    private boolean described;
    private Acl acl = Acl.of();
    private AclEntry deciding;
    private Mount mount;
    /** What is to be removed, and whose it is. */
    private String removed;
    private long removedUid;

    private PathFailure(String path, Access access) throws IOException {
        this.path = path;
        this.access = access;
        this.who = ThreadIdentity.now();
    }

    /**
     * What keeps the calling thread, with the identity that it has, from a path.
     *
     * <pre>{@code
     * System.out.println(PathFailure.of(file, PathFailure.Access.READ).isPresent()); // prints: false
     * }</pre>
     *
     * @param path a path
     * @param access what is to be done with it
     * @return the failure; empty when nothing refuses
     * @throws IOException when what refuses cannot be looked at
     */
    public static Optional<PathFailure> of(String path, Access access) throws IOException {
        PathFailure failure = new PathFailure(path, access);
        failure.walk(Paths.get(path).toAbsolutePath().toString(), 0);
        return failure.describe();
    }

    /**
     * What keeps a user from a path.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.reason()); // prints: REFUSED
     * }</pre>
     *
     * @param path a path
     * @param user the name of a user
     * @param access what is to be done with the path
     * @return the failure; empty when nothing refuses
     * @throws IOException for an unknown user, for an identity that the thread may not take on, and
     *     when what refuses cannot be looked at
     */
    public static Optional<PathFailure> of(String path, String user, Access access)
            throws IOException {
        PathFailure failure;
        try (Identity as = Identity.ofKnown(user)) {
            failure = new PathFailure(path, access);
            failure.walk(Paths.get(path).toAbsolutePath().toString(), 0);
        }
        return failure.describe();
    }

    /**
     * Writes the library's own report on a path into the log, where its level is trace; else it does
     * nothing. It leaves the thread with the identity of the service: what an open {@link Identity}
     * gave is gone until that is closed.
     *
     * <pre>{@code
     * PathFailure.log(file, true);
     * }</pre>
     *
     * @param path a path
     * @param followLink whether a symbolic link at its end is followed
     */
    public static void log(String path, boolean followLink) {
        ZOLTNative.getFailedPathNative(Check.notNull(path, "path"), followLink);
    }

    /** Looks at each component from the root on; the first that cannot be seen ends the walk. */
    private void walk(String absolute, int links) throws IOException {
        String last = "/";
        for (int end = 1; end > 0 && end < absolute.length();) {
            int slash = absolute.indexOf('/', end);
            String next = slash < 0 ? absolute : absolute.substring(0, slash);
            end = slash < 0 ? -1 : slash + 1;
            boolean remove = access == Access.REMOVE && links == 0 && end < 0;
            try {
                FileOperations.inode(next, !remove);
            } catch (IOException e) {
                blame(last, next, e, links);
                return;
            }
            if (remove) {
                removed = next;
                break;
            }
            last = next;
        }
        if (access != Access.LOOK) {
            component = last;
            refused = access == Access.REMOVE ? Access.WRITE : access;
        }
    }

    private void blame(String parent, String child, IOException e, int links) throws IOException {
        boolean there = true;
        try {
            FileOperations.inode(child, false);
        } catch (IOException alsoNotItself) {
            there = false;
        }
        if (there && links < MOST_LINKS) {
            // A link that can be seen, to what cannot: the reason lies on that way.
            byte[] target = FileOperations.linkTarget(child);
            walk(Paths.get(parent).resolve(new String(target, StandardCharsets.UTF_8)).toString(),
                    links + 1);
            if (reason != null) {
                return;
            }
        }
        error = e.getMessage();
        if (e instanceof NoSuchFileException) {
            component = child;
            reason = Reason.MISSING;
        } else if (e instanceof AccessDeniedException && !there) {
            component = parent;
            refused = Access.EXECUTE;
            reason = Reason.REFUSED;
        } else {
            component = child;
            reason = Reason.OTHER;
        }
    }

    private Optional<PathFailure> describe() throws IOException {
        if (component == null) {
            return Optional.empty();
        }
        if (reason == Reason.MISSING) {
            return Optional.of(this);
        }
        Identity superuser = null;
        try {
            superuser = Identity.superuser();
        } catch (IOException mayNot) {
            // Then what the thread may see has to do.
        }
        try {
            look();
        } catch (IOException e) {
            if (reason != Reason.OTHER) {
                throw e;
            }
            // What refuses in another way may not let itself be looked at either.
        } finally {
            if (superuser != null) {
                superuser.close();
            }
        }
        if (reason == null) {
            reason = obstacle();
        }
        return reason == null ? Optional.empty() : Optional.of(this);
    }

    /** In the order in which a change of rights does not help, helps, and does not help enough. */
    private Reason obstacle() {
        FileType type = FileType.ofMode(mode);
        if (mount != null && mount.isReadOnly() && refused == Access.WRITE
                && (type == FileType.FILE || type == FileType.DIRECTORY)) {
            return Reason.READ_ONLY;
        }
        if (mount != null && mount.isNoExec() && refused == Access.EXECUTE && type == FileType.FILE) {
            return Reason.NO_EXEC;
        }
        if (!overrides(refused.bit) && !granted()) {
            return Reason.REFUSED;
        }
        if (access != Access.REMOVE) {
            return null;
        }
        if ((mode & STICKY_BIT) != 0 && who.uid() != uid && removed != null && who.uid() != removedUid
                && !who.has(ThreadIdentity.CAP_FOWNER)) {
            return Reason.STICKY;
        }
        return removed == null || isMountPoint(removed) ? Reason.MOUNT_POINT : null;
    }

    private static boolean isMountPoint(String path) {
        return !Files.isSymbolicLink(Paths.get(path))
                && Mount.of(path).filter(mount -> mount.isAt(path)).isPresent();
    }

    private void look() throws IOException {
        FileStatus status = new FileStatus();
        status.readFast(component);
        inode = status.inode();
        uid = status.uid();
        gid = status.gid();
        mode = status.mode();
        acl = listOrMode();
        described = true;
        if (refused != null) {
            deciding = decide(refused.bit);
        }
        if (refused == Access.WRITE || refused == Access.EXECUTE) {
            mount = Mount.of(component).orElse(null);
        }
        if (removed != null) {
            removedUid = Integer.toUnsignedLong((Integer) Files.getAttribute(Paths.get(removed),
                    "unix:uid", LinkOption.NOFOLLOW_LINKS));
        }
    }

    /** A file system without access control lists has modes. */
    private Acl listOrMode() throws IOException {
        try {
            return Acl.get(component);
        } catch (AccessDeniedException | NoSuchFileException e) {
            throw e;
        } catch (IOException unsupported) {
            return Acl.of(AclEntry.base(AclEntry.Type.OWNER, mode >> OWNER_SHIFT & ALL_BITS),
                    AclEntry.base(AclEntry.Type.OWNING_GROUP, mode >> GROUP_SHIFT & ALL_BITS),
                    AclEntry.base(AclEntry.Type.OTHER, mode & ALL_BITS));
        }
    }

    /** Whether a capability permits it, whatever the list says (capabilities(7)). */
    private boolean overrides(int bit) {
        boolean directory = FileType.ofMode(mode) == FileType.DIRECTORY;
        if (bit == AclEntry.EXECUTE && !directory && (mode & ANY_EXECUTE) == 0) {
            return false;
        }
        return who.has(ThreadIdentity.CAP_DAC_OVERRIDE)
                || who.has(ThreadIdentity.CAP_DAC_READ_SEARCH)
                && (bit == AclEntry.READ || bit == AclEntry.EXECUTE && directory);
    }

    private boolean granted() {
        return (acl.effective(deciding) & refused.bit) != 0;
    }

    /**
     * The entry that decides, by the access check algorithm of acl(5). Where the mode gives the group
     * class nothing, Linux does not look at the list: owner, owning group and others count alone.
     */
    private AclEntry decide(int bit) {
        boolean modeAlone = (mode & GROUP_CLASS) == 0;
        AclEntry other = null;
        AclEntry refusingGroup = null;
        for (AclEntry entry : acl.entries()) {
            if (entry.scope() == AclEntry.Scope.DEFAULT || modeAlone && entry.type().isNamed()) {
                continue;
            }
            switch (entry.type()) {
                case OWNER:
                    if (who.uid() == uid) {
                        return entry;
                    }
                    break;
                case USER:
                    if (who.uid() == entry.id()) {
                        return entry;
                    }
                    break;
                case OWNING_GROUP:
                case GROUP:
                    if (isMember(entry.type() == AclEntry.Type.GROUP ? entry.id() : gid)) {
                        if ((acl.effective(entry) & bit) != 0) {
                            return entry;
                        }
                        refusingGroup = refusingGroup == null ? entry : refusingGroup;
                    }
                    break;
                case OTHER:
                    other = entry;
                    break;
                default:
                    break;
            }
        }
        return refusingGroup != null ? refusingGroup : other;
    }

    private boolean isMember(long group) {
        return who.gid() == group || who.groups().contains(group);
    }

    /**
     * The path that was asked about.
     *
     * <pre>{@code
     * PathFailure failure = PathFailure.of("/no/such", PathFailure.Access.LOOK).get();
     * System.out.println(failure.path()); // prints: /no/such
     * }</pre>
     *
     * @return the path as it was given
     */
    public String path() {
        return path;
    }

    /**
     * The identity that was asked about.
     *
     * <pre>{@code
     * PathFailure failure = PathFailure.of("/no/such", PathFailure.Access.LOOK).get();
     * System.out.println(failure.who().uid()); // prints: 0
     * }</pre>
     *
     * @return ids and groups as the kernel had them
     */
    public ThreadIdentity who() {
        return who;
    }

    /**
     * The component that refuses, or that is missing. It is on the path, or on that of a symbolic link
     * on the way.
     *
     * <pre>{@code
     * PathFailure failure = PathFailure.of("/no/such", PathFailure.Access.LOOK).get();
     * System.out.println(failure.component()); // prints: /no
     * }</pre>
     *
     * @return an absolute path
     */
    public String component() {
        return component;
    }

    /**
     * The kind of the failure.
     *
     * <pre>{@code
     * PathFailure failure = PathFailure.of("/no/such", PathFailure.Access.LOOK).get();
     * System.out.println(failure.reason()); // prints: MISSING
     * }</pre>
     *
     * @return the reason
     */
    public Reason reason() {
        return reason;
    }

    /**
     * What the component refuses: {@link Access#EXECUTE} of a directory that may not be searched.
     *
     * <pre>{@code
     * FileOperations.setPermissions(directory, 0700);
     * PathFailure failure = PathFailure.of(inner, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.refused().get()); // prints: EXECUTE
     * }</pre>
     *
     * @return the access; empty where owner, mode and access control list are not the reason
     */
    public Optional<Access> refused() {
        return Optional.ofNullable(reason == Reason.REFUSED ? refused : null);
    }

    /**
     * What the owner, mode and access control list of the component do permit.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0644);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.WRITE).get();
     * System.out.println(failure.permitted() == AclEntry.READ); // prints: true
     * }</pre>
     *
     * @return a sum of {@link AclEntry#READ}, {@link AclEntry#WRITE} and {@link AclEntry#EXECUTE}
     */
    public int permitted() {
        int permitted = 0;
        for (int bit : new int[] {AclEntry.READ, AclEntry.WRITE, AclEntry.EXECUTE}) {
            AclEntry entry = described ? decide(bit) : null;
            permitted |= entry == null ? 0 : acl.effective(entry) & bit;
        }
        return permitted;
    }

    /**
     * The inode number of the component.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.inode() == FileStatus.of(file).inode()); // prints: true
     * }</pre>
     *
     * @return the number; 0 for one that is missing, here and below
     */
    public long inode() {
        return inode;
    }

    /**
     * The owner of the component.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.owner()); // prints: root
     * }</pre>
     *
     * @return the name, or the id in decimal where it has none; "" for a component that is missing
     */
    public String owner() {
        return described ? Accounts.userOrId(uid) : "";
    }

    /**
     * The group of the component.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.group()); // prints: root
     * }</pre>
     *
     * @return the name, or the id in decimal where it has none; "" for a component that is missing
     */
    public String group() {
        return described ? Accounts.groupOrId(gid) : "";
    }

    /**
     * The mode of the component, as {@link FileStatus#mode}.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(Integer.toOctalString(failure.mode())); // prints: 100600
     * }</pre>
     *
     * @return type and permission bits
     */
    public int mode() {
        return mode;
    }

    /**
     * The access control list of the component.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.acl()); // prints: user::rw-,group::---,other::---
     * }</pre>
     *
     * @return the list; an empty one for a component that is missing
     */
    public Acl acl() {
        return acl;
    }

    /**
     * Where the file system is mounted that refuses as a whole.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.mountPoint().isPresent()); // prints: false
     * }</pre>
     *
     * @return the mount point; empty unless the reason is {@link Reason#READ_ONLY} or
     *     {@link Reason#NO_EXEC}
     */
    public Optional<String> mountPoint() {
        return reason == Reason.READ_ONLY || reason == Reason.NO_EXEC ? Optional.of(mount.point())
                : Optional.empty();
    }

    /**
     * The entry that refuses.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.decidingEntry().get()); // prints: other::---
     * }</pre>
     *
     * @return the entry; empty unless the reason is {@link Reason#REFUSED}
     */
    public Optional<AclEntry> decidingEntry() {
        return Optional.ofNullable(reason == Reason.REFUSED ? deciding : null);
    }

    /**
     * The failure in one plain sentence.
     *
     * <pre>{@code
     * PathFailure failure = PathFailure.of("/no/such", PathFailure.Access.LOOK).get();
     * System.out.println(failure.explain()); // prints: /no does not exist
     * }</pre>
     *
     * @return a sentence without a full stop
     */
    public String explain() {
        switch (reason) {
            case MISSING:
                return component + " does not exist";
            case REFUSED:
                return refusal();
            case READ_ONLY:
                return "no one may write " + component + ": " + mount.point() + " is mounted read-only";
            case NO_EXEC:
                return "no one may execute " + component + ": " + mount.point() + " is mounted noexec";
            case STICKY:
                return mayNot("remove " + removed + " from " + component) + "the directory is sticky, and "
                        + Accounts.userOrId(who.uid()) + " owns neither it nor what is to be removed,"
                        + " which is " + Accounts.userOrId(removedUid) + "'s";
            case MOUNT_POINT:
                return "no one may remove " + (removed == null ? component : removed)
                        + ": a file system is mounted there";
            default:
                return component + ": " + error;
        }
    }

    private String refusal() {
        String user = Accounts.userOrId(who.uid());
        boolean directory = FileType.ofMode(mode) == FileType.DIRECTORY;
        String verb = directory && refused == Access.EXECUTE ? Access.LOOK.verb
                : removed != null ? "remove anything from" : refused.verb;
        String text = mayNot(verb + " " + component);
        if (deciding == null || granted()) {
            return text + error;
        }
        return text + (acl.isMinimal() ? reasonOfMode(user) : reasonOfList(user));
    }

    private String mayNot(String what) {
        return Accounts.userOrId(who.uid()) + " may not " + what + " ("
                + FileStatus.modeText(mode, !acl.isMinimal()) + " " + owner() + " " + group() + "): ";
    }

    private String reasonOfMode(String user) {
        String given = AclEntry.letters(deciding.permissions());
        switch (deciding.type()) {
            case OWNER:
                return user + " is the owner, to whom the mode gives " + given;
            case OWNING_GROUP:
                return user + " is in the group, to which the mode gives " + given;
            default:
                return user + " is neither the owner nor in the group, and the mode gives others "
                        + given;
        }
    }

    private String reasonOfList(String user) {
        String entry = "the entry " + deciding + ((deciding.permissions() & refused.bit) != 0
                ? " permits it, but the mask takes it away" : " does not permit it");
        switch (deciding.type()) {
            case OWNER:
                return user + " is the owner, and " + entry;
            case USER:
                return entry;
            case OWNING_GROUP:
            case GROUP:
                String group = deciding.type() == AclEntry.Type.GROUP ? deciding.name() : group();
                return user + " is in the group " + group + ", and " + entry;
            default:
                return ((mode & GROUP_CLASS) == 0
                        ? "the mask takes everything, so that " + user + " is one of the others, and "
                        : user + " is not the owner, not in a group and not a user of an entry, and ")
                        + entry;
        }
    }

    /** As {@link #explain}. */
    @Override
    public String toString() {
        return explain();
    }
}
