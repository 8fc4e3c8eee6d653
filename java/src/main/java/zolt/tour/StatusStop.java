package zolt.tour;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Instant;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The status of files: what each user may see, and the record byte by byte. */
final class StatusStop {
    private static final String[] PATHS = {"report.txt", "secret.txt", "closed", "closed/inner.txt",
        "latest", "missing.txt"};

    private StatusStop() {}

    static void visit(Stop stop) throws IOException {
        Path dir = stop.directory;
        Files.write(dir.resolve("report.txt"), "to be read by all\n".getBytes(StandardCharsets.UTF_8));
        Files.write(dir.resolve("secret.txt"), "to be read by one\n".getBytes(StandardCharsets.UTF_8));
        mode(dir.resolve("secret.txt"), "rw-------");
        Files.createDirectory(dir.resolve("closed"));
        Files.write(dir.resolve("closed/inner.txt"), new byte[0]);
        mode(dir.resolve("closed"), "rwx------");
        Files.createSymbolicLink(dir.resolve("latest"), Paths.get("report.txt"));

        rights(stop);
        record(stop);
        names(stop);
        if (stop.root) {
            refusal(stop);
        }
    }

    private static void mode(Path path, String permissions) throws IOException {
        Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(permissions));
    }

    private static void rights(Stop stop) {
        stop.page.title("The status of files, and who may see it");
        List<String[]> rows = new ArrayList<>();
        for (String name : PATHS) {
            String own = seen(stop.path(name));
            String other = "-";
            if (stop.root) {
                try (As user = As.user(Stop.OTHER_USER)) {
                    other = seen(stop.path(name));
                }
            }
            rows.add(new String[] {name, own, other});
        }
        stop.page.table(new String[] {"PATH", "AS YOU", "AS " + Stop.OTHER_USER.toUpperCase()}, rows);
        stop.page.line("");
        stop.page.line(stop.root
                ? "The check is the user's, the reading the service's: secret.txt cannot be read by "
                        + Stop.OTHER_USER + ", but its status can."
                : "To see the same as another user, run the tour as root.");
    }

    private static String seen(String path) {
        return Stop.outcome(() -> {
            Status status = Status.of(path, true);
            return status.modeText() + " " + status.get(Status.SIZE) + " bytes";
        }).replaceFirst(": .*", "");
    }

    private static void record(Stop stop) {
        stop.page.title("The record of report.txt, by the published table");
        Status status = Status.of(stop.path("report.txt"), true);
        List<String[]> rows = new ArrayList<>();
        for (int field = 0; field < Status.FIELDS.length; field++) {
            rows.add(new String[] {String.valueOf(status.offset(field)),
                String.valueOf(status.size(field)), Status.FIELDS[field], value(status, field)});
        }
        stop.page.table(new String[] {" OFFSET", " SIZE", "FIELD", "VALUE"}, rows);
    }

    private static String value(Status status, int field) {
        if (status.size(field) == 16) {
            int at = status.offset(field);
            return Instant.ofEpochSecond(status.buffer.getLong(at), status.buffer.getInt(at + 8))
                    .toString();
        }
        long value = status.get(field);
        switch (field) {
            case Status.OWNER:
                return value + " (" + status.owner() + ")";
            case Status.GROUP:
                return value + " (" + status.group() + ")";
            case Status.MODE:
                return "0" + Long.toOctalString(value) + " (" + status.modeText() + ")";
            case Status.ACL:
                return value != 0 ? "yes" : "no";
            default:
                return String.valueOf(value);
        }
    }

    private static void names(Stop stop) {
        Status link = Status.of(stop.path("report.txt"), false);
        stop.page.line("");
        stop.page.line("user " + link.owner() + " is id " + ZOLTNative.getUid(link.owner())
                + ", group " + link.group() + " is id " + ZOLTNative.getGid(link.group()));
        byte[] target = ZOLTNative.getLinkTargetNative(stop.path("latest"), 4096);
        stop.page.line("latest is a link to " + new String(target, StandardCharsets.UTF_8)
                + "; asked for " + Stop.OTHER_USER + "0: "
                + Stop.outcome(() -> "id " + ZOLTNative.getUid(Stop.OTHER_USER + "0")));
    }

    private static void refusal(Stop stop) {
        stop.page.title("Why " + Stop.OTHER_USER + " does not see closed/inner.txt");
        try (As user = As.user(Stop.OTHER_USER)) {
            stop.page.line(Stop.outcome(() -> "inode "
                    + ZOLTNative.getINum(stop.path("closed/inner.txt"), true)));
            Path component = stop.directory.resolve("closed/inner.txt");
            while (component.getParent() != null && !visible(component.toString())) {
                component = component.getParent();
            }
            Status status = Status.of(component.toString(), true);
            stop.page.line("refused by " + stop.directory.relativize(component) + ": "
                    + status.modeText() + " " + status.owner() + " " + status.group());
            // At trace level this logs each component with its owners, mode and ACLs.
            ZOLTNative.getFailedPathNative(stop.path("closed/inner.txt"), true);
        }
    }

    private static boolean visible(String path) {
        return Stop.outcome(() -> String.valueOf(ZOLTNative.getINum(path, true))).matches("\\d+");
    }
}
