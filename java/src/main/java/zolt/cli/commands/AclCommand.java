package zolt.cli.commands;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.FileStatus;

/** The access control lists of files; each verb is a command of its own. */
final class AclCommand extends Group {
    private static final String ENTRIES = "Entries as setfacl(1) takes them, with commas between:"
            + " [d:]u:USER:rwx, [d:]g:GROUP:rx, u::, g::, o::, m::. X is x for"
            + " directories, and where somebody has it.";

    AclCommand(Session session) {
        super("acl", "Access control lists; symbolic links are followed.", new Get(session), new Set(session),
                new Modify(session), new Remove(session), new Clear(session), new AclRestore(session));
    }

    @Command(name = "get", description = "Show the lists, as getfacl(1) does.",
            footer = {"", "Examples: zolt acl get /srv/data",
                "          zolt acl get -R /srv/data >lists; zolt acl restore lists"})
    static final class Get extends TreeAction {
        @Option(names = {"-d", "--default"}, description = "Only the default list.")
        boolean onlyDefault;

        @Option(names = {"-n", "--numeric"}, description = "Ids instead of names.")
        boolean numeric;

        @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to look at.")
        List<String> paths;

        Get(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException {
            FileStatus status = new FileStatus();
            forAll(paths, null, (path, type) -> {
                status.readFast(path);
                Acl acl = Acl.get(path);
                if (json) {
                    out.line(new Json().put("path", path).put("entries", entries(acl)).toString());
                    return true;
                }
                out.line("# file: " + session.header(path));
                out.line("# owner: " + (numeric ? String.valueOf(status.uid())
                        : session.header(Accounts.userOrId(status.uid()))));
                out.line("# group: " + (numeric ? String.valueOf(status.gid())
                        : session.header(Accounts.groupOrId(status.gid()))));
                if ((status.mode() & 07000) != 0) {
                    out.line("# flags: " + flag(status, 04000, 's') + flag(status, 02000, 's')
                            + flag(status, 01000, 't'));
                }
                Acl shown = select(acl);
                String lines = numeric ? shown.formatNumeric() : shown.format();
                // Remarks stand in a column for people only, as getfacl(1) has it.
                out.line(session.outIsTerminal ? Shown.lines(lines) : lines.replaceAll("\t+", "\t"));
                return true;
            });
        }

        private static char flag(FileStatus status, int bit, char letter) {
            return (status.mode() & bit) != 0 ? letter : '-';
        }

        private Acl select(Acl acl) {
            List<AclEntry> shown = new ArrayList<>();
            for (AclEntry entry : acl.entries()) {
                if (!onlyDefault || entry.scope() == AclEntry.Scope.DEFAULT) {
                    shown.add(entry);
                }
            }
            return Acl.of(shown);
        }

        private List<Json> entries(Acl acl) {
            List<Json> list = new ArrayList<>();
            for (AclEntry entry : select(acl).entries()) {
                Json object = new Json()
                        .put("scope", entry.scope() == AclEntry.Scope.DEFAULT ? "default" : "access")
                        .put("type", entry.type().word());
                if (entry.type() == AclEntry.Type.USER || entry.type() == AclEntry.Type.GROUP) {
                    object.put("name", entry.name()).put("id", entry.id());
                }
                list.add(object.put("permissions", AclEntry.letters(entry.permissions()))
                        .put("effective", AclEntry.letters(acl.effective(entry))));
            }
            return list;
        }
    }

    /** What the verbs that are given entries have in common. */
    abstract static class Change extends TreeAction {
        @Option(names = {"-d", "--default"}, description = "The entries belong to the default list.")
        boolean toDefault;

        @Option(names = "--file", paramLabel = "FILE", description = "Read the entries from a file, as acl get"
                + " prints them; \"-\" is standard input. All arguments are paths then.")
        String file;

        @Parameters(index = "0", paramLabel = "ENTRIES", description = ENTRIES)
        String entries;

        @Parameters(index = "1..*", paramLabel = "PATH", arity = "0..*",
                description = "What to change.")
        List<String> paths;

        private final AclChange.Reader reader;
        private final Step step;

        /** What is done with the entries of a path. */
        interface Step {
            void take(Acl acl, String path) throws IOException;
        }

        Change(Session session, AclChange.Reader reader, Step step) {
            super(session);
            this.reader = reader;
            this.step = step;
        }

        @Override
        final void run() throws IOException, Failure {
            List<String> changed = new ArrayList<>();
            if (file != null) {
                changed.add(entries);
            }
            changed.addAll(paths == null ? Collections.<String>emptyList() : paths);
            if (changed.isEmpty()) {
                throw new Failure(Exit.USAGE, "Missing required parameter: 'PATH'");
            }
            String text = file == null ? entries : AclRestore.text(session, file);
            if (text.trim().isEmpty()) {
                throw new Failure(Exit.USAGE, "no entries are given");
            }
            AclChange change = AclChange.parse(text, toDefault, reader);
            forAll(changed, "changed", (path, type) -> {
                Acl acl = change.of(path, type);
                if (acl.entries().isEmpty()) {
                    return false; // default entries, and no directory
                }
                step.take(acl, path);
                if (json) {
                    done(new Json().put("path", path).put("acl", Acl.get(path).toString()));
                }
                return true;
            });
        }
    }

    @Command(name = "set", description = "Replace the lists for which there are entries.",
            footer = {"", "Example: zolt acl set u::rwx,u:alice:rx,g::-,o::- /srv/data"})
    static final class Set extends Change {
        private static final int BASE_ENTRIES = 3;

        Set(Session session) {
            super(session, Acl::parse, Set::whole);
        }

        /** As with setfacl(1): who leaves out an entry of the mode does not say what is to become of it. */
        private static void whole(Acl acl, String path) throws IOException {
            long base = acl.entries().stream().filter(each -> each.scope() == AclEntry.Scope.ACCESS
                    && (each.type() == AclEntry.Type.OWNER || each.type() == AclEntry.Type.OWNING_GROUP
                            || each.type() == AclEntry.Type.OTHER)).count();
            if (base < BASE_ENTRIES && acl.entries().stream().anyMatch(each -> each.scope() == AclEntry.Scope.ACCESS)) {
                throw new IllegalArgumentException("a whole list has u::, g:: and o:: (zolt acl modify keeps the others)");
            }
            acl.set(path);
        }
    }

    @Command(name = "modify", description = "Add entries, or change their permissions.",
            footer = {"", "Examples: zolt acl modify u:alice:rx /srv/data",
                "          zolt acl modify -R u:alice:rX,d:u:alice:rX /srv/data"})
    static final class Modify extends Change {
        Modify(Session session) {
            super(session, Acl::parse, Acl::modify);
        }
    }

    @Command(name = "remove", description = {"Remove entries; they are given without permissions.",
        "As with setfacl(1), the mask becomes what the entries that are left come to, unless it is named."},
            footer = {"", "Example: zolt acl remove u:alice,d:u:alice /srv/data"})
    static final class Remove extends Change {
        Remove(Session session) {
            super(session, Acl::parseKeys, Acl::remove);
        }
    }

    @Command(name = "clear", description = "Remove all but the entries of the mode; the owning group keeps"
        + " what the mask has left it.",
            footer = {"", "Example: zolt acl clear /srv/data"})
    static final class Clear extends TreeAction {
        @Option(names = {"-d", "--default"}, description = "Only the default list.")
        boolean onlyDefault;

        @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to change.")
        List<String> paths;

        Clear(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException {
            forAll(paths, "changed", (path, type) -> {
                if (onlyDefault) {
                    Acl.clearDefault(path);
                } else {
                    Acl.clear(path);
                }
                if (json) {
                    done(new Json().put("path", path).put("acl", Acl.get(path).toString()));
                }
                return true;
            });
        }
    }
}
