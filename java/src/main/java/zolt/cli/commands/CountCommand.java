package zolt.cli.commands;

import java.io.IOException;
import java.util.Collections;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.cli.output.Sizes;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

@Command(name = "count", description = {"Count the directories, the files and the bytes of the files in"
    + " trees: as hdfs dfs -count does, a directory itself included, links and other files left out."},
        footer = {"", "Example: zolt count -v /srv/data"})
final class CountCommand extends Action {
    private static final String ROW = "%12s %12s %20s ";

    @Option(names = {"-v", "--header"}, description = "With a line that names the columns.")
    boolean header;

    @Option(names = {"-h", "--human-readable"}, description = "Sizes such as 1.5G.")
    boolean human;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "Trees; \".\" if omitted.")
    List<String> paths;

    private long directories;
    private long files;
    private long others;
    private long bytes;

    CountCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException {
        FileStatus reader = new FileStatus();
        if (header && !json) {
            out.line(String.format(ROW, "DIRECTORIES", "FILES", "BYTES") + "PATH");
        }
        try (TreeWalk walk = new TreeWalk(session, node -> add(node, reader))) {
            forEach(paths == null ? Collections.singletonList(".") : paths, path -> {
                directories = 0;
                files = 0;
                others = 0;
                bytes = 0;
                if (walk.walk(path, true)) {
                    walk.progress.clear();
                    print(path);
                }
            });
            walk.summary(null);
        }
    }

    private boolean add(TreeWalk.Node node, FileStatus reader) throws IOException {
        if (node.isDirectory()) {
            directories++;
        } else if (node.type == FileType.FILE) {
            reader.readFast(node.path);
            bytes += reader.size();
            files++;
        } else {
            others++;
        }
        return true;
    }

    private void print(String path) {
        if (json) {
            out.line(new Json().put("path", path).put("directories", directories).put("files", files)
                    .put("others", others).put("bytes", bytes).toString());
            return;
        }
        out.text(String.format(ROW, directories, files, human ? Sizes.human(bytes) : "" + bytes));
        out.text(session.shown(path));
        out.endName();
    }
}
