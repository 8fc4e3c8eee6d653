package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import java.util.Optional;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.doctor.Remedy;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;
import zolt.fs.AclEntry;
import zolt.fs.DirectoryEntry;
import zolt.fs.PathFailure;
import zolt.fs.ThreadIdentity;

@Command(name = "why", description = {"Say which component of a path refuses access, which owner, mode"
    + " or ACL entry, flag, sticky directory or mount is the reason, and what would permit it.",
    "The exit code is 0 where nothing refuses, 1 where that cannot be known, 3 where something does, 4"
        + " where something is not there."}, footer = {"",
            "Example: zolt why --as alice --for w /srv/data/part-0000"})
final class WhyCommand extends Action {
    /** What is to be done with the path. */
    enum Purpose {
        look(PathFailure.Access.LOOK, "look at"), r(PathFailure.Access.READ, "read"),
        w(PathFailure.Access.WRITE, "write"), x(PathFailure.Access.EXECUTE, "execute or search"),
        d(PathFailure.Access.REMOVE, "remove");

        final PathFailure.Access access;
        final String verb;

        Purpose(PathFailure.Access access, String verb) {
            this.access = access;
            this.verb = verb;
        }
    }

    @Option(names = "--for", paramLabel = "WHAT", defaultValue = "r",
            description = "r: to read it (default); w: to write it; x: to execute or search it; d: to"
                    + " remove or rename it; look: to see its status. A link at the end is followed, but not to"
                    + " remove it: look is what stat -L does.")
    Purpose purpose;

    @Parameters(paramLabel = "PATH", arity = "1..*", description = "What is refused.")
    List<String> paths;

    WhyCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException {
        String user = Accounts.userOrId(ThreadIdentity.now().uid());
        forEach(paths, path -> {
            Optional<PathFailure> found = PathFailure.of(path, purpose.access);
            if (found.isPresent() && found.get().reason() == PathFailure.Reason.MISSING
                    && !DirectoryEntry.isReachable(path)) {
                throw new Failure(Exit.FAILED, Names.UNREACHABLE);
            }
            if (json) {
                out.line(object(path, user, found).toString());
            } else if (found.isPresent()) {
                explain(found.get());
            } else {
                out.line(Shown.name(user + " may " + purpose.verb + " " + path));
            }
            if (found.isPresent()) {
                session.answer(code(found.get()));
            }
        });
    }

    private static int code(PathFailure failure) {
        switch (failure.reason()) {
            case MISSING:
                return Exit.NOT_FOUND;
            case UNKNOWN:
            case OTHER:
                return Exit.FAILED;
            default:
                return Exit.DENIED;
        }
    }

    private void explain(PathFailure failure) {
        out.line(Shown.name(failure.explain()));
        String remedy = Remedy.of(failure);
        if (remedy != null) {
            out.line("  to permit it: " + remedy);
            failure.writableToo().ifPresent(more -> out.line(Shown.name("  which makes writable " + more)));
        }
        List<String> others = words(Remedy.alsoGiven(failure));
        if (!others.isEmpty()) {
            out.line(Shown.name("  which also gives " + String.join(", ", others)
                    + ": the mask takes less from them then"));
        }
        List<String> losers = words(Remedy.alsoTaken(failure));
        if (!losers.isEmpty()) {
            out.line(Shown.name("  which also takes " + String.join(", ", losers)
                    + ": with an empty mask they have what others have, and then what their entries give"));
        }
    }

    private Json object(String path, String user, Optional<PathFailure> found) {
        Json object = new Json().put("path", path).put("user", user).put("for", purpose.name());
        if (!found.isPresent()) {
            return object.put("permitted", true);
        }
        PathFailure failure = found.get();
        if (failure.reason() == PathFailure.Reason.UNKNOWN) {
            object.put("permitted", (String) null);
        } else {
            object.put("permitted", false);
        }
        object.put("reason", failure.reason().name().toLowerCase())
                .put("component", failure.component()).put("explanation", failure.explain());
        if (failure.reason() == PathFailure.Reason.REFUSED
                || failure.reason() == PathFailure.Reason.STICKY) {
            object.put("owner", failure.owner()).put("group", failure.group())
                    .put("mode", String.format("%04o", failure.mode() & 07777))
                    .put("entry", failure.decidingEntry().map(AclEntry::toString).orElse(null));
        }
        String remedy = Remedy.of(failure);
        return object.put("remedy", remedy)
                .put("alsoWritable", remedy == null ? null : failure.writableToo().orElse(null))
                .put("alsoGives", words(Remedy.alsoGiven(failure)))
                .put("alsoTakes", words(Remedy.alsoTaken(failure)));
    }

    private static List<String> words(List<AclEntry> entries) {
        return entries.stream().map(AclEntry::toString).collect(Collectors.toList());
    }
}
