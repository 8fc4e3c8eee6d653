package zolt.cli.doctor;

import java.io.IOException;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.PathFailure;

/** What would permit what is refused: the smallest change of a list for this user, another flag or mount. */
public final class Remedy {
    private Remedy() {}

    /** A command line, or null where none helps. */
    public static String of(PathFailure failure) {
        String first = removing(failure.guard().orElse(failure.reason()), failure);
        if (failure.reason() != PathFailure.Reason.REFUSED) {
            return first;
        }
        String list = ofList(failure);
        if (!failure.guard().isPresent() || list == null) {
            return list;
        }
        return first == null ? null : first + " && " + list + restoring(failure.guard().get(), failure);
    }

    /** What takes away what refuses everyone; null where nothing does. */
    private static String removing(PathFailure.Reason reason, PathFailure failure) {
        switch (reason) {
            case IMMUTABLE:
                return "chattr -i " + flagged(failure);
            case APPEND_ONLY:
                return "chattr -a " + flagged(failure);
            default:
                return failure.writeProtection().isPresent() ? null : failure.mountPoint()
                        .map(point -> "mount -o remount," + option(reason) + " " + quoted(point))
                        .orElse(null);
        }
    }

    /** The flags are those of what the links lead to, and chattr(1) follows none at the end. */
    private static String flagged(PathFailure failure) {
        try {
            return quoted(Paths.get(failure.component()).toRealPath().toString());
        } catch (IOException e) {
            return quoted(failure.component());
        }
    }

    /** A flag protects, and is away only while the list is changed. A mount is what the operator decides about. */
    private static String restoring(PathFailure.Reason guard, PathFailure failure) {
        switch (guard) {
            case IMMUTABLE:
                return " && chattr +i " + flagged(failure);
            case APPEND_ONLY:
                return " && chattr +a " + flagged(failure);
            default:
                return "";
        }
    }

    /** A change of the list. */
    private static String ofList(PathFailure failure) {
        AclEntry deciding = failure.decidingEntry().orElse(null);
        if (deciding == null || !failure.refused().isPresent()) {
            return null;
        }
        int bit = bit(failure.refused().get());
        String entry = deciding.type() == AclEntry.Type.OWNER
                ? "u::" + AclEntry.letters(deciding.permissions() | bit)
                : "u:" + Accounts.userOrId(failure.who().uid()) + ":" + AclEntry.letters(wanted(failure));
        AclEntry mask = mask(failure.acl());
        if (mask != null) {
            // Without a word about the mask it would become all that the entries come to, for all of them: with more it
            // lets others in, and with nothing the kernel does not read the list.
            int all = wanted(failure);
            for (AclEntry each : failure.acl().entries()) {
                boolean replaced = deciding.type() != AclEntry.Type.OWNER && isOwn(each, failure);
                all |= isMasked(each) && !replaced ? each.permissions() : 0;
            }
            int kept = mask.permissions() | wanted(failure);
            entry += all == kept ? "" : ",m::" + AclEntry.letters(kept);
        }
        return "zolt acl modify " + quoted(entry) + " " + quoted(failure.component());
    }

    private static boolean isOwn(AclEntry entry, PathFailure failure) {
        return entry.type() == AclEntry.Type.USER && entry.id() == failure.who().uid();
    }

    /**
     * Whom else a change of the list lets in: a mask is for all named users and for all groups.
     *
     * @return entries with what they come to then; empty for none
     */
    public static List<AclEntry> alsoGiven(PathFailure failure) {
        List<AclEntry> given = new ArrayList<>();
        for (AclEntry each : concerned(failure)) {
            int now = each.permissions() & (mask(failure.acl()).permissions() | wanted(failure));
            if ((now & ~before(each, failure.acl())) != 0) {
                given.add(each.withPermissions(now));
            }
        }
        return given;
    }

    /**
     * Who loses by a change of the list: while a mask takes everything, the kernel does not read the list, and named
     * users and groups have what others have. With the first right in the mask they have what their entries give.
     *
     * @return entries with what they lose; empty for none
     */
    public static List<AclEntry> alsoTaken(PathFailure failure) {
        List<AclEntry> taken = new ArrayList<>();
        for (AclEntry each : concerned(failure)) {
            int after = mask(failure.acl()).permissions() | wanted(failure);
            int lost = after == 0 ? 0 : before(each, failure.acl()) & ~(each.permissions() & after);
            if (lost != 0) {
                taken.add(each.withPermissions(lost));
            }
        }
        return taken;
    }

    /** Whose rights a change of the mask moves, but for those that are asked for. */
    private static List<AclEntry> concerned(PathFailure failure) {
        List<AclEntry> concerned = new ArrayList<>();
        if (mask(failure.acl()) == null || ofList(failure) == null) {
            return concerned;
        }
        for (AclEntry each : failure.acl().entries()) {
            if (isMasked(each) && !isOwn(each, failure)) {
                concerned.add(each);
            }
        }
        return concerned;
    }

    /** What an entry comes to as the list is; the owning group has the mask's rights alone where that is empty. */
    private static int before(AclEntry each, Acl acl) {
        int mask = mask(acl).permissions();
        if (mask != 0 || each.type() == AclEntry.Type.OWNING_GROUP) {
            return each.permissions() & mask;
        }
        return acl.entries().stream().filter(entry -> entry.scope() == AclEntry.Scope.ACCESS
                && entry.type() == AclEntry.Type.OTHER).mapToInt(AclEntry::permissions).findFirst().orElse(0);
    }

    /** What an entry of one's own is to give, which comes before those of groups and others; 0 for an owner. */
    private static int wanted(PathFailure failure) {
        return failure.decidingEntry().get().type() == AclEntry.Type.OWNER ? 0
                : failure.permitted() | bit(failure.refused().get());
    }

    private static AclEntry mask(Acl acl) {
        return acl.entries().stream().filter(entry -> entry.scope() == AclEntry.Scope.ACCESS
                && entry.type() == AclEntry.Type.MASK).findFirst().orElse(null);
    }

    private static boolean isMasked(AclEntry entry) {
        return entry.scope() == AclEntry.Scope.ACCESS && (entry.type() == AclEntry.Type.USER
                || entry.type() == AclEntry.Type.GROUP || entry.type() == AclEntry.Type.OWNING_GROUP);
    }

    private static String option(PathFailure.Reason reason) {
        switch (reason) {
            case READ_ONLY:
                return "rw";
            case NO_EXEC:
                return "bind,exec"; // of the mount: without "bind" its own "ro" would become the file system's
            default:
                return "bind,dev";
        }
    }

    private static int bit(PathFailure.Access refused) {
        switch (refused) {
            case READ:
                return AclEntry.READ;
            case WRITE:
                return AclEntry.WRITE;
            default:
                return AclEntry.EXECUTE;
        }
    }

    /** As a shell reads it. */
    static String quoted(String word) {
        if (word.matches("[A-Za-z0-9_./:@%+=,-]+")) {
            return word;
        }
        if (word.codePoints().allMatch(Shown::isPlain)) {
            return "'" + word.replace("'", "'\\''") + "'";
        }
        StringBuilder escaped = new StringBuilder("$'");
        word.codePoints().forEach(c -> escaped.append(!Shown.isPlain(c) || c == '\\' || c == '\''
                ? Shown.octal(c) : new String(Character.toChars(c))));
        return escaped.append('\'').toString();
    }
}
