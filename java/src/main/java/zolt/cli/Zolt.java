package zolt.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.io.UnsupportedEncodingException;
import java.util.Arrays;
import java.util.List;
import picocli.CommandLine;
import zolt.cli.commands.Commands;
import zolt.cli.commands.Values;
import zolt.cli.output.Exit;
import zolt.cli.output.Output;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;

/** The program: from its arguments to its exit code. */
public final class Zolt {
    private Zolt() {}

    /** Runs the command line and ends the virtual machine with its exit code. */
    public static void main(String[] arguments) throws UnsupportedEncodingException {
        OutputStream out = new FileOutputStream(FileDescriptor.out);
        PrintStream err = new PrintStream(new FileOutputStream(FileDescriptor.err), true, "UTF-8");
        Session session = new Session(out, err, System.getProperty("zolt.terminals", ""));
        if (session.errIsTerminal) {
            System.setErr(shown(err));
        }
        int code = run(Arguments.exact(arguments), session);
        session.stop.letEnd();
        // Nothing here waits for its end, and an exit would run the hooks of a machine that stays.
        Runtime.getRuntime().halt(code);
    }

    /** The log comes a line at a time, with names in it. */
    private static PrintStream shown(PrintStream err) throws UnsupportedEncodingException {
        return new PrintStream(err, true, "UTF-8") {
            @Override
            public void println(String line) {
                super.println(Shown.lines(String.valueOf(line)));
            }
        };
    }

    /** Runs a command line. */
    static int run(String[] arguments, Session session) {
        List<String> words = Arrays.asList(arguments);
        int end = words.indexOf("--");
        session.json = words.subList(0, end < 0 ? words.size() : end).contains("--json");
        try {
            int code = isPlainListing(arguments) ? list(arguments[1], session)
                    : parse(Arguments.ordered(arguments), session);
            session.out.flush();
            return code;
        } catch (LinkageError e) {
            session.fail(Exit.BROKEN, reason(e));
            return Exit.BROKEN;
        } catch (OutOfMemoryError e) {
            session.fail(Exit.BROKEN, "Java has no more memory (" + e.getMessage() + "): see ulimit -v,"
                    + " or set ZOLT_JAVA_OPTS=-Xmx...");
            return Exit.BROKEN;
        } catch (Output.Lost e) {
            return session.lost(e);
        } finally {
            session.stop.end();
        }
    }

    /** A class that cannot be set up says nothing itself. */
    private static String reason(Throwable e) {
        return e.getMessage() != null ? e.getMessage() : e.getCause() != null ? reason(e.getCause())
                : e.getClass().getSimpleName();
    }

    private static int parse(String[] arguments, Session session) {
        boolean known = arguments.length > 0 && Commands.has(arguments[0]);
        CommandLine line = known ? Commands.alone(arguments[0], session) : Commands.tree(session);
        StringWriter usage = new StringWriter();
        // What is asked of a command that is none is not asked of all.
        boolean isWord = !known && arguments.length > 0 && !arguments[0].startsWith("-");
        String[] words = known ? Arrays.copyOfRange(arguments, 1, arguments.length)
                : isWord ? new String[] {arguments[0]} : arguments;
        int code = line.setOut(new PrintWriter(usage)).execute(Values.marked(words));
        session.out.text(usage.toString());
        return code;
    }

    /** "zolt ls DIR": without the parser it is done in half the time, where the directory is small. */
    private static boolean isPlainListing(String[] arguments) {
        return arguments.length == 2 && arguments[0].equals("ls") && !arguments[1].startsWith("-");
    }

    private static int list(String path, Session session) {
        try {
            return Commands.list(path, session);
        } catch (IOException e) {
            return session.broken(e);
        }
    }
}
