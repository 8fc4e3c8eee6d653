package zolt.fs;

/** A failure in one plain sentence, without a full stop. */
final class FailureText {
    private static final String BY_THE_KERNEL = "the kernel refuses it, whatever owner, mode and list say";

    private final PathFailure failure;
    private final Component component;
    private final String user;

    private FailureText(PathFailure failure) {
        this.failure = failure;
        this.component = failure.component;
        this.user = Accounts.userOrId(failure.who.uid());
    }

    static String of(PathFailure failure) {
        return new FailureText(failure).sentence();
    }

    private String sentence() {
        String path = component.path;
        switch (failure.reason) {
            case MISSING:
                return !DirectoryEntry.isReachable(path) && DirectoryEntry.isReachable(failure.path())
                        ? "what " + failure.path() + " leads to does not exist"
                        : path.endsWith("/") ? path.substring(0, path.length() - 1) + " is no directory"
                        : path + " does not exist";
            case REFUSED:
                return refusal();
            case READ_ONLY:
                return "no one may write " + path + ": " + readOnly();
            case NO_EXEC:
                return "no one may execute " + path + ": " + place() + " is mounted noexec";
            case NO_DEVICES:
                return "no one may open " + path + ": " + place() + " is mounted nodev";
            case IMMUTABLE:
                return "no one may write or remove " + path + ": it is immutable (chattr +i)";
            case APPEND_ONLY:
                return (component.type() == FileType.DIRECTORY
                        ? "files may be made in " + path + ", but not removed"
                        : path + " may be appended to, but not written over or removed")
                        + ": it is append only (chattr +a)";
            case PROTECTED:
                return protection();
            case FULL:
                return user + " may write " + path + ", but there is no block left for that";
            case FILE_SYSTEM:
                return isNoProgram() ? "no one may execute " + path + ": it is no regular file"
                        : user + " gets no access to " + path + ": " + decider();
            case UNKNOWN:
                return "it is not known whether " + user + " may " + wanted() + ": " + decider();
            case STICKY:
                return mayNot("remove " + failure.removed + " from " + path) + "the directory is sticky, and "
                        + user + " owns neither it nor what is to be removed,"
                        + " which is " + Accounts.userOrId(failure.removedUid) + "'s";
            case MOUNT_POINT:
                return "no one may remove " + (failure.removed == null ? path : failure.removed)
                        + ": a file system is mounted there";
            default:
                return path + ": " + (failure.mount != null && failure.mount.isRemoved()
                        ? "the directory that is mounted there was removed" : failure.error);
        }
    }

    private boolean isNoProgram() {
        return failure.refused == PathFailure.Access.EXECUTE && component.isLookedAt()
                && component.type() != FileType.FILE && component.type() != FileType.DIRECTORY;
    }

    private String wanted() {
        if (failure.removed != null) {
            return "remove " + failure.removed;
        }
        return (failure.refused == PathFailure.Access.LOOK ? "look at" : failure.refused.verb) + " "
                + component.path;
    }

    /** The mount, or a part of its file system. */
    private String readOnly() {
        Mount mount = failure.mount;
        if (mount != null && !mount.isReadOnly()) {
            return mount.type().equals("btrfs") ? "its subvolume is read-only"
                    : "its file system is read-only there, though " + mount.point() + " is mounted for writing";
        }
        return place() + " is mounted read-only" + failure.writeProtection().map(why -> ", and " + why).orElse("");
    }

    private String place() {
        return failure.mount == null ? "its file system" : failure.mount.point();
    }

    private String protection() {
        return component.isLookedAt()
                ? user + " may write " + component.path + ", but not open it with O_CREAT, as a shell does: in a"
                        + " sticky directory, that is for its own owner and for the directory's"
                        + StickyRules.setting(component.type())
                : user + " may not follow the link " + component.path + ": in a sticky directory that everyone"
                        + " may write, links are followed for their owner, or if the directory's owner made"
                        + " them (fs.protected_symlinks)";
    }

    private String decider() {
        if (failure.hidden != null) {
            return failure.hidden;
        }
        Mount mount = failure.mount;
        if (failure.reason == PathFailure.Reason.UNKNOWN && component.byLinkAlone) {
            return "owner, mode and list permit it, but that leads to a name that is no UTF-8, or has a character beyond"
                    + " U+FFFF, and its flags and limits cannot be asked for";
        }
        if (mount == null) {
            return BY_THE_KERNEL;
        }
        return mount.decidedBy(failure.who.uid(), failure.who.isProcess())
                .orElse(failure.reason == PathFailure.Reason.UNKNOWN
                        ? "owner, mode and list permit it, but " + (mount.isOfTheKernel()
                                ? "what is below " + mount.point() + " is the kernel's own, and it may refuse"
                                : mount.point() + " may have quotas, which only the kernel knows")
                        : BY_THE_KERNEL);
    }

    private String refusal() {
        int right = failure.refused.bit;
        AclEntry deciding = failure.check.deciding(failure.rights);
        String verb = component.type() == FileType.DIRECTORY && failure.refused == PathFailure.Access.EXECUTE
                ? PathFailure.Access.LOOK.verb
                : failure.removed != null ? "remove anything from" : failure.refused.verb;
        String text = mayNot(verb + " " + component.path);
        if (deciding == null || failure.check.grants(failure.rights)) {
            return text + failure.error;
        }
        if (failure.check.permits(right)) {
            return text + user + " is in groups whose entries give w and x, but no one of them gives both";
        }
        return text + (component.acl.isMinimal() ? reasonOfMode(deciding) : reasonOfList(deciding, right))
                + (component.keepsLists ? "" : "; only chmod or chown may change that: " + (Acl.isAvailable()
                        ? "its file system keeps no access control lists" : "there is no libacl"));
    }

    private String mayNot(String what) {
        return user + " may not " + what + " ("
                + FileStatus.modeText(component.mode, !component.acl.isMinimal()) + " " + component.owner()
                + " " + component.group() + "): ";
    }

    private String reasonOfMode(AclEntry deciding) {
        String given = AclEntry.letters(deciding.permissions());
        switch (deciding.type()) {
            case OWNER:
                return user + " is the owner, to whom the mode gives " + given;
            case OWNING_GROUP:
                return user + " is in the group, to which the mode gives " + given;
            default:
                return user + " is neither the owner nor in the group, and the mode gives others " + given;
        }
    }

    private String reasonOfList(AclEntry deciding, int right) {
        String entry = "the entry " + deciding + ((deciding.permissions() & right) != 0
                ? " permits it, but the mask takes it away" : " does not permit it");
        switch (deciding.type()) {
            case OWNER:
                return user + " is the owner, and " + entry;
            case USER:
                return entry;
            case OWNING_GROUP:
            case GROUP:
                String group = deciding.type() == AclEntry.Type.GROUP ? deciding.name() : component.group();
                return user + " is in the group " + group + ", and " + entry;
            default:
                return (failure.check.ignoresList()
                        ? "the mask takes everything, so that " + user + " is one of the others, and "
                        : user + " is not the owner, not in a group and not a user of an entry, and ")
                        + entry;
        }
    }
}
