package zolt.cli.commands;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Optional;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.fs.Accounts;
import zolt.fs.FileStatus;
import zolt.fs.FileType;
import zolt.fs.Lease;

@Command(name = "find", description = {"Find what is in trees, each directory before what is in it. All"
    + " conditions are to hold; they are written as find(1) has them, with one dash or two. N is a number,"
    + " +N is more, -N is less."}, footer = {"", "Examples: zolt find /srv -user alice -size +1G",
        "          zolt find /srv -lease -mmin +60 -0 | xargs -0 zolt lease get",
        "          zolt find /srv -type f -replication -3"})
final class FindCommand extends Action {
    private static final long SECONDS_A_MINUTE = 60;
    private static final long SECONDS_A_DAY = 1440 * SECONDS_A_MINUTE;

    @Option(names = {"-name", "--name"}, paramLabel = "PATTERN",
            description = "The name is like this, with *, ? and [...].")
    String name;

    @Option(names = {"-type", "--type"}, paramLabel = "TYPES",
            description = "f: files, d: directories, l: links, p: FIFOs, s: sockets, b, c: devices; f,d for both.")
    String type;

    @Option(names = {"-user", "--user"}, paramLabel = "USER", description = "The owner, by name or id.")
    String user;

    @Option(names = {"-group", "--group"}, paramLabel = "GROUP", description = "The group, by name or id.")
    String group;

    @Option(names = {"-size", "--size"}, paramLabel = "N[cwbkMG]", description = "The size, rounded up to"
            + " bytes (c), 2 (w), 512 (b, or no letter), KiB, MiB or GiB.")
    String size;

    @Option(names = {"-mtime", "--mtime"}, paramLabel = "N",
            description = "Last modified N times 24 hours ago, rounded down.")
    String days;

    @Option(names = {"-mmin", "--mmin"}, paramLabel = "N", description = "The same in minutes; without a sign, rounded up.")
    String minutes;

    @Option(names = {"-newer", "--newer"}, paramLabel = "FILE", description = "Modified after this file was.")
    String newer;

    @Option(names = {"-acl", "--acl"}, description = "It has an access control list.")
    boolean acl;

    @Option(names = {"-lease", "--lease"}, description = "A file with a lease that is held.")
    boolean lease;

    @Option(names = {"-holder", "--holder"}, paramLabel = "NAME", description = "A file whose lease this one holds.")
    String holder;

    @Option(names = {"-replication", "--replication"}, paramLabel = "N", description = "A file of N copies.")
    String replication;

    @Option(names = {"-mindepth", "--mindepth"}, paramLabel = "N", description = "Not above this depth.")
    int mindepth;

    @Option(names = {"-maxdepth", "--maxdepth"}, paramLabel = "N", description = "Not below this depth.")
    int maxdepth = Integer.MAX_VALUE;

    @Option(names = {"-print0", "--print0"}, hidden = true)
    boolean print0;

    @Option(names = {"-print", "--print"}, hidden = true)
    boolean print;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "Where to begin; \".\" if omitted.")
    List<String> paths;

    /** What is to be true of the name and type, and then of the status. */
    private final List<Condition<TreeWalk.Node>> ofNodes = new ArrayList<>();
    private final List<Condition<Facts>> ofFacts = new ArrayList<>();

    private Progress progress;

    /** One of those that are all to hold. */
    private interface Condition<T> {
        boolean holds(T what) throws IOException;
    }

    FindCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException, Failure {
        checkDepth("--mindepth", mindepth);
        checkDepth("--maxdepth", maxdepth);
        out.endNamesWith(nul || print0 ? '\0' : '\n');
        conditions();
        FileStatus reader = new FileStatus();
        try (TreeWalk walk = new TreeWalk(session, new TreeWalk.Visitor() {
            @Override
            public boolean visit(TreeWalk.Node node) throws IOException {
                if (node.depth >= mindepth && isWanted(node, reader)) {
                    FindCommand.this.print(node, reader);
                }
                return node.depth < maxdepth;
            }

            @Override
            public boolean unreachable(TreeWalk.Node parent, byte[] bytes, int length, FileType itsType) {
                return printed(parent, bytes, length, itsType);
            }
        })) {
            progress = walk.progress;
            forEach(paths == null ? Collections.singletonList(".") : paths, path -> walk.walk(path, false));
            walk.summary(null);
        }
    }

    private void conditions() throws IOException, Failure {
        if (name != null) {
            Glob glob = new Glob(name);
            ofNodes.add(node -> glob.matches(baseName(node.path)));
        }
        if (type != null) {
            List<FileType> types = types();
            ofNodes.add(node -> types.contains(node.type));
        }
        if (lease || holder != null || replication != null) {
            ofNodes.add(node -> node.type == FileType.FILE);
        }
        if (lease || holder != null) {
            byte[] wanted = holder == null ? null : holder.getBytes(StandardCharsets.UTF_8);
            ofNodes.add(node -> {
                Optional<byte[]> held = Lease.of(node.path).holder(Lease.NEVER);
                return held.isPresent() && (wanted == null || Arrays.equals(wanted, held.get()));
            });
        }
        if (user != null) {
            long uid = id(user, true);
            ofFacts.add(facts -> facts.uid == uid);
        }
        if (group != null) {
            long gid = id(group, false);
            ofFacts.add(facts -> facts.gid == gid);
        }
        if (acl) {
            ofFacts.add(facts -> facts.acl);
        }
        numbers();
    }

    private void numbers() throws IOException, Failure {
        if (size != null) {
            long unit = unit(size);
            Comparison wanted = Comparison.parse(size.replaceAll("[cwbkMG]$", ""), size);
            ofFacts.add(facts -> wanted.holds(facts.size / unit + (facts.size % unit == 0 ? 0 : 1)));
        }
        if (replication != null) {
            Comparison wanted = Comparison.parse(replication, replication);
            ofFacts.add(facts -> wanted.holds(facts.replication));
        }
        Instant now = Instant.now();
        if (days != null) {
            Comparison wanted = Comparison.parse(days, days);
            ofFacts.add(facts -> wanted.holds(Math.floorDiv(age(facts, now).getSeconds(), SECONDS_A_DAY)));
        }
        if (minutes != null) {
            Comparison wanted = Comparison.parse(minutes, minutes);
            ofFacts.add(facts -> {
                Duration age = age(facts, now);
                long down = Math.floorDiv(age.getSeconds(), SECONDS_A_MINUTE);
                return wanted.holds(down, age.equals(Duration.ofMinutes(down)) ? down : down + 1);
            });
        }
        if (newer != null) {
            Instant than;
            try {
                than = Facts.of(newer, false, new FileStatus()).modified;
            } catch (IOException e) {
                Failure failure = Failure.of(newer, e);
                throw new Failure(failure.code, newer + ": " + failure.getMessage());
            }
            ofFacts.add(facts -> facts.modified.isAfter(than));
        }
    }

    /** It may be more than a long has nanoseconds. */
    private static Duration age(Facts facts, Instant now) {
        return Duration.between(facts.modified, now);
    }

    private static long unit(String text) {
        switch (text.charAt(Math.max(0, text.length() - 1))) {
            case 'c':
                return 1;
            case 'w':
                return 2;
            case 'k':
                return 1L << 10;
            case 'M':
                return 1L << 20;
            case 'G':
                return 1L << 30;
            default:
                return 512;
        }
    }

    private List<FileType> types() throws Failure {
        List<FileType> types = new ArrayList<>();
        for (String each : type.split(",", -1)) {
            FileType found = null;
            for (FileType one : FileType.values()) {
                if (each.length() == 1 && each.charAt(0) == (one == FileType.FILE ? 'f' : one.letter())
                        && one != FileType.UNKNOWN) {
                    found = one;
                }
            }
            if (found == null) {
                throw new Failure(Exit.USAGE, type + ": types are f, d, l, p, s, b and c");
            }
            types.add(found);
        }
        return types;
    }

    private static long id(String text, boolean ofUser) throws Failure {
        try {
            return ofUser ? Accounts.uid(text) : Accounts.gid(text);
        } catch (IOException e) {
            if (text.matches("[0-9]{1,10}")) {
                return Long.parseLong(text);
            }
            throw new Failure(Exit.NOT_FOUND, text + ": unknown " + (ofUser ? "user" : "group"));
        }
    }

    private static String baseName(String path) {
        String plain = path.replaceAll("(?<=.)/+$", "");
        return plain.equals("/") ? plain : plain.substring(plain.lastIndexOf('/') + 1);
    }

    private boolean isWanted(TreeWalk.Node node, FileStatus reader) throws IOException {
        for (Condition<TreeWalk.Node> each : ofNodes) {
            if (!each.holds(node)) {
                return false;
            }
        }
        if (ofFacts.isEmpty()) {
            return true;
        }
        Facts facts = facts(node, reader);
        for (Condition<Facts> each : ofFacts) {
            if (!each.holds(facts)) {
                return false;
            }
        }
        return true;
    }

    private Facts facts(TreeWalk.Node node, FileStatus reader) throws IOException {
        return node.type == FileType.LINK ? Facts.ofLink(node.path)
                : Facts.ofTarget(node.path, replication != null, reader);
    }

    private void print(TreeWalk.Node node, FileStatus reader) throws IOException {
        progress.clear();
        if (json) {
            out.line(facts(node, reader).putInto(new Json().put("path", node.path)).toString());
            return;
        }
        out.text(session.shown(node.path));
        out.endName();
    }

    /** A name that no path can express can still be printed, where nothing more is asked of it. */
    private boolean printed(TreeWalk.Node parent, byte[] bytes, int length, FileType itsType) {
        TreeWalk.Node node = new TreeWalk.Node(Names.join(parent.path, Names.text(bytes, length)), itsType,
                parent.depth + 1);
        if (json || lease || holder != null || !ofFacts.isEmpty() || node.depth < mindepth) {
            return false;
        }
        try {
            for (Condition<TreeWalk.Node> each : ofNodes) {
                if (!each.holds(node)) {
                    return true;
                }
            }
        } catch (IOException e) {
            return false;
        }
        progress.clear();
        out.text(session.shown(Names.join(parent.path, "")));
        session.show(bytes, length);
        out.endName();
        return node.depth >= maxdepth || !node.isDirectory();
    }
}
