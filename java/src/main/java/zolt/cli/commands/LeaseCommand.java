package zolt.cli.commands;

import java.io.IOException;
import java.time.Duration;
import java.time.format.DateTimeParseException;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.fs.FileStatus;
import zolt.fs.Lease;

/** Leases: who writes a file. Each verb is a command of its own. */
final class LeaseCommand extends Group {
    private static final String WHAT = "Files.";

    /** No lease is as old, and what is added to it still fits. */
    private static final Duration LONGEST = Duration.ofDays(1_000_000);

    private static final String HALF = "only half a lease, which a crash has left and nobody holds: zolt lease"
            + " remove ends it";

    LeaseCommand(Session session) {
        super("lease", "Leases: who has a file open for writing. Symbolic links are followed.", new Set(session),
                new Get(session), new Renew(session), new Remove(session));
    }

    /** Why there is no holder. */
    private static Failure none(Lease lease) {
        return new Failure(Exit.NOT_FOUND, lease.isHalf() ? HALF : "no lease");
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
        void run() throws Failure {
            if (holder.isEmpty()) {
                throw new Failure(Exit.USAGE, "the empty name is that of no holder");
            }
            forEach(paths, path -> {
                Lease lease = Lease.of(path);
                try {
                    lease.set(holder);
                } catch (IOException e) {
                    if (lease.isHalf()) {
                        throw new Failure(Exit.EXISTS, HALF);
                    }
                    throw e;
                }
                done(new Json().put("path", path).put("holder", holder));
            });
        }
    }

    @Command(name = "get", description = "Show who holds the lease; the exit code is 4 where none does.",
            footer = {"", "Example: zolt lease get --expire 1h /srv/data/part-0000"})
    static final class Get extends Action {
        @Option(names = "--expire", paramLabel = "TIME",
                description = {"Remove a lease that was not renewed for this long: 90s, 5m, 1h, 2d. One that"
                    + " was renewed since then stays.",
                    "A renewal is seen by the file's change time, so any other change of the file (data, mode,"
                        + " owner, attributes) counts as one; but 2000 seconds later at the latest the lease's"
                        + " own clock has the word."})
        String expire;

        @Option(names = {"-l", "--long"}, description = "Also when the lease was last renewed, at the latest.")
        boolean details;

        @Parameters(paramLabel = "PATH", arity = "1..*", description = WHAT)
        List<String> paths;

        Get(Session session) {
            super(session);
        }

        @Override
        void run() throws Failure {
            Duration time = expire == null ? null : duration(expire);
            FileStatus status = new FileStatus();
            forEach(paths, path -> {
                LeaseLook look = LeaseLook.of(path, status, time);
                if (!look.isHeld()) {
                    throw none(Lease.of(path));
                }
                show(look);
            });
        }

        private void show(LeaseLook look) {
            if (json) {
                out.line(look.object().toString());
                return;
            }
            session.show(look.holder, look.holder.length);
            out.line(details ? ", last renewed " + StatCommand.time(look.renewed) + " or before, " + look.age
                    + " s ago" : "");
        }
    }

    /** A time as people write it. */
    static Duration duration(String text) throws Failure {
        try {
            String upper = text.toUpperCase();
            Duration time = Duration.parse(upper.endsWith("D") ? "P" + upper : "PT" + upper);
            if (!time.isNegative()) {
                return time.compareTo(LONGEST) < 0 ? time : LONGEST;
            }
        } catch (DateTimeParseException e) {
            // It is said below.
        }
        throw new Failure(Exit.USAGE, text + " is no time: 90s, 5m, 1h, 2d");
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
                Lease lease = Lease.of(path);
                if (!lease.holder(Lease.NEVER).isPresent()) {
                    throw none(lease);
                }
                lease.renew();
                done(new Json().put("path", path).put("renewed", true));
            });
        }
    }

    @Command(name = "remove", description = "End the lease of files, whoever holds it, and what a crash"
        + " has left of one.",
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
