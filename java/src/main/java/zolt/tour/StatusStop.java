package zolt.tour;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import zolt.fs.Accounts;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;
import zolt.fs.Identity;
import zolt.fs.PathFailure;

/** The status of files: what each user may see, and the record byte by byte. */
final class StatusStop {
    private static final String[] PATHS = {"report.txt", "secret.txt", "closed", "closed/inner.txt",
        "latest", "missing.txt"};

    private StatusStop() {}

    static void visit(Stop stop) throws IOException {
        Path dir = stop.directory;
        stop.file("report.txt", "to be read by all\n", "rw-r--r--");
        stop.file("secret.txt", "to be read by one\n", "rw-------");
        Path closed = Files.createDirectory(dir.resolve("closed"));
        Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("rwx------"));
        stop.file("closed/inner.txt", "", "rw-r--r--");
        Files.createSymbolicLink(dir.resolve("latest"), Paths.get("report.txt"));

        rights(stop);
        record(stop);
        names(stop);
        if (stop.root) {
            refusal(stop);
        }
    }

    private static void rights(Stop stop) throws IOException {
        stop.page.title("The status of files, and who may see it");
        List<String[]> rows = new ArrayList<>();
        for (String name : PATHS) {
            String own = seen(stop.path(name));
            String other = "-";
            if (stop.root) {
                try (Identity user = Identity.of(Stop.OTHER_USER)) {
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
            FileStatus status = FileStatus.of(path);
            return status.modeText() + " " + status.size() + " bytes";
        }).replaceFirst(": .*", "");
    }

    private static void record(Stop stop) throws IOException {
        stop.page.title("The status of report.txt");
        FileStatus status = FileStatus.of(stop.path("report.txt"));
        List<String[]> rows = new ArrayList<>();
        row(rows, "inode", Long.toUnsignedString(status.inode()));
        row(rows, "size", status.size() + " bytes");
        row(rows, "owner", status.uid() + " (" + status.owner() + ")");
        row(rows, "group", status.gid() + " (" + status.group() + ")");
        row(rows, "mode", "0" + Integer.toOctalString(status.mode()) + " (" + status.modeText() + ")");
        row(rows, "block size", status.blockSize() + " bytes");
        row(rows, "replication", String.valueOf(status.replication()));
        row(rows, "accessed", status.accessTime().toString());
        row(rows, "modified", status.modificationTime().toString());
        row(rows, "changed", status.changeTime().toString());
        row(rows, "has ACL", status.hasAcl() ? "yes" : "no");
        row(rows, "lease holder", status.leaseLength() + " bytes");
        stop.page.table(new String[] {"FIELD", "VALUE"}, rows);
    }

    private static void row(List<String[]> rows, String field, String value) {
        rows.add(new String[] {field, value});
    }

    private static void names(Stop stop) throws IOException {
        FileStatus status = FileStatus.of(stop.path("report.txt"));
        stop.page.line("");
        stop.page.line("user " + status.owner() + " is id " + status.uid() + ", group "
                + status.group() + " is id " + status.gid());
        byte[] target = FileOperations.linkTarget(stop.path("latest"));
        stop.page.line("latest is a link to " + new String(target, StandardCharsets.UTF_8)
                + "; asked for " + Stop.OTHER_USER + "0: "
                + Stop.outcome(() -> "id " + Accounts.uid(Stop.OTHER_USER + "0")));
    }

    private static void refusal(Stop stop) throws IOException {
        stop.page.title("Why " + Stop.OTHER_USER + " does not see closed/inner.txt");
        String path = stop.path("closed/inner.txt");
        try (Identity user = Identity.of(Stop.OTHER_USER)) {
            stop.page.line(Stop.outcome(() -> "inode " + FileOperations.inode(path, true)));
            // At trace level this logs each component with its owners, mode and ACLs.
            PathFailure.log(path, true);
        }
        stop.page.line(PathFailure.of(path, Stop.OTHER_USER, PathFailure.Access.LOOK)
                .map(PathFailure::explain).orElse("nothing refuses"));
    }
}
