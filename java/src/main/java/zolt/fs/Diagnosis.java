package zolt.fs;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;

/**
 * What refuses where a walk has ended. The component is looked at with the rights of the superuser where the
 * service has them, and else with what the thread may see; the kernel is asked in ways that change nothing.
 */
final class Diagnosis {
    private static final int STICKY_BIT = 01000;
    private static final int ANYBODY_READS = 0444;

    final PathWalk walk;
    PathFailure.Reason reason;
    PathFailure.Access refused;
    /** What the kernel asks the component for at once: a sum of {@link AclEntry#READ}, WRITE and EXECUTE. */
    int rights;
    Component component;
    /** Of the component that was looked at; null where it was not. */
    AccessCheck check;
    /** What keeps the component's rights from being changed; null for nothing, and where they do not refuse. */
    PathFailure.Reason guard;
    /** The mount that the component lies on, where that was asked; null too where it cannot be seen. */
    Mount mount;
    /** Whose it is that is to be removed. */
    long removedUid;
    /** What cannot be seen, and decides: a clause for a message; null for nothing. */
    String hidden;

    private Diagnosis(PathWalk walk) {
        this.walk = walk;
        this.reason = walk.reason;
        this.refused = walk.refused;
    }

    /** The failure of a walk, or of what it was for; empty where nothing refuses. */
    static Optional<PathFailure> of(PathWalk walk) throws IOException {
        Diagnosis diagnosis = new Diagnosis(walk);
        if (walk.component == null) {
            diagnosis.askOfTheProcess();
        } else {
            diagnosis.component = Component.named(walk.component);
            if (walk.reason != PathFailure.Reason.MISSING && walk.reason != PathFailure.Reason.PROTECTED) {
                diagnosis.look();
            }
        }
        return diagnosis.reason == null ? Optional.empty() : Optional.of(new PathFailure(diagnosis));
    }

    /** What could be looked at, unless it was the process that could. */
    private void askOfTheProcess() {
        mount = Mount.of(walk.path).filter(found -> found.asksProcess(walk.who.isProcess())).orElse(null);
        if (mount != null) {
            component = Component.named(walk.path);
            reason = PathFailure.Reason.UNKNOWN;
            refused = PathFailure.Access.LOOK;
        }
    }

    /** A superuser without CAP_DAC_OVERRIDE may be let in less far than the user. */
    private void look() throws IOException {
        if (!asSuperuser() && !found()) {
            hidden = "its owner, mode and list may not be looked at";
            component = Component.named(walk.component);
            reason = reason == null ? PathFailure.Reason.UNKNOWN : PathFailure.Reason.FILE_SYSTEM;
        }
    }

    private boolean asSuperuser() throws IOException {
        Identity superuser;
        try {
            superuser = Identity.superuser();
        } catch (IOException mayNot) {
            return false;
        }
        try {
            return found();
        } finally {
            superuser.close();
        }
    }

    /** False where the component may not be looked at. */
    private boolean found() throws IOException {
        try {
            find();
        } catch (AccessDeniedException e) {
            return reason == PathFailure.Reason.OTHER;
        } catch (IOException e) {
            if (reason != PathFailure.Reason.OTHER) {
                throw e;
            }
            // What refuses in another way may not let itself be looked at either.
        }
        return true;
    }

    private void find() throws IOException {
        component = Component.look(walk.component);
        check = new AccessCheck(walk.who, component.uid, component.gid, component.mode, component.acl);
        rights = rights(component.type(), refused);
        mount = refused == null ? null : Mount.of(component.real).orElse(null);
        removedUid = walk.removed == null ? 0 : Component.uid(walk.removed, false);
        if (reason == null) {
            reason = obstacle();
            guard = reason == PathFailure.Reason.REFUSED ? guard() : null;
        } else if (reason == PathFailure.Reason.REFUSED && (hidesList() || hidesIds() && check.permits(rights))) {
            reason = PathFailure.Reason.FILE_SYSTEM;
        } else if (reason == PathFailure.Reason.REFUSED && check.permits(rights)) {
            // The component lets this user pass, so it is what lies in it that refuses.
            reason = PathFailure.Reason.FILE_SYSTEM;
            mount = Mount.of(walk.unseen).filter(found -> found.isAt(walk.unseen)).orElse(null);
            component = Component.named(walk.unseen);
        } else if (reason == PathFailure.Reason.REFUSED) {
            guard = guard();
        }
    }

    /** In the order in which the kernel asks before it changes rights. */
    private PathFailure.Reason guard() throws IOException {
        if (mount != null && mount.isReadOnly()) {
            return PathFailure.Reason.READ_ONLY;
        }
        if (hidesIds() || mount != null && mount.isIdMapped() && hidesUser()) {
            return PathFailure.Reason.UNKNOWN;
        }
        if (Probe.isFlagged(component.real)) {
            return flag(component.real);
        }
        if (Probe.access(component.real, PathFailure.Access.WRITE) == Probe.Answer.FORBIDDEN_TO_ALL || isBelowReadOnly()) {
            return PathFailure.Reason.READ_ONLY;
        }
        return component.keepsLists ? null : PathFailure.Reason.FILE_SYSTEM;
    }

    /**
     * Whether the directory of a FIFO, a socket or a device is on a mount that is read-only, and that the table does not
     * have: they themselves can be opened for writing there.
     */
    private boolean isBelowReadOnly() {
        FileType type = component.type();
        Path directory = Paths.get(component.real).getParent();
        return type != FileType.FILE && type != FileType.DIRECTORY && mount == null && directory != null
                && !Probe.isFlagged(directory.toString())
                && Probe.access(directory.toString(), PathFailure.Access.WRITE) == Probe.Answer.FORBIDDEN_TO_ALL;
    }

    private static PathFailure.Reason flag(String path) {
        return Probe.access(path, PathFailure.Access.WRITE) == Probe.Answer.FORBIDDEN_TO_ALL
                ? PathFailure.Reason.IMMUTABLE : PathFailure.Reason.APPEND_ONLY;
    }

    /** In the order in which a change of rights does not help, helps, and does not help enough. */
    private PathFailure.Reason obstacle() throws IOException {
        if (walk.access == PathFailure.Access.REMOVE && (walk.removed == null || Mount.isUpon(walk.removed))) {
            return PathFailure.Reason.MOUNT_POINT; // whatever its directory gives
        }
        FileType type = component.type();
        boolean hasContents = type == FileType.FILE || type == FileType.DIRECTORY;
        if (refused == PathFailure.Access.EXECUTE && !hasContents) {
            return PathFailure.Reason.FILE_SYSTEM; // whatever its mode and mount give
        }
        PathFailure.Reason whole = mount == null ? null : obstacleOfMount(type, hasContents);
        if (whole != null) {
            return whole;
        }
        Probe.Answer answer = Probe.access(component.real, refused);
        // To read or execute, the process itself has been told by the kernel.
        PathFailure.Reason unseen = answer == Probe.Answer.PERMITTED && refused != PathFailure.Access.WRITE
                && walk.who.isProcess() ? null : PathFailure.Reason.UNKNOWN;
        if (hidesIds()) {
            return unseen;
        }
        if (refused == PathFailure.Access.WRITE) {
            PathFailure.Reason flag = obstacleOfFlags(answer);
            if (flag != null) {
                return flag;
            }
            if (hasContents && answer == Probe.Answer.FORBIDDEN_TO_ALL) {
                return PathFailure.Reason.READ_ONLY;
            }
        }
        if (hidesList()) {
            return unseen;
        }
        if (!check.permits(rights)) {
            if (check.permits(refused.bit) && !check.permits(rights & ~refused.bit)) {
                refused = PathFailure.Access.EXECUTE;
                rights = refused.bit;
            }
            return PathFailure.Reason.REFUSED;
        }
        // access(2) asks for the process: its refusal counts where the process could not have less rights.
        if (answer == Probe.Answer.DENIED && (walk.who.hasAllAccess()
                || walk.who.isProcess() && !walk.who.accessHasLess() && check.grants(rights))) {
            return refused == PathFailure.Access.EXECUTE && type == FileType.FILE && mount == null
                    ? PathFailure.Reason.NO_EXEC : PathFailure.Reason.FILE_SYSTEM;
        }
        if (refused == PathFailure.Access.WRITE && component.byLinkAlone) {
            return PathFailure.Reason.UNKNOWN;
        }
        if (walk.access == PathFailure.Access.REMOVE) {
            return obstacleOfRemoval();
        }
        boolean isOverridden = (component.mode & ANYBODY_READS) == 0 && refused == PathFailure.Access.READ;
        if (mount != null && (mount.asksAtOpen(component.real) || isOverridden && mount.isOfTheKernel())) {
            return PathFailure.Reason.UNKNOWN;
        }
        return walk.access == PathFailure.Access.WRITE ? obstacleOfWriting(type, hasContents) : null;
    }

    /** To make or remove something in a directory is to search it as well. */
    private static int rights(FileType type, PathFailure.Access access) {
        return access == null ? 0 : access == PathFailure.Access.WRITE && type == FileType.DIRECTORY
                ? AclEntry.WRITE | AclEntry.EXECUTE : access.bit;
    }

    private PathFailure.Reason obstacleOfMount(FileType type, boolean hasContents) {
        if (mount.isReadOnly() && refused == PathFailure.Access.WRITE && hasContents) {
            return PathFailure.Reason.READ_ONLY;
        }
        if (mount.isNoExec() && refused == PathFailure.Access.EXECUTE && type == FileType.FILE) {
            return PathFailure.Reason.NO_EXEC;
        }
        boolean device = type == FileType.CHARACTER_DEVICE || type == FileType.BLOCK_DEVICE;
        if (mount.isNoDevices() && device && walk.access != PathFailure.Access.REMOVE
                && refused != PathFailure.Access.EXECUTE) {
            return PathFailure.Reason.NO_DEVICES;
        }
        return mount.decidedBy(walk.who.uid(), walk.who.isProcess()).isPresent()
                ? PathFailure.Reason.UNKNOWN : null;
    }

    private PathFailure.Reason obstacleOfFlags(Probe.Answer answer) {
        if (Probe.isFlagged(component.real)) {
            return mount != null && mount.hasFixedFlags() ? PathFailure.Reason.FILE_SYSTEM
                    : answer == Probe.Answer.FORBIDDEN_TO_ALL ? PathFailure.Reason.IMMUTABLE
                            : PathFailure.Reason.APPEND_ONLY;
        }
        if (walk.removed != null && Probe.isFlagged(walk.removed)) {
            component = Component.named(walk.removed);
            boolean link = Files.isSymbolicLink(Paths.get(walk.removed)); // which access(2) follows
            return link || Probe.access(walk.removed, PathFailure.Access.WRITE)
                    == Probe.Answer.FORBIDDEN_TO_ALL ? PathFailure.Reason.IMMUTABLE
                            : PathFailure.Reason.APPEND_ONLY;
        }
        return null;
    }

    private PathFailure.Reason obstacleOfRemoval() {
        if ((component.mode & STICKY_BIT) != 0 && walk.who.uid() != component.uid && walk.removed != null
                && walk.who.uid() != removedUid && !walk.who.has(ThreadIdentity.CAP_FOWNER)) {
            return PathFailure.Reason.STICKY;
        }
        return mount != null && mount.isOfTheKernel() ? PathFailure.Reason.UNKNOWN : null;
    }

    private PathFailure.Reason obstacleOfWriting(FileType type, boolean hasContents) throws IOException {
        if (type != FileType.DIRECTORY && type != FileType.SOCKET) {
            Path directory = Paths.get(component.real).getParent();
            String parent = directory == null ? "." : directory.toString();
            if (StickyRules.refusesCreating(StickyRules.creating(type), Component.mode(parent),
                    Component.uid(parent, true), component.uid, walk.who.uid())) {
                return PathFailure.Reason.PROTECTED;
            }
        }
        if (!hasContents) {
            return null;
        }
        if (mount != null && mount.isRemoved()) {
            return PathFailure.Reason.OTHER;
        }
        List<Long> groups = new ArrayList<>(walk.who.groups());
        groups.add(walk.who.gid());
        if (Probe.isFull(component.real, walk.who.has(ThreadIdentity.CAP_SYS_RESOURCE)
                || mount != null && mount.reservesFor(walk.who.uid(), groups))) {
            return PathFailure.Reason.FULL;
        }
        return mount != null && (mount.hasQuotas() || mount.isOfTheKernel()) ? PathFailure.Reason.UNKNOWN : null;
    }

    /** Whether a list decides, and cannot be read. */
    private boolean hidesList() {
        if (!component.isListUnread || check.overrides(rights)) {
            return false;
        }
        hidden = "it has an access control list, and there is no libacl to read it";
        return true;
    }

    /** Whether it has an id there cannot be seen. */
    private boolean hidesUser() throws IOException {
        hidden = Accounts.userOrId(walk.who.uid()) + " may have no id on " + mount.point() + " (idmapped)";
        return true;
    }

    /**
     * Whether owner, group or user may have no id on a mount that has others, or in a user namespace. What has none is
     * shown as the overflow id, and no capability counts for it; and whoever has none makes nothing.
     */
    private boolean hidesIds() throws IOException {
        boolean idMapped = mount != null && mount.isIdMapped();
        if (!idMapped && UserNamespace.hasAllIds()) {
            return false;
        }
        String place = idMapped ? "on " + mount.point() + " (idmapped)" : "in this user namespace";
        if (UserNamespace.isOverflow(component.uid, component.gid) || walk.removed != null
                && UserNamespace.isOverflow(removedUid, Component.gid(walk.removed, false))) {
            hidden = "its owner or group may be one without an id " + place;
            return true;
        }
        // To rename is to make as well.
        boolean makes = walk.access == PathFailure.Access.WRITE || walk.access == PathFailure.Access.REMOVE;
        return idMapped && makes && component.type() == FileType.DIRECTORY && hidesUser();
    }
}
