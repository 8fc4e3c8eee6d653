package zolt.cli;

import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.fs.FileOperations;

@Command(name = "chmod", description = {"Set the permissions of files. Set-user-id and set-group-id are"
    + " not to be set this way; symbolic links are followed."},
        footer = {"", "Example: zolt chmod 1777 /srv/scratch"})
final class ChmodCommand extends Action {
    @Parameters(index = "0", paramLabel = "MODE", description = "An octal number, 0 to 1777.")
    String mode;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    ChmodCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws Failure {
        if (!mode.matches("0*[01]?[0-7]{1,3}")) {
            throw new Failure(Exit.USAGE, mode + " is no mode: an octal number, 0 to 1777");
        }
        int bits = Integer.parseInt(mode, 8);
        forEach(paths, path -> {
            FileOperations.setPermissions(path, bits);
            done(new Json().put("path", path).put("mode", String.format("%04o", bits)));
        });
    }
}
