package zolt.cli;

import java.io.IOException;
import java.nio.file.NoSuchFileException;
import java.util.Collections;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;

@Command(name = "ls", description = {
    "List directories: every entry but \".\" and \"..\", as the file system gives them, unsorted, one a"
        + " line, the bytes of the names as they are."},
        footer = {"", "Examples: zolt ls -l /srv/data", "          zolt ls -R --dirs --as alice /srv"})
final class LsCommand extends Action {
    @Option(names = {"-l", "--long"},
            description = "With mode, owner, group, size, modification time and a link's target.")
    boolean details;

    @Option(names = {"-R", "--recursive"}, description = "Also what is in subdirectories.")
    boolean recursive;

    @Option(names = "--dirs", description = "Only directories.")
    boolean directoriesOnly;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "What to list; \".\" if omitted.")
    List<String> paths;

    LsCommand(Session session) {
        super(session);
    }

    @Override
    void run() {
        if (paths == null) {
            paths = Collections.singletonList(".");
        }
        Entries entries = new Entries(session, details, json);
        Walk walk = new Walk(session, entries, directoriesOnly, recursive,
                !json && (recursive || paths.size() > 1 || paths.contains(STANDARD_INPUT)));
        forEach(paths, path -> {
            if (isDirectory(path)) {
                walk.take(path);
            } else {
                entries.show(path);
            }
        });
        walk.end();
    }

    private static boolean isDirectory(String path) throws IOException {
        FileStatus status = new FileStatus();
        try {
            status.readFast(path);
            return status.isDirectory();
        } catch (NoSuchFileException e) {
            FileOperations.inode(path, false);
            return false; // a link that leads nowhere
        }
    }
}
