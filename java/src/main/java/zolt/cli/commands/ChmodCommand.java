package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

@Command(name = "chmod", description = {"Set the permissions of files. Set-user-id and set-group-id are"
    + " not to be set this way; symbolic links are followed."},
        footer = {"", "Examples: zolt chmod 1777 /srv/scratch", "          zolt chmod -R u+rwX,go-w /srv/data"})
final class ChmodCommand extends TreeAction {
    private static final int SET_ID = 06000;

    @Parameters(index = "0", paramLabel = "MODE",
            description = "An octal number, 0 to 1777, or changes as chmod(1) takes them: u+rwX,go-w.")
    String mode;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
    List<String> paths;

    ChmodCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException, Failure {
        ModeChange change = mode.matches("[0-7]+") ? null : ModeChange.parse(mode);
        int number = change == null ? number() : 0;
        FileStatus reader = new FileStatus();
        forAll(paths, "changed", (path, type) -> {
            int bits = change == null ? number : changed(change, path, reader);
            FileOperations.setPermissions(path, bits);
            done(new Json().put("path", path).put("mode", String.format("%04o", bits)));
            return true;
        });
    }

    private int number() throws Failure {
        if (!mode.matches("0*[01]?[0-7]{1,3}")) {
            throw ModeChange.wrong(mode);
        }
        return Integer.parseInt(mode, 8);
    }

    private static int changed(ModeChange change, String path, FileStatus reader)
            throws IOException, Failure {
        reader.readFast(path);
        int bits = change.of(reader.permissions(), reader.type() == FileType.DIRECTORY);
        if ((bits & SET_ID) != 0) {
            throw new Failure(Exit.FAILED, "has set-user-id or set-group-id, which would be lost: take it away"
                    + " by name (ug-s), or set a number");
        }
        return bits;
    }
}
