package zolt.cli.commands;

import java.time.Instant;
import java.util.Locale;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Kind;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;

/** A format as stat(1) takes it, with what the status record has. */
final class StatFormat {
    static final String HELP = "%%n name, %%N with a link's target, %%F type, %%s size, %%a and %%A mode, %%f mode"
            + " in hex, %%i inode, %%u %%U owner, %%g %%G group, %%x %%X accessed, %%y %%Y modified, %%z %%Z changed;"
            + " and as in hdfs dfs -stat %%o block size, %%r copies.";
    private static final Pattern DIRECTIVE =
            Pattern.compile("%([-0+ '#]*)([0-9]*)(?:\\.([0-9]*))?(.?)", Pattern.DOTALL);
    private static final int NANO_DIGITS = 9;

    private final Session session;
    private final String format;

    StatFormat(Session session, String format) throws Failure {
        this.session = session;
        this.format = format;
        for (Matcher each = DIRECTIVE.matcher(format); each.find(); ) {
            if (each.group(4).isEmpty() || "nNFsaAfiuUgGxXyYzZor%".indexOf(each.group(4)) < 0) {
                throw new Failure(Exit.USAGE, each.group() + ": there is no such directive (see zolt stat --help)");
            }
        }
    }

    String line(String path, Facts facts) {
        Matcher each = DIRECTIVE.matcher(format);
        StringBuilder line = new StringBuilder();
        int done = 0;
        while (each.find()) {
            line.append(format, done, each.start()).append(field(each, path, facts));
            done = each.end();
        }
        return line.append(format.substring(done)).toString();
    }

    private String field(Matcher each, String path, Facts facts) {
        char directive = each.group(4).charAt(0);
        String value = value(directive, each.group(3), path, facts);
        String flags = each.group(1);
        int missing = (each.group(2).isEmpty() ? 0 : Integer.parseInt(each.group(2))) - value.length();
        boolean zeros = flags.indexOf('0') >= 0 && flags.indexOf('-') < 0 && "saifugXYZor".indexOf(directive) >= 0;
        StringBuilder padding = new StringBuilder();
        for (int at = 0; at < missing; at++) {
            padding.append(zeros ? '0' : ' ');
        }
        return flags.indexOf('-') >= 0 ? value + padding : padding + value;
    }

    private String value(char directive, String precision, String path, Facts facts) {
        switch (directive) {
            case 'n':
                return session.shown(path);
            case 'N':
                return quoted(Shown.name(path)) + (facts.target == null ? ""
                        : " -> " + quoted(Shown.name(facts.target, facts.target.length)));
            case 'F':
                return type(facts);
            case 's':
                return Long.toString(facts.size);
            case 'a':
                return Integer.toOctalString(facts.mode & 07777);
            case 'A':
                return facts.modeText().replace("+", "");
            case 'f':
                return Integer.toHexString(facts.mode);
            case 'i':
                return Long.toUnsignedString(facts.inode);
            case 'u':
                return Long.toString(facts.uid);
            case 'U':
                return session.shown(Accounts.userOrId(facts.uid));
            case 'g':
                return Long.toString(facts.gid);
            case 'G':
                return session.shown(Accounts.groupOrId(facts.gid));
            case 'o':
                return facts.full ? Long.toString(facts.blockSize) : "?";
            case 'r':
                return facts.full ? Integer.toString(facts.replication) : "?";
            case '%':
                return "%";
            default:
                Instant time = "xX".indexOf(directive) >= 0 ? facts.accessed
                        : "yY".indexOf(directive) >= 0 ? facts.modified : facts.changed;
                return Character.isLowerCase(directive) ? StatCommand.time(time) : seconds(time, precision);
        }
    }

    private static String quoted(String name) {
        return "'" + name.replace("'", "'\\''") + "'";
    }

    private static String seconds(Instant time, String precision) {
        if (precision == null) {
            return Long.toString(time.getEpochSecond());
        }
        int digits = precision.isEmpty() ? NANO_DIGITS : Integer.parseInt(precision);
        String fraction = String.format(Locale.ROOT, "%09d", time.getNano());
        while (fraction.length() < digits) {
            fraction += "0";
        }
        return time.getEpochSecond() + (digits == 0 ? "" : "." + fraction.substring(0, digits));
    }

    private static String type(Facts facts) {
        switch (facts.type()) {
            case FILE:
                return facts.size == 0 ? "regular empty file" : "regular file";
            case LINK:
                return "symbolic link";
            case CHARACTER_DEVICE:
                return "character special file";
            case BLOCK_DEVICE:
                return "block special file";
            default:
                return Kind.of(facts.type());
        }
    }
}
