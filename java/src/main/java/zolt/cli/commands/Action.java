package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Option;
import zolt.cli.doctor.Rights;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Output;
import zolt.cli.output.Session;
import zolt.fs.Identity;
import zolt.fs.ZoltLibrary;

/** What all commands have: a session, the user whose rights count, and the form of the answer. */
abstract class Action implements Callable<Integer> {
    /** What HDFS takes for a file that says nothing else. */
    private static final long HDFS_BLOCK_SIZE = 128L << 20;
    private static final int HDFS_REPLICATION = 3;
    static final String STANDARD_INPUT = "-";

    final Session session;
    final Output out;

    @Option(names = "--as", paramLabel = "USER", description = "Act with the rights of this user: a name or"
            + " an id.")
    String as;

    @Option(names = "--json", description = "Answer in JSON, one object a line.")
    boolean json;

    @Option(names = "-0", description = "Names end in NUL instead of a line end: those that are read from"
            + " standard input (the PATH \"-\"), and those that are printed.")
    boolean nul;

    Action(Session session) {
        this.session = session;
        this.out = session.out;
    }

    /** What the command is about. It reports its failures itself, or throws the one that ends it. */
    abstract void run() throws IOException, Failure;

    @Override
    public final Integer call() throws IOException {
        if (json && !answersInJson()) {
            session.fail(Exit.USAGE, "there is no JSON of this command");
            return session.code();
        }
        if (needsLibrary()) {
            loadLibrary();
        }
        out.endNamesWith(nul ? '\0' : '\n');
        Identity identity = null;
        try {
            identity = as == null ? null : Rights.as(as);
        } catch (Failure e) {
            session.fail(e.code, e.code == Exit.DENIED ? e.getMessage() : as + ": " + e.getMessage());
            return session.code();
        }
        try {
            run();
        } catch (Failure e) {
            session.fail(e.code, e.getMessage());
        } finally {
            if (identity != null) {
                identity.close();
            }
        }
        return session.code();
    }

    boolean answersInJson() {
        return true;
    }

    /** The doctor looks first whether there is one. */
    boolean needsLibrary() {
        return true;
    }

    static void loadLibrary() throws IOException {
        ZoltLibrary.load(); // it says best why it cannot
        Rights.settle();
        ZoltLibrary.setDefaults(HDFS_BLOCK_SIZE, HDFS_REPLICATION);
    }

    /** Something that is done to a path. */
    interface Step {
        void take(String path) throws IOException, Failure;
    }

    /**
     * Takes a step for each path; one that fails is reported, and the others follow. The path "-" stands
     * for those on standard input.
     */
    final void forEach(List<String> paths, Step step) {
        for (String path : paths) {
            if (session.stop.isAsked()) {
                return;
            }
            if (path.equals(STANDARD_INPUT)) {
                forEach(new PathReader(session.in, nul ? '\0' : '\n'), step);
            } else {
                take(path, step);
            }
        }
    }

    private void forEach(PathReader paths, Step step) {
        for (boolean more = true; more && !session.stop.isAsked(); ) {
            try {
                String path = paths.next();
                more = path != null;
                if (more) {
                    take(path, step);
                }
            } catch (IOException e) {
                session.fail(Exit.FAILED, "standard input: " + e.getMessage());
                more = false;
            }
        }
    }

    static void checkDepth(String option, int depth) throws Failure {
        if (depth < 0) {
            throw new Failure(Exit.USAGE, depth + ": " + option + " takes a whole number, 0 or more");
        }
    }

    private void take(String path, Step step) {
        try {
            if (path.isEmpty()) { // of which Java makes the current folder
                throw new Failure(Exit.NOT_FOUND, "the empty path is that of nothing");
            }
            if (Names.hasBytes(path)) {
                throw new Failure(Exit.FAILED, Names.UNREACHABLE);
            }
            step.take(path);
        } catch (Output.Lost e) {
            throw e;
        } catch (IOException | Failure | RuntimeException e) {
            session.fail(path, e);
        }
    }

    /** Where people expect silence after success, JSON still says what is so now. */
    final void done(Json result) {
        if (json) {
            out.line(result.toString());
        }
    }
}
