package zolt.cli;

import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.fs.BlockLocations;

@Command(name = "replication", description = "Set the number of copies of files.",
        footer = {"", "Example: zolt replication --now 2 /srv/data/part-0000"})
final class ReplicationCommand extends Action {
    @Option(names = "--now", description = "Move the data there is at once; else only new data follows.")
    boolean now;

    @Parameters(index = "0", paramLabel = "COPIES", description = "At least 1.")
    int copies;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    ReplicationCommand(Session session) {
        super(session);
    }

    @Override
    void run() {
        forEach(paths, path -> {
            BlockLocations.setReplication(path, copies, now);
            done(new Json().put("path", path).put("replication", copies));
        });
    }
}
