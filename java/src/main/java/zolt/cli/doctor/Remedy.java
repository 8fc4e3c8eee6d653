package zolt.cli.doctor;

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
        return !failure.guard().isPresent() ? list : first == null || list == null ? null : first + " && " + list;
    }

    /** What takes away what refuses everyone; null where nothing does. */
    private static String removing(PathFailure.Reason reason, PathFailure failure) {
        switch (reason) {
            case IMMUTABLE:
                return "chattr -i " + quoted(failure.component());
            case APPEND_ONLY:
                return "chattr -a " + quoted(failure.component());
            default:
                return failure.mountPoint().map(point -> "mount -o remount," + option(reason) + " " + quoted(point))
                        .orElse(null);
        }
    }

    /** A change of the list. */
    private static String ofList(PathFailure failure) {
        AclEntry deciding = failure.decidingEntry().orElse(null);
        if (deciding == null || !failure.refused().isPresent()) {
            return null;
        }
        Acl acl = failure.acl();
        int bit = bit(failure.refused().get());
        String entries;
        if (deciding.type() == AclEntry.Type.OWNER) {
            entries = "u::" + AclEntry.letters(deciding.permissions() | bit);
        } else {
            // An entry of one's own comes before those of groups and others, and is to give what they do.
            int wanted = failure.permitted() | bit;
            entries = "u:" + Accounts.userOrId(failure.who().uid()) + ":" + AclEntry.letters(wanted);
            for (AclEntry entry : acl.entries()) {
                if (entry.scope() == AclEntry.Scope.ACCESS && entry.type() == AclEntry.Type.MASK
                        && (entry.permissions() & wanted) != wanted) {
                    entries += ",m::" + AclEntry.letters(entry.permissions() | wanted);
                }
            }
        }
        return "zolt acl modify " + quoted(entries) + " " + quoted(failure.component());
    }

    private static String option(PathFailure.Reason reason) {
        switch (reason) {
            case READ_ONLY:
                return "rw";
            case NO_EXEC:
                return "exec";
            default:
                return "dev";
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
