package zolt.cli.commands;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;

/** Changes of a mode as chmod(1) takes them, one after the other: "u+rwX,go-w,a=r,g=u". */
final class ModeChange {
    private static final Pattern CLAUSE = Pattern.compile("([ugoa]*)((?:[-+=](?:[rwxXst]*|[ugo]))+)");
    private static final Pattern PART = Pattern.compile("([-+=])([rwxXst]*|[ugo])(?=[-+=]|$)");
    private static final int ALL = 07777;
    private static final int SET_ID = 06000;
    private static final int STICKY = 01000;
    /** The same right of all three, by one of them. */
    private static final int TIMES_ALL = 0111;

    /** One operation of one clause. */
    private static final class Part {
        int affected;
        char operation;
        String permissions;
    }

    private final List<Part> parts = new ArrayList<>();
    private int umask;

    private ModeChange() {}

    static ModeChange parse(String text) throws IOException, Failure {
        ModeChange change = new ModeChange();
        for (String clause : text.split(",", -1)) {
            Matcher matcher = CLAUSE.matcher(clause);
            if (!matcher.matches()) {
                throw wrong(text);
            }
            Matcher part = PART.matcher(matcher.group(2));
            while (part.find()) {
                change.add(affected(matcher.group(1)), part.group(1).charAt(0), part.group(2), text);
            }
        }
        return change;
    }

    static Failure wrong(String text) {
        return new Failure(Exit.USAGE, text + " is no mode: an octal number, 0 to 1777, or changes such as"
                + " u+rwX,go-w");
    }

    private void add(int affected, char operation, String permissions, String text)
            throws IOException, Failure {
        if (permissions.indexOf('s') >= 0 && operation != '-') {
            throw new Failure(Exit.USAGE, text + ": set-user-id and set-group-id cannot be set");
        }
        if (affected == 0) {
            umask = umask();
        }
        Part part = new Part();
        part.affected = affected;
        part.operation = operation;
        part.permissions = permissions;
        parts.add(part);
    }

    private static int affected(String who) {
        int bits = 0;
        for (char each : who.toCharArray()) {
            bits |= each == 'u' ? 04700 : each == 'g' ? 02070 : each == 'o' ? 01007 : ALL;
        }
        return bits;
    }

    private static int umask() throws IOException {
        for (String line : Files.readAllLines(Paths.get("/proc/self/status"), StandardCharsets.ISO_8859_1)) {
            if (line.startsWith("Umask:")) {
                return Integer.parseInt(line.substring("Umask:".length()).trim(), 8);
            }
        }
        throw new IOException("/proc/self/status has no Umask: line");
    }

    /** What a mode becomes. A directory keeps set-user-id and set-group-id where they are not named. */
    int of(int mode, boolean directory) {
        int now = mode;
        for (Part part : parts) {
            int kept = directory && part.permissions.indexOf('s') < 0 ? SET_ID : 0;
            // Without "ugoa" all are meant, but for what the umask takes from what is made.
            int value = value(part.permissions, now, directory)
                    & (part.affected == 0 ? ~umask : part.affected) & ~kept;
            if (part.operation == '+') {
                now |= value;
            } else if (part.operation == '-') {
                now &= ~value;
            } else {
                now = now & ((part.affected == 0 ? 0 : ~part.affected) | kept) | value;
            }
        }
        return now & ALL;
    }

    private static int value(String permissions, int mode, boolean directory) {
        int bits = 0;
        for (char each : permissions.toCharArray()) {
            switch (each) {
                case 'r':
                    bits |= 4 * TIMES_ALL;
                    break;
                case 'w':
                    bits |= 2 * TIMES_ALL;
                    break;
                case 'x':
                    bits |= TIMES_ALL;
                    break;
                case 'X':
                    bits |= directory || (mode & TIMES_ALL) != 0 ? TIMES_ALL : 0;
                    break;
                case 's':
                    bits |= SET_ID;
                    break;
                case 't':
                    bits |= STICKY;
                    break;
                default: // what another has now
                    bits |= (mode >> (each == 'u' ? 6 : each == 'g' ? 3 : 0) & 7) * TIMES_ALL;
            }
        }
        return bits;
    }
}
