package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
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
    /** The component as the kernel has it, with no link in it. */
    private String real;
    /** What could not be seen in the component. */
    private String unseen;
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
        failure.walk(Paths.get(path).toAbsolutePath().toString(), 0, true);
        return failure.describe();
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
        PathFailure failure;
        try (Identity as = Identity.of(user)) {
            failure = new PathFailure(path, access);
            failure.walk(Paths.get(path).toAbsolutePath().toString(), 0, true);
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

    /**
     * Looks at each component from the root on; the first that cannot be seen ends the walk.
     *
     * @param links how many links have led here
     * @param trailing whether the walk ends where the path does, and not on the way
     */
    private void walk(String absolute, int links, boolean trailing) throws IOException {
        String last = "/";
        for (int end = 1; end > 0 && end < absolute.length();) {
            int slash = absolute.indexOf('/', end);
            String next = slash < 0 ? absolute : absolute.substring(0, slash);
            end = slash < 0 ? -1 : slash + 1;
            boolean remove = access == Access.REMOVE && links == 0 && end < 0;
            try {
                FileOperations.inode(next, !remove);
            } catch (IOException e) {
                if (blame(last, next, e, links, trailing && end < 0)) {
                    return;
                }
            }
            if (remove) {
                removed = next;
                break;
            }
            last = next;
        }
        if (access != Access.LOOK && links == 0) {
            component = last;
            refused = access == Access.REMOVE ? Access.WRITE : access;
        }
    }

    /** Finds the reason; false where there is none, since the kernel goes another way than a look. */
    private boolean blame(String parent, String child, IOException e, int links, boolean trailing)
            throws IOException {
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
                    links + 1, trailing);
            if (reason != null) {
                return true;
            }
        }
        error = e.getMessage();
        component = child;
        if (e instanceof NoSuchFileException) {
            reason = Reason.MISSING;
        } else if (!(e instanceof AccessDeniedException)) {
            reason = Reason.OTHER;
        } else if (!there) {
            component = parent;
            unseen = child;
            refused = Access.EXECUTE;
            reason = Reason.REFUSED;
        } else if (trailing) {
            reason = isProtectedLink(parent, child) ? Reason.PROTECTED : Reason.OTHER;
        }
        if (reason == null) {
            // On the way, the kernel follows a link also where it would not at the end.
            component = null;
        }
        return reason != null;
    }

    private boolean isProtectedLink(String parent, String link) throws IOException {
        return StickyRules.refusesLink(StickyRules.level("protected_symlinks"),
                attribute(parent, "mode", true), id(parent, true), id(link, false), who.uid());
    }

    private static long id(String path, boolean follow) throws IOException {
        return Integer.toUnsignedLong(attribute(path, "uid", follow));
    }

    private static int attribute(String path, String name, boolean follow) throws IOException {
        LinkOption[] options = follow ? new LinkOption[0] : new LinkOption[] {LinkOption.NOFOLLOW_LINKS};
        return (Integer) Files.getAttribute(Paths.get(path), "unix:" + name, options);
    }

    private Optional<PathFailure> describe() throws IOException {
        if (component == null) {
            return seen();
        }
        if (reason == Reason.MISSING || reason == Reason.PROTECTED) {
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
            if (reason == null) {
                reason = obstacle();
            } else if (reason == Reason.REFUSED && (overrides(refused.bit) || granted())) {
                // The component lets this user pass, so it is what lies in it that refuses.
                reason = Reason.FILE_SYSTEM;
                mount = Mount.of(unseen).filter(found -> found.isAt(unseen)).orElse(null);
                pointAt(unseen);
            }
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
        return reason == null ? Optional.empty() : Optional.of(this);
    }

    /** What could be looked at, unless it was the process that could. */
    private Optional<PathFailure> seen() {
        mount = Mount.of(path).filter(found -> found.asksProcess(who.isProcess())).orElse(null);
        if (mount == null) {
            return Optional.empty();
        }
        component = path;
        reason = Reason.UNKNOWN;
        refused = Access.LOOK;
        return Optional.of(this);
    }

    /** Says that something else refuses than what was looked at. */
    private void pointAt(String other) {
        component = other;
        described = false;
        acl = Acl.of();
    }

    /** In the order in which a change of rights does not help, helps, and does not help enough. */
    private Reason obstacle() throws IOException {
        FileType type = FileType.ofMode(mode);
        boolean hasContents = type == FileType.FILE || type == FileType.DIRECTORY;
        Reason whole = mount == null ? null : obstacleOfMount(type, hasContents);
        if (whole != null) {
            return whole;
        }
        Probe.Answer answer = Probe.access(real, refused);
        if (refused == Access.WRITE) {
            Reason flag = obstacleOfFlags(answer);
            if (flag != null) {
                return flag;
            }
            if (hasContents && answer == Probe.Answer.FORBIDDEN_TO_ALL) {
                return Reason.READ_ONLY;
            }
        }
        if (!overrides(refused.bit) && !granted()) {
            return Reason.REFUSED;
        }
        // To make a file in a directory is to search it as well.
        if (access == Access.WRITE && type == FileType.DIRECTORY && !overrides(AclEntry.EXECUTE)
                && (permitted() & AclEntry.EXECUTE) == 0) {
            refused = Access.EXECUTE;
            deciding = decide(refused.bit);
            return Reason.REFUSED;
        }
        // access(2) asks for the process: its refusal counts where the process could not have less rights.
        if (answer == Probe.Answer.DENIED && (who.hasAllAccess() || who.isProcess() && granted())) {
            return refused == Access.EXECUTE && type == FileType.FILE && mount == null ? Reason.NO_EXEC
                    : Reason.FILE_SYSTEM;
        }
        if (access == Access.REMOVE) {
            return obstacleOfRemoval();
        }
        return access == Access.WRITE ? obstacleOfWriting(type, hasContents) : null;
    }

    private Reason obstacleOfMount(FileType type, boolean hasContents) {
        if (mount.isReadOnly() && refused == Access.WRITE && hasContents) {
            return Reason.READ_ONLY;
        }
        if (mount.isNoExec() && refused == Access.EXECUTE && type == FileType.FILE) {
            return Reason.NO_EXEC;
        }
        boolean device = type == FileType.CHARACTER_DEVICE || type == FileType.BLOCK_DEVICE;
        if (mount.isNoDevices() && device && access != Access.REMOVE && refused != Access.EXECUTE) {
            return Reason.NO_DEVICES;
        }
        return mount.decidedBy(who.uid(), who.isProcess()).isPresent() ? Reason.UNKNOWN : null;
    }

    private Reason obstacleOfFlags(Probe.Answer answer) {
        if (Probe.isFlagged(real)) {
            return answer == Probe.Answer.FORBIDDEN_TO_ALL ? Reason.IMMUTABLE : Reason.APPEND_ONLY;
        }
        if (removed != null && Probe.isFlagged(removed)) {
            boolean link = Files.isSymbolicLink(Paths.get(removed)); // which access(2) follows
            pointAt(removed);
            return link || Probe.access(removed, Access.WRITE) == Probe.Answer.FORBIDDEN_TO_ALL
                    ? Reason.IMMUTABLE : Reason.APPEND_ONLY;
        }
        return null;
    }

    private Reason obstacleOfRemoval() {
        if ((mode & STICKY_BIT) != 0 && who.uid() != uid && removed != null && who.uid() != removedUid
                && !who.has(ThreadIdentity.CAP_FOWNER)) {
            return Reason.STICKY;
        }
        return removed == null || isMountPoint(removed) ? Reason.MOUNT_POINT : null;
    }

    private Reason obstacleOfWriting(FileType type, boolean hasContents) throws IOException {
        if (type != FileType.DIRECTORY && type != FileType.SOCKET) {
            String parent = Paths.get(real).getParent().toString();
            if (StickyRules.refusesCreating(StickyRules.creating(type), attribute(parent, "mode", true),
                    id(parent, true), uid, who.uid())) {
                return Reason.PROTECTED;
            }
        }
        if (!hasContents) {
            return null;
        }
        if (Probe.isFull(real, who.has(ThreadIdentity.CAP_SYS_RESOURCE)
                || mount != null && mount.reservesFor(who.uid()))) {
            return Reason.FULL;
        }
        return mount != null && mount.hasQuotas() ? Reason.UNKNOWN : null;
    }

    private static boolean isMountPoint(String path) {
        return !Files.isSymbolicLink(Paths.get(path))
                && Mount.of(path).filter(mount -> mount.isAt(path)).isPresent();
    }

    private void look() throws IOException {
        // The superuser may not follow another's link in a sticky directory: the way without links is looked at.
        real = Paths.get(component).toRealPath().toString();
        FileStatus status = new FileStatus();
        status.readFast(real);
        inode = status.inode();
        uid = status.uid();
        gid = status.gid();
        mode = status.mode();
        acl = listOrMode();
        described = true;
        if (refused != null) {
            deciding = decide(refused.bit);
            mount = Mount.of(real).orElse(null);
        }
        if (removed != null) {
            removedUid = id(removed, false);
        }
    }

    /** A file system without access control lists has modes. */
    private Acl listOrMode() throws IOException {
        try {
            return Acl.get(real);
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
     * @return the name, or the id in decimal where it has none; "" where the owner is not looked at
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
     * @return the name, or the id in decimal where it has none; "" where the owner is not looked at
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
     * @return the mount point; empty unless the reason is {@link Reason#READ_ONLY}, {@link Reason#NO_EXEC} or
     *     {@link Reason#NO_DEVICES}, and where the mount is that of a chroot's root, which cannot be seen
     */
    public Optional<String> mountPoint() {
        boolean whole = reason == Reason.READ_ONLY || reason == Reason.NO_EXEC
                || reason == Reason.NO_DEVICES;
        return whole && mount != null ? Optional.of(mount.point()) : Optional.empty();
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
                return "no one may write " + component + ": " + place() + " is mounted read-only";
            case NO_EXEC:
                return "no one may execute " + component + ": " + place() + " is mounted noexec";
            case NO_DEVICES:
                return "no one may open " + component + ": " + place() + " is mounted nodev";
            case IMMUTABLE:
                return "no one may write or remove " + component + ": it is immutable (chattr +i)";
            case APPEND_ONLY:
                return (FileType.ofMode(mode) == FileType.DIRECTORY && described
                        ? "files may be made in " + component + ", but not removed"
                        : component + " may be appended to, but not written over or removed")
                        + ": it is append only (chattr +a)";
            case PROTECTED:
                return protection();
            case FULL:
                return user() + " may write " + component + ", but there is no block"
                        + " left for that";
            case FILE_SYSTEM:
                return user() + " gets no access to " + component + ": " + decider();
            case UNKNOWN:
                return "it is not known whether " + user() + " may "
                        + (removed != null ? "remove " + removed
                                : (refused == Access.LOOK ? "look at" : refused.verb) + " " + component) + ": "
                        + decider();
            case STICKY:
                return mayNot("remove " + removed + " from " + component) + "the directory is sticky, and "
                        + user() + " owns neither it nor what is to be removed,"
                        + " which is " + Accounts.userOrId(removedUid) + "'s";
            case MOUNT_POINT:
                return "no one may remove " + (removed == null ? component : removed)
                        + ": a file system is mounted there";
            default:
                return component + ": " + error;
        }
    }

    private String user() {
        return Accounts.userOrId(who.uid());
    }

    private String place() {
        return mount == null ? "its file system" : mount.point();
    }

    private String protection() {
        return described
                ? user() + " may write " + component + ", but not open it with O_CREAT, as a shell does: in a"
                        + " sticky directory, that is for its own owner and for the directory's"
                        + StickyRules.setting(FileType.ofMode(mode))
                : user() + " may not follow the link " + component + ": in a sticky directory that everyone"
                        + " may write, links are followed for their owner, or if the directory's owner made"
                        + " them (fs.protected_symlinks)";
    }

    private String decider() {
        if (mount == null) {
            return "the kernel refuses it, whatever owner, mode and list say";
        }
        return mount.decidedBy(who.uid(), who.isProcess()).orElse(reason == Reason.UNKNOWN
                ? "owner, mode and list permit it, but " + mount.point() + " has quotas, which only the kernel"
                        + " knows"
                : "the kernel refuses it, whatever owner, mode and list say");
    }

    private String refusal() {
        String user = user();
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
        return user() + " may not " + what + " ("
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
