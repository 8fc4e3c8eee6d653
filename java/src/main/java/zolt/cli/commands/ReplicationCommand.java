package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

@Command(name = "replication", description = "Set the number of copies of files.",
        footer = {"", "Examples: zolt replication --now 2 /srv/data/part-0000",
            "          zolt replication -R 2 /srv/data"})
final class ReplicationCommand extends TreeAction {
    @Option(names = "--now", description = "Move the data there is at once; else only new data follows.")
    boolean now;

    @Parameters(index = "0", paramLabel = "COPIES", description = "At least 1.")
    int copies;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    ReplicationCommand(Session session) {
        super(session);
    }

    private String explained(String path) throws IOException {
        FileStatus status = new FileStatus();
        status.readFast(path);
        return status.type() == FileType.FILE ? "the file system does not take " + copies + " copies"
                : "only files have a number of copies";
    }

    @Override
    void run() throws IOException {
        forAll(paths, "changed", (path, type) -> {
            if (type != FileType.UNKNOWN && type != FileType.FILE) {
                return false;
            }
            try {
                FileOperations.setReplication(path, copies, now);
            } catch (IOException e) {
                throw String.valueOf(e.getMessage()).startsWith("Invalid argument")
                        ? new Failure(Exit.USAGE, explained(path)) : Failure.of(path, e);
            }
            done(new Json().put("path", path).put("replication", copies));
            return true;
        });
    }
}
