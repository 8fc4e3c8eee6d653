package zolt.cli.commands;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Paths;
import java.util.ArrayDeque;
import java.util.Collections;
import java.util.Deque;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.cli.output.Sizes;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

@Command(name = "du", description = {"Sum up the sizes of directories and what is in them, in bytes, as du -b"
    + " does: of files with several names one counts, and what lies in two PATHs counts once. What the disks hold"
    + " is not known: see --copies."},
        footer = {"", "Examples: zolt du -sh /srv/data", "          zolt du --copies -d 1 /srv"})
final class DuCommand extends Action {
    @Option(names = {"-s", "--summarize"}, description = "Only the sum of each PATH.")
    boolean summarize;

    @Option(names = {"-a", "--all"}, description = "Files too, not only directories.")
    boolean all;

    @Option(names = {"-h", "--human-readable"}, description = "Sizes such as 1.5G.")
    boolean human;

    @Option(names = {"-c", "--total"}, description = "With the sum of all.")
    boolean total;

    @Option(names = {"-d", "--max-depth"}, paramLabel = "N", description = "Directories down to this depth.")
    int depth = Integer.MAX_VALUE;

    @Option(names = "--copies", description = "Each file's bytes once for each of its copies.")
    boolean copies;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "Trees; \".\" if omitted.")
    List<String> paths;

    /** What is not to count again, by device and inode: files with several names, and see {@link #mayOverlap}. */
    private final Set<String> seen = new HashSet<>();
    /** With several PATHs one may lie in another: then directories, and files that are named, count once too. */
    private boolean mayOverlap;
    /** Of the directories on the way down, and of all at the bottom. */
    private final Deque<long[]> sums = new ArrayDeque<>();

    private Progress progress;

    DuCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException, Failure {
        if (summarize && all) {
            throw new Failure(Exit.USAGE, "-s and -a exclude each other");
        }
        checkDepth("--max-depth", depth);
        depth = summarize ? 0 : depth;
        mayOverlap = paths != null && (paths.size() > 1 || paths.contains(STANDARD_INPUT));
        FileStatus reader = new FileStatus();
        sums.push(new long[1]);
        try (TreeWalk walk = new TreeWalk(session, new TreeWalk.Visitor() {
            @Override
            public boolean visit(TreeWalk.Node node) throws IOException {
                return add(node, reader);
            }

            @Override
            public void leave(TreeWalk.Node node) {
                long sum = sums.pop()[0];
                sums.peek()[0] += sum;
                print(node.path, node.depth, sum);
            }
        })) {
            progress = walk.progress;
            forEach(paths == null ? Collections.singletonList(".") : paths, path -> walk.walk(path, false));
            if (total && !session.stop.isAsked()) {
                print("total", 0, sums.peek()[0]);
            }
            walk.summary(null);
        }
    }

    private boolean add(TreeWalk.Node node, FileStatus reader) throws IOException {
        if (node.isDirectory()) {
            sums.push(new long[1]); // also where what follows fails: the walk enters and leaves it
        }
        // The library's record has no number of names.
        Map<String, Object> found = attributes(node.path);
        if (hasCounted(node, found)) {
            if (node.isDirectory()) {
                sums.pop();
            }
            return false;
        }
        long size = (Long) found.get("size");
        if (copies && node.type == FileType.FILE) {
            reader.read(node.path);
            size *= reader.replication();
        }
        sums.peek()[0] += size;
        if (!node.isDirectory() && (all || node.depth == 0)) {
            print(node.path, node.depth, size);
        }
        return true;
    }

    private static Map<String, Object> attributes(String path) throws IOException {
        LinkOption[] options = path.endsWith("/") ? new LinkOption[0] : new LinkOption[] {LinkOption.NOFOLLOW_LINKS};
        return Files.readAttributes(Paths.get(path), "unix:size,nlink,ino,dev", options);
    }

    private static String id(Map<String, Object> attributes) {
        return attributes.get("dev") + " " + attributes.get("ino");
    }

    /** Whether it is counted already. A file with one name, of which there are many, is not remembered by itself. */
    private boolean hasCounted(TreeWalk.Node node, Map<String, Object> found) throws IOException {
        String id = id(found);
        if (node.isDirectory() ? mayOverlap : (Integer) found.get("nlink") > 1) {
            return !seen.add(id);
        }
        if (!mayOverlap || node.isDirectory()) {
            return false;
        }
        return node.depth > 0 ? seen.contains(id)
                : !seen.add(id) || seen.contains(id(attributes(Paths.get(node.path).toAbsolutePath().getParent()
                        .toRealPath().toString())));
    }

    private void print(String path, int at, long bytes) {
        if (at > depth) {
            return;
        }
        progress.clear();
        if (json) {
            out.line(new Json().put("path", path).put("bytes", bytes).toString());
            return;
        }
        out.text((human ? Sizes.human(bytes) : "" + bytes) + "\t" + session.shown(path));
        out.endName();
    }
}
