package zolt.fs;

/**
 * Whether owner, mode and access control list of a file give an identity a right: the access check
 * algorithm of acl(5), and the capabilities that go beyond it (capabilities(7)). It asks nobody.
 */
final class AccessCheck {
    private static final int GROUP_CLASS = 0070;
    private static final int ANY_EXECUTE = 0111;
    private static final int[] RIGHTS = {AclEntry.READ, AclEntry.WRITE, AclEntry.EXECUTE};

    private final ThreadIdentity who;
    private final long owner;
    private final long group;
    private final int mode;
    private final Acl acl;

    AccessCheck(ThreadIdentity who, long owner, long group, int mode, Acl acl) {
        this.who = who;
        this.owner = owner;
        this.group = group;
        this.mode = mode;
        this.acl = acl;
    }

    /**
     * Whether the identity has rights that are asked for at once.
     *
     * @param rights a sum of {@link AclEntry#READ}, WRITE and EXECUTE; 0 for none
     */
    boolean permits(int rights) {
        return overrides(rights) || grants(rights);
    }

    /** Whether a capability gives the rights, whatever the list says. */
    boolean overrides(int rights) {
        boolean directory = FileType.ofMode(mode) == FileType.DIRECTORY;
        if ((rights & AclEntry.EXECUTE) != 0 && !directory && (mode & ANY_EXECUTE) == 0) {
            return false;
        }
        return who.has(ThreadIdentity.CAP_DAC_OVERRIDE)
                || who.has(ThreadIdentity.CAP_DAC_READ_SEARCH)
                && (directory ? (rights & AclEntry.WRITE) == 0 : rights == AclEntry.READ);
    }

    /** Whether the entry that decides gives all the rights. */
    boolean grants(int rights) {
        AclEntry deciding = deciding(rights);
        return deciding != null && (acl.effective(deciding) & rights) == rights;
    }

    /** All rights that the entries give: a sum. */
    int granted() {
        int granted = 0;
        for (int right : RIGHTS) {
            granted |= grants(right) ? right : 0;
        }
        return granted;
    }

    /** Whether the mode gives the group class nothing: then Linux looks at owner, owning group and others alone. */
    boolean ignoresList() {
        return (mode & GROUP_CLASS) == 0;
    }

    /**
     * The entry that decides about rights; null only where the list lacks the entry of others. Among those of
     * groups it is one that gives them all: two that give one each do not add up.
     */
    AclEntry deciding(int rights) {
        AclEntry other = null;
        AclEntry refusingGroup = null;
        for (AclEntry entry : acl.entries()) {
            if (entry.scope() == AclEntry.Scope.DEFAULT || ignoresList() && entry.type().isNamed()) {
                continue;
            }
            switch (entry.type()) {
                case OWNER:
                    if (who.uid() == owner) {
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
                    if (isMember(entry.type() == AclEntry.Type.GROUP ? entry.id() : group)) {
                        if ((acl.effective(entry) & rights) == rights) {
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

    private boolean isMember(long id) {
        return who.gid() == id || who.groups().contains(id);
    }
}
