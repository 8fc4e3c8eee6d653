package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;

/** A mount as this process has it: where, and what it forbids to everyone (proc(5), mountinfo). */
final class Mount {
    private static final int ID = 0;
    private static final int PARENT = 1;
    private static final int POINT = 4;
    private static final int OPTIONS = 5;
    private static final int FIRST_TAG = 6;
    /** Type, source and the options of the file system itself follow a "-" behind the tags. */
    private static final int SUPER_OPTIONS = 3;

    private final String id;
    private final String parent;
    private final String point;
    private final boolean readOnly;
    private final boolean noExec;

    private Mount(String line) {
        String[] fields = line.split(" ");
        id = fields[ID];
        parent = fields[PARENT];
        point = unescaped(fields[POINT]);
        List<String> options = Arrays.asList(fields[OPTIONS].split(","));
        int separator = FIRST_TAG;
        while (!fields[separator].equals("-")) {
            separator++;
        }
        readOnly = options.contains("ro")
                || Arrays.asList(fields[separator + SUPER_OPTIONS].split(",")).contains("ro");
        noExec = options.contains("noexec");
    }

    /** Where a path lies; empty where the table cannot be read or does not tell. */
    static Optional<Mount> of(String path) {
        try {
            List<Mount> all = new ArrayList<>();
            for (String line : new String(Files.readAllBytes(Paths.get("/proc/thread-self/mountinfo")),
                    StandardCharsets.UTF_8).split("\n")) {
                all.add(new Mount(line));
            }
            return find(all, Paths.get(path).toRealPath());
        } catch (IOException | IndexOutOfBoundsException e) {
            return Optional.empty();
        }
    }

    /**
     * Goes from mount to mount on the way to the path. The longest mount point on it would not do: that
     * may be hidden below another mount.
     */
    private static Optional<Mount> find(List<Mount> all, Path path) {
        Mount last = null;
        for (Mount next = root(all); next != null; next = next(all, last, path)) {
            last = next;
        }
        return Optional.ofNullable(last);
    }

    /** The one whose parent is outside of what the process sees. */
    private static Mount root(List<Mount> all) {
        for (Mount each : all) {
            if (each.point.equals("/") && all.stream().noneMatch(other -> other.id.equals(each.parent))) {
                return each;
            }
        }
        return null;
    }

    /** The first mount upon a mount that the way comes through. */
    private static Mount next(List<Mount> all, Mount last, Path path) {
        Mount first = null;
        for (Mount each : all) {
            if (each.parent.equals(last.id) && each != last && path.startsWith(each.point)
                    && (first == null || each.point.length() < first.point.length())) {
                first = each;
            }
        }
        return first;
    }

    /** Blanks, tabs, line ends and backslashes are octal numbers in the table. */
    private static String unescaped(String field) {
        return field.replace("\\040", " ").replace("\\011", "\t").replace("\\012", "\n")
                .replace("\\134", "\\");
    }

    String point() {
        return point;
    }

    /** Whether the path is where it is mounted. */
    boolean isAt(String path) {
        try {
            return Paths.get(path).toRealPath().toString().equals(point);
        } catch (IOException e) {
            return false;
        }
    }

    boolean isReadOnly() {
        return readOnly;
    }

    /** Whether files on it cannot be executed. */
    boolean isNoExec() {
        return noExec;
    }
}
