package zolt.fs;

import java.io.IOException;
import java.nio.file.Path;
import java.util.Optional;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Why a user does not get at a path: the component that refuses, its owner, group, mode and access
 * control list, and the entry of that list which decides.
 *
 * <p>The path is walked with the identity that is asked about, so that it is the file system that
 * refuses; what refuses is then described with the rights of the superuser where the service has
 * them, and else with what the thread may see. What refuses everyone is asked of the kernel, in ways that
 * change nothing: no file is opened or written. Where another machine or program decides, or a limit that
 * cannot be seen, the answer is {@link Reason#UNKNOWN}.
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
        /** The component is a device on a file system that is mounted with the option "nodev". */
        NO_DEVICES,
        /** The component has the flag "immutable" of chattr(1): no one changes or removes it. */
        IMMUTABLE,
        /** The component has the flag "append only": no one writes over it, or removes it or from it. */
        APPEND_ONLY,
        /** The component is a sticky directory: only its owner removes what is not his own. */
        STICKY,
        /** In a sticky directory, another's link is not followed, and another's file not opened to be made. */
        PROTECTED,
        /** The file system has no block left for this user. */
        FULL,
        /** A file system is mounted on what is to be removed. */
        MOUNT_POINT,
        /** The file system refuses by a rule of its own, whatever owner, mode and list say. */
        FILE_SYSTEM,
        /** Nothing that can be seen refuses, but what decides cannot be seen: see {@link #explain}. */
        UNKNOWN,
        /** Anything else: see {@link #explain}. */
        OTHER
    }

    private final String path;
    final ThreadIdentity who;
    final Component component;
    final Reason reason;
    /** What is refused; null where it is not a matter of rights. */
    final Access refused;
    /** What the kernel asked the component for at once. */
    final int rights;
    final AccessCheck check;
    final Reason guard;
    final Mount mount;
    /** The system's text for the failure; "" for none. */
    final String error;
    /** What is to be removed from the component, and whose it is; null for nothing. */
    final String removed;
    final long removedUid;
    final String hidden;

    PathFailure(Diagnosis found) {
        path = found.walk.path;
        who = found.walk.who;
        component = found.component;
        reason = found.reason;
        refused = found.refused;
        rights = found.rights;
        check = found.check;
        guard = found.guard;
        mount = found.mount;
        error = found.walk.error;
        removed = found.walk.removed == null ? null : Component.absolute(found.walk.removed);
        removedUid = found.removedUid;
        hidden = found.hidden;
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
        return Diagnosis.of(new PathWalk(path, access));
    }

    /**
     * As {@link #of(String, Access)}.
     *
     * <pre>{@code
     * Path path = Paths.get("/no/such");
     * System.out.println(PathFailure.of(path, PathFailure.Access.LOOK).get()); // prints: /no does not exist
     * }</pre>
     *
     * @param path a path
     * @param access what is to be done with it
     * @return the failure; empty when nothing refuses
     * @throws IOException when what refuses cannot be looked at
     */
    public static Optional<PathFailure> of(Path path, Access access) throws IOException {
        return of(Check.text(path), access);
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
        PathWalk walk;
        try (Identity as = Identity.of(user)) {
            walk = new PathWalk(path, access);
        }
        return Diagnosis.of(walk);
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
        return component.path;
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
        return component.isLookedAt() ? check.granted() : 0;
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
        return component.inode;
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
     * @return the name, or the id in decimal where it has none; "" where the owner is not looked at
     */
    public String owner() {
        return component.owner();
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
     * @return the name, or the id in decimal where it has none; "" where the owner is not looked at
     */
    public String group() {
        return component.group();
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
        return component.mode;
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
        return component.acl;
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
     * @return the mount point; empty unless the reason, or the {@link #guard}, is {@link Reason#READ_ONLY},
     *     {@link Reason#NO_EXEC} or {@link Reason#NO_DEVICES}, and where the mount is that of a chroot's root,
     *     which cannot be seen
     */
    public Optional<String> mountPoint() {
        boolean whole = guard == Reason.READ_ONLY || reason == Reason.READ_ONLY || reason == Reason.NO_EXEC
                || reason == Reason.NO_DEVICES;
        boolean ofMount = whole && mount != null && (guard != Reason.READ_ONLY && reason != Reason.READ_ONLY
                || mount.isReadOnly());
        return ofMount ? Optional.of(mount.point()) : Optional.empty();
    }

    /**
     * Why the file system that is read-only cannot be mounted for writing, where that shows: its device is
     * write-protected, it is an overlay of lower directories alone, or of a type that is never written.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.writeProtection().isPresent()); // prints: false
     * }</pre>
     *
     * @return a clause; empty unless the reason, or the {@link #guard}, is {@link Reason#READ_ONLY}
     */
    public Optional<String> writeProtection() {
        return mount != null && (guard == Reason.READ_ONLY || reason == Reason.READ_ONLY) ? mount.writeProtection()
                : Optional.empty();
    }

    /**
     * What else becomes writable when the mount that refuses is mounted for writing, since it is the file system that is
     * read-only, and it is mounted elsewhere, or as a whole.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.writableToo().isPresent()); // prints: false
     * }</pre>
     *
     * @return a clause; empty for nothing, and unless the reason, or the {@link #guard}, is {@link Reason#READ_ONLY}
     */
    public Optional<String> writableToo() {
        return mount != null && (guard == Reason.READ_ONLY || reason == Reason.READ_ONLY) ? mount.writableToo()
                : Optional.empty();
    }

    /**
     * What keeps the rights that refuse from being changed.
     *
     * <pre>{@code
     * FileOperations.setPermissions(file, 0600);
     * PathFailure failure = PathFailure.of(file, "nobody", PathFailure.Access.READ).get();
     * System.out.println(failure.guard().isPresent()); // prints: false
     * }</pre>
     *
     * @return {@link Reason#READ_ONLY}, {@link Reason#IMMUTABLE}, {@link Reason#APPEND_ONLY},
     *     {@link Reason#FILE_SYSTEM} where there are no access control lists, or {@link Reason#UNKNOWN} where its owner
     *     may have no id on that mount; empty for nothing, and unless the
     *     reason is {@link Reason#REFUSED}
     */
    public Optional<Reason> guard() {
        return Optional.ofNullable(guard);
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
        return Optional.ofNullable(reason == Reason.REFUSED ? check.deciding(rights) : null);
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
        return FailureText.of(this);
    }

    /** As {@link #explain}. */
    @Override
    public String toString() {
        return explain();
    }
}
