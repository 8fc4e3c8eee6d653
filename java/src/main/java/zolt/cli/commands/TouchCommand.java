package zolt.cli.commands;

import java.time.DateTimeException;
import java.time.Instant;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.OffsetDateTime;
import java.time.ZoneId;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;

@Command(name = "touch", description = {"Set the times of files that exist, to the millisecond.",
    "That is for the owner of a file and for the superuser, also where the time is now: touch(1) lets everyone do"
        + " that who may write."},
        footer = {"", "Example: zolt touch -m --date 2026-01-31T12:00 /srv/data/part-0000"})
final class TouchCommand extends Action {
    @Option(names = {"-m", "--modified"}, description = "Only the modification time.")
    boolean modified;

    @Option(names = {"-a", "--accessed"}, description = "Only the access time.")
    boolean accessed;

    @Option(names = {"-d", "--date"}, paramLabel = "TIME",
            description = "2026-01-31, 2026-01-31T12:00, with or without a zone (Z, +01:00), or @SECONDS;"
                    + " now if omitted.")
    String date;

    @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    TouchCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws Failure {
        Instant time = date == null ? Instant.now() : parse(date);
        boolean both = modified == accessed;
        forEach(paths, path -> {
            FileOperations.setTimes(Names.absolute(path),
                    both || modified ? time : null, both || accessed ? time : null);
            done(new Json().put("path", path).put("time", time.toString()));
        });
    }

    private static Instant parse(String text) throws Failure {
        try {
            if (text.startsWith("@")) {
                return Instant.ofEpochSecond(Long.parseLong(text.substring(1)));
            }
            if (text.indexOf('T') < 0) {
                return LocalDate.parse(text).atStartOfDay(ZoneId.systemDefault()).toInstant();
            }
            if (text.matches(".*T.*(Z|[+-][0-9:]+)")) {
                return OffsetDateTime.parse(text).toInstant();
            }
            return LocalDateTime.parse(text).atZone(ZoneId.systemDefault()).toInstant();
        } catch (DateTimeException | NumberFormatException e) {
            throw new Failure(Exit.USAGE, text + " is no time: 2026-01-31, 2026-01-31T12:00, ...Z,"
                    + " ...+01:00 or @SECONDS");
        }
    }
}
