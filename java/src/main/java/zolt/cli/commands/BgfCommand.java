package zolt.cli.commands;

import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;

@Command(name = "bgf", description = "Set the block group factor: how many blocks of the file system"
        + " make an HDFS block of a file.", footer = {"", "Example: zolt bgf 128 /srv/data/part-0000"})
final class BgfCommand extends Action {
    private static final int MOST = 1024;

    @Parameters(index = "0", paramLabel = "FACTOR", description = "1 to 1024.")
    int factor;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    BgfCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws Failure {
        if (factor < 1 || factor > MOST) {
            throw new Failure(Exit.USAGE, factor + " is no factor: 1 to " + MOST);
        }
        forEach(paths, path -> {
            FileOperations.setBlockGroupFactor(path, factor);
            done(new Json().put("path", path).put("factor", factor));
        });
    }
}
