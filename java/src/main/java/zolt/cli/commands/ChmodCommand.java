package zolt.cli.commands;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Paths;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.doctor.Rights;
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
    private static final int MOST_KEEPING_DIGITS = 4;

    @Parameters(index = "0", paramLabel = "MODE",
            description = "An octal number, 0 to 1777, or changes as chmod(1) takes them: u+rwX,go-w. A directory keeps"
                    + " set-user-id and set-group-id where the number has less than five digits.")
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
            int bits = change == null ? number | kept(path, type, reader) : changed(change, path, reader);
            if ((bits & SET_ID) == 0) {
                FileOperations.setPermissions(path, bits);
            } else {
                setWithIds(path, bits, reader.uid());
            }
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

    /** As with chmod(1), a directory keeps set-user-id and set-group-id unless the number has five digits or more. */
    private int kept(String path, FileType type, FileStatus reader) throws IOException {
        if (mode.length() > MOST_KEEPING_DIGITS || type != FileType.UNKNOWN && type != FileType.DIRECTORY) {
            return 0;
        }
        reader.readFast(path);
        return reader.isDirectory() ? reader.permissions() & SET_ID : 0;
    }

    /** The library sets no such bits, so this is the system's own call. */
    private static void setWithIds(String path, int bits, long owner) throws IOException {
        try {
            Files.setAttribute(Paths.get(path), "unix:mode", bits);
        } catch (AccessDeniedException | NoSuchFileException e) {
            throw e;
        } catch (FileSystemException e) {
            // Java has no class for it where a user is not the owner.
            throw Rights.now().mayChange(owner) ? new IOException(e.getReason(), e)
                    : new AccessDeniedException(e.getReason());
        }
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
