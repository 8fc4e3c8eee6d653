package zolt.cli.commands;

import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Kind;
import zolt.cli.output.Session;
import zolt.fs.Accounts;
import zolt.fs.FileStatus;
import zolt.fs.FileType;
import zolt.fs.Lease;

@Command(name = "stat", description = "Show the status of files. Symbolic links are not followed.",
        footer = {"", "Example: zolt stat --as alice /srv/data/part-0000"})
final class StatCommand extends Action {
    private static final DateTimeFormatter TIME = Facts.times("HH:mm:ss.SSSSSSSSS Z");

    @Option(names = {"-L", "--follow"}, description = "Follow symbolic links.")
    boolean follow;

    @Option(names = {"-c", "--format"}, paramLabel = "FORMAT", description = {"One line a file, as stat(1) has"
        + " it: " + StatFormat.HELP})
    String format;

    @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to look at.")
    List<String> paths;

    StatCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws Failure {
        FileStatus reader = new FileStatus();
        StatFormat lines = format == null ? null : new StatFormat(session, format);
        forEach(paths, path -> {
            Facts facts = Facts.of(path, follow, reader);
            if (json) {
                out.line(facts.putInto(new Json().put("path", path)).toString());
            } else if (lines != null) {
                out.line(lines.line(path, facts));
            } else {
                print(path, facts);
            }
        });
    }

    private void print(String path, Facts facts) {
        out.text(session.bold(session.shown(path)));
        if (facts.target != null) {
            out.text(" -> ");
            session.show(facts.target, facts.target.length);
        }
        out.line("");
        row("type", Kind.of(facts.type()) + ", " + facts.size + " bytes, inode "
                + Long.toUnsignedString(facts.inode));
        row("mode", facts.modeText() + " (" + facts.octal() + ")"
                + (facts.acl ? ", with an access control list" : ""));
        row("owner", session.shown(Accounts.userOrId(facts.uid)) + " (" + facts.uid + "), group "
                + session.shown(Accounts.groupOrId(facts.gid)) + " (" + facts.gid + ")");
        if (facts.full) {
            row("blocks", "of " + facts.blockSize + " bytes, replication " + facts.replication);
            if (facts.leaseLength > 0) {
                row("lease", Lease.of(path).isHalf() ? "only half of one; see zolt lease get"
                        : "held; see zolt lease get");
            }
        } else if (facts.type() == FileType.FILE) {
            row("blocks", "not to be seen without the right to open the file");
        }
        row("accessed", time(facts.accessed));
        row("modified", time(facts.modified));
        row("changed", time(facts.changed));
    }

    private void row(String name, String value) {
        out.line(String.format("  %-9s %s", name, value));
    }

    static String time(Instant time) {
        return TIME.format(time.atZone(ZoneId.systemDefault()));
    }
}
