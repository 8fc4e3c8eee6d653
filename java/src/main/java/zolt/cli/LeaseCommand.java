package zolt.cli;

import java.time.Duration;
import java.time.format.DateTimeParseException;
import java.util.List;
import java.util.Optional;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.fs.Lease;

/** Leases: who writes a file. Each verb is a command of its own. */
final class LeaseCommand {
    private static final String WHAT = "Files.";

    private LeaseCommand() {}

    static CommandLine of(Session session) {
        return Group.of("lease", "Leases: who has a file open for writing. Symbolic links are followed.")
                .addSubcommand(new Set(session)).addSubcommand(new Get(session))
                .addSubcommand(new Renew(session)).addSubcommand(new Remove(session));
    }

    @Command(name = "set", description = "Take the lease of files; the exit code is 6 where it is held.",
            footer = {"", "Example: zolt lease set writer-1 /srv/data/part-0000"})
    static final class Set extends Action {
        @Parameters(index = "0", paramLabel = "HOLDER", description = "Who takes it.")
        String holder;

        @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = WHAT)
        List<String> paths;

        Set(Session session) {
            super(session);
        }

        @Override
        void run() {
            forEach(paths, path -> {
                Lease.of(path).set(holder);
                done(new Json().put("path", path).put("holder", holder));
            });
        }
    }

    @Command(name = "get", description = "Show who holds the lease; the exit code is 4 where none does.",
            footer = {"", "Example: zolt lease get --expire 1h /srv/data/part-0000"})
    static final class Get extends Action {
        @Option(names = "--expire", paramLabel = "TIME",
                description = "Remove a lease that was not renewed for this long: 90s, 5m, 1h, 2d.")
        String expire;

        @Parameters(paramLabel = "PATH", arity = "1..*", description = WHAT)
        List<String> paths;

        Get(Session session) {
            super(session);
        }

        @Override
        void run() throws Failure {
            long limit = expire == null ? Lease.NEVER : Lease.limitFor(duration(expire));
            forEach(paths, path -> {
                Optional<byte[]> holder = Lease.of(path).holder(limit);
                if (!holder.isPresent()) {
                    throw new Failure(Exit.NOT_FOUND, "no lease");
                }
                if (json) {
                    out.line(new Json().put("path", path).put("holder", holder.get()).toString());
                } else {
                    session.show(holder.get(), holder.get().length);
                    out.write('\n');
                }
            });
        }

        private static Duration duration(String text) throws Failure {
            try {
                String upper = text.toUpperCase();
                return Duration.parse(upper.endsWith("D") ? "P" + upper : "PT" + upper);
            } catch (DateTimeParseException e) {
                throw new Failure(Exit.USAGE, text + " is no time: 90s, 5m, 1h, 2d");
            }
        }
    }

    @Command(name = "renew", description = "Renew the lease of files, whoever holds it.",
            footer = {"", "Example: zolt lease renew /srv/data/part-0000"})
    static final class Renew extends Action {
        @Parameters(paramLabel = "PATH", arity = "1..*", description = WHAT)
        List<String> paths;

        Renew(Session session) {
            super(session);
        }

        @Override
        void run() {
            forEach(paths, path -> {
                if (!Lease.of(path).holder(Lease.NEVER).isPresent()) {
                    throw new Failure(Exit.NOT_FOUND, "no lease");
                }
                Lease.of(path).renew();
                done(new Json().put("path", path).put("renewed", true));
            });
        }
    }

    @Command(name = "remove", description = "End the lease of files, whoever holds it.",
            footer = {"", "Example: zolt lease remove /srv/data/part-0000"})
    static final class Remove extends Action {
        @Parameters(paramLabel = "PATH", arity = "1..*", description = WHAT)
        List<String> paths;

        Remove(Session session) {
            super(session);
        }

        @Override
        void run() {
            forEach(paths, path -> {
                Lease.of(path).remove();
                done(new Json().put("path", path).put("removed", true));
            });
        }
    }
}
