package zolt.cli.commands;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.NoSuchFileException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Session;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;

@Command(name = "ls", description = {
    "List directories: every entry but \".\" and \"..\", as the file system gives them, one a line, the"
        + " bytes of the names as they are; sorted where that is asked for, and then by bytes."},
        footer = {"", "Examples: zolt ls -l /srv/data", "          zolt ls -R --dirs --as alice /srv"})
final class LsCommand extends Action {
    @Option(names = {"-l", "--long"},
            description = "With mode, owner, group, size, modification time and a link's target.")
    boolean details;

    @Option(names = {"-R", "--recursive"}, description = "Also what is in subdirectories.")
    boolean recursive;

    @Option(names = "--dirs", description = "Only directories.")
    boolean directoriesOnly;

    @Option(names = {"-a", "--all"}, description = "Also \".\" and \"..\".")
    boolean all;

    @Option(names = {"-A", "--almost-all"}, description = "All but these two; it is so without it.")
    boolean almostAll;

    @Option(names = "-1", description = "One a line; it is so without it.")
    boolean one;

    @Option(names = {"-h", "--human-readable"}, description = "Sizes such as 1.5G.")
    boolean human;

    @Option(names = "--sort", paramLabel = "WORD", description = "${COMPLETION-CANDIDATES}.")
    Item.Order order;

    @Option(names = "-t", description = "Sorted by time of modification, newest first.")
    boolean byTime;

    @Option(names = "-S", description = "Sorted by size, largest first.")
    boolean bySize;

    @Option(names = {"-r", "--reverse"}, description = "Sorted the other way round; alone, by name.")
    boolean reversed;

    @Option(names = {"-d", "--directory"}, description = "Directories themselves, not what is in them.")
    boolean themselves;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "What to list; \".\" if omitted.")
    List<String> paths;

    LsCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws Failure {
        if (paths == null) {
            paths = Collections.singletonList(".");
        }
        if (byTime && bySize || order != null && (byTime || bySize)) {
            throw new Failure(Exit.USAGE, "-t, -S and --sort exclude each other");
        }
        Entries entries = new Entries(session, details, json, human);
        Walk walk = new Walk(session, entries, this, !json && !themselves
                && (recursive || paths.size() > 1 || paths.contains(STANDARD_INPUT)));
        if (comparator() == null) {
            forEach(paths, path -> {
                if (!themselves && isDirectory(path)) {
                    walk.take(path);
                } else {
                    entries.show(path);
                    walk.follow();
                }
            });
        } else {
            sorted(entries, walk);
        }
        walk.end();
    }

    /** Null where nothing is to be sorted. */
    Comparator<Item> comparator() {
        Item.Order by = byTime ? Item.Order.time : bySize ? Item.Order.size
                : order == null && reversed ? Item.Order.name : order;
        return by == null || by == Item.Order.none ? null : Item.comparator(by, reversed);
    }

    /** Whether the order is one of what an entry is, not of its name. */
    boolean needsFacts() {
        return byTime || bySize || order == Item.Order.time || order == Item.Order.size;
    }

    /** As in ls(1), what is no directory comes first. */
    private void sorted(Entries entries, Walk walk) {
        FileStatus reader = new FileStatus();
        List<Item> files = new ArrayList<>();
        List<Item> directories = new ArrayList<>();
        forEach(paths, path -> (!themselves && isDirectory(path) ? directories : files)
                .add(Item.of(path, Facts.of(path, false, reader))));
        files.sort(comparator());
        directories.sort(comparator());
        files.forEach(item -> {
            entries.show(text(item), item.facts);
            walk.follow();
        });
        List<String> names = new ArrayList<>();
        directories.forEach(item -> names.add(text(item)));
        forEach(names, walk::take);
    }

    private static String text(Item item) {
        return new String(item.name, 0, item.length, StandardCharsets.UTF_8);
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
