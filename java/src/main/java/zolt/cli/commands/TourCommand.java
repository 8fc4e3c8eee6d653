package zolt.cli.commands;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.FileSystemException;
import java.nio.file.Path;
import java.nio.file.Paths;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.doctor.Rights;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;
import zolt.fs.DirectoryEntry;
import zolt.fs.DirectoryListing;
import zolt.fs.Identity;
import zolt.fs.ThreadIdentity;
import zolt.tour.Tour;

@Command(name = "tour", description = "Show what the library does, on a directory and on files of its"
    + " own that it removes.", footer = {"", "Example: zolt tour /srv/data"})
final class TourCommand extends Action {
    @Parameters(paramLabel = "DIR", arity = "0..1", defaultValue = ".",
            description = "A directory to list; \".\" if omitted.")
    String directory;

    TourCommand(Session session) {
        super(session);
    }

    @Override
    boolean answersInJson() {
        return false;
    }

    /** A user namespace may refuse it. */
    private static boolean mayBeNobody() {
        try (Identity as = Identity.of("nobody")) {
            return ThreadIdentity.now().uid() == Accounts.uid(as.user());
        } catch (IOException e) {
            return false;
        }
    }

    @Override
    void run() throws IOException, Failure {
        try {
            DirectoryListing.open(directory).close();
        } catch (IOException e) {
            session.fail(directory, e);
            return;
        }
        Path path = Paths.get(directory).toAbsolutePath();
        // What ".." is of a link is not what it is written behind.
        path = path.toString().contains("..") ? path : path.normalize();
        // A name that no path can express may be that of the folder where one stands.
        path = DirectoryEntry.isReachable(path.toString()) ? path : Paths.get(directory);
        PrintStream page = new PrintStream(out, true, "UTF-8");
        try {
            Tour.take(page, session.outIsTerminal, Shown::name, path,
                    Rights.now().has(Rights.SETUID, Rights.SETGID) && mayBeNobody());
        } catch (FileSystemException e) {
            // As where neither the folder nor that of temporary files may be written; what natives throw says it itself.
            if (String.valueOf(e.getFile()).startsWith("/")) {
                throw Failure.about(e.getFile(), e);
            }
            throw e;
        } catch (InterruptedException e) {
            throw new Failure(Exit.FAILED, "interrupted");
        } finally {
            page.flush();
        }
    }
}
