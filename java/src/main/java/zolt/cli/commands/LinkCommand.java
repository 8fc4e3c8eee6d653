package zolt.cli.commands;

import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;

@Command(name = "link", description = "Show where symbolic links point to.",
        footer = {"", "Example: zolt link /srv/data/latest"})
final class LinkCommand extends Action {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Symbolic links.")
    List<String> paths;

    LinkCommand(Session session) {
        super(session);
    }

    @Override
    void run() {
        forEach(paths, path -> {
            FileOperations.inode(path, false);
            if (!Facts.isLink(path)) {
                throw new Failure(Exit.FAILED, "no symbolic link");
            }
            byte[] target = FileOperations.linkTarget(path);
            if (json) {
                out.line(new Json().put("path", path).put("target", target).toString());
            } else {
                session.show(target, target.length);
                out.endName();
            }
        });
    }
}
