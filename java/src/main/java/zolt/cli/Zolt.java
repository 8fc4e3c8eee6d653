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
import java.util.Collections;
import java.util.List;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Help.Ansi;
import picocli.CommandLine.Option;

/** The command "zolt": looks at a ZOLT file system, and works on it, as its NameNode would. */
@Command(name = "zolt", synopsisSubcommandLabel = "COMMAND", description = {
    "Look at a ZOLT file system, and work on it, as a NameNode does."}, footer = {"",
        "Examples:",
        "  zolt ls -l /srv/data",
        "  zolt why /srv/data/part-0000 --as alice",
        "  zolt acl modify u:alice:rx /srv/data",
        "  zolt doctor /srv",
        "  zolt help acl modify", "",
        "Exit codes: 0 done; 1 an operation failed, or several for different reasons; 2 a wrong call;",
        "3 permission denied; 4 no such path, user, attribute or lease; 5 it cannot run;",
        "6 it is there already: a lease, an attribute.", "",
        "Environment: JAVA_HOME, ZOLT_LIBRARY (the file of the library), LD_LIBRARY_PATH (the folder of",
        "the file system's client libzolt.so), ZOLT_LOG (the library's log on standard error: trace,",
        "debug, info, warn, error), ZOLT_JAVA_OPTS."})
public final class Zolt implements Runnable {
    private static final List<String> COMMANDS = Arrays.asList("ls", "stat", "find", "du", "count", "blocks",
            "acl", "xattr", "lease", "leases", "link", "chmod", "touch", "replication", "bgf", "whoami", "why",
            "doctor", "tour", "completion");

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    boolean help;

    @Option(names = {"-V", "--version"}, versionHelp = true, description = "Show the version.")
    boolean version;

    private final CommandLine line;

    private Zolt() {
        line = new CommandLine(this);
    }

    /** A command by its name. A table of functions would take longer to set up than the command. */
    private static CommandLine make(String name, Session session) {
        switch (name) {
            case "acl":
                return AclCommand.of(session);
            case "xattr":
                return XattrCommand.of(session);
            case "lease":
                return LeaseCommand.of(session);
            default:
                return new CommandLine(action(name, session));
        }
    }

    private static Action action(String name, Session session) {
        switch (name) {
            case "ls":
                return new LsCommand(session);
            case "stat":
                return new StatCommand(session);
            case "blocks":
                return new BlocksCommand(session);
            case "link":
                return new LinkCommand(session);
            case "chmod":
                return new ChmodCommand(session);
            case "touch":
                return new TouchCommand(session);
            case "replication":
                return new ReplicationCommand(session);
            case "bgf":
                return new BgfCommand(session);
            case "find":
                return new FindCommand(session);
            case "du":
                return new DuCommand(session);
            case "count":
                return new CountCommand(session);
            case "leases":
                return new LeasesCommand(session);
            case "whoami":
                return new WhoamiCommand(session);
            case "why":
                return new WhyCommand(session);
            case "doctor":
                return new DoctorCommand(session);
            case "tour":
                return new TourCommand(session);
            case "completion":
                return new CompletionCommand(session);
            default:
                throw new IllegalArgumentException(name);
        }
    }

    /** Runs the command line and ends the virtual machine with its exit code. */
    public static void main(String[] arguments) throws UnsupportedEncodingException {
        OutputStream out = new FileOutputStream(FileDescriptor.out);
        PrintStream err = new PrintStream(new FileOutputStream(FileDescriptor.err), true, "UTF-8");
        Session session = new Session(out, err, System.getProperty("zolt.terminals", ""));
        if (session.errIsTerminal) {
            System.setErr(shown(err));
        }
        int code = run(arguments, session);
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
            return lost(e, session);
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
        StringWriter usage = new StringWriter();
        int code = commandLine(arguments, session).setOut(new PrintWriter(usage))
                .execute(arguments(arguments));
        session.out.text(usage.toString());
        return code;
    }

    /** "zolt ls DIR": without the parser it is done in half the time, where the directory is small. */
    private static boolean isPlainListing(String[] arguments) {
        return arguments.length == 2 && arguments[0].equals("ls") && !arguments[1].startsWith("-");
    }

    private static int list(String path, Session session) {
        LsCommand command = new LsCommand(session);
        command.paths = Collections.singletonList(path);
        try {
            return command.call();
        } catch (IOException e) {
            return broken(e, session);
        }
    }

    /** Who has closed a pipe wants no more, and no message. */
    private static int lost(Output.Lost e, Session session) {
        if (e.isPipe()) {
            return Exit.PIPE;
        }
        session.tell(null, Exit.FAILED, "standard output: " + e.getCause().getMessage());
        return Exit.FAILED;
    }

    /** The whole tree of commands, for help and completion. */
    static CommandLine tree(Session session) {
        CommandLine all = new Zolt().line;
        for (String name : COMMANDS) {
            all.addSubcommand(name, make(name, session));
        }
        all.addSubcommand(new CommandLine.HelpCommand());
        return configured(all, session);
    }

    /** One command alone is quicker to set up than all of them. */
    private static CommandLine commandLine(String[] arguments, Session session) {
        return isCommand(arguments)
                ? configured(make(arguments[0], session).setCommandName("zolt " + arguments[0]), session)
                : tree(session);
    }

    private static String[] arguments(String[] all) {
        return isCommand(all) ? Arrays.copyOfRange(all, 1, all.length) : all;
    }

    private static boolean isCommand(String[] arguments) {
        return arguments.length > 0 && COMMANDS.contains(arguments[0]);
    }

    private static CommandLine configured(CommandLine line, Session session) {
        line.getCommandSpec().versionProvider(Version::lines);
        addHelp(line);
        // The last one counts, as with the system's tools; but two conditions of a search are not one.
        line.setOverwrittenOptionsAllowed(true);
        CommandLine search = line.getCommand() instanceof FindCommand ? line : line.getSubcommands().get("find");
        if (search != null) {
            search.setOverwrittenOptionsAllowed(false);
        }
        return line.setCaseInsensitiveEnumValuesAllowed(true).setUnmatchedOptionsArePositionalParams(false)
                .setExpandAtFiles(false).setUsageHelpAutoWidth(false).setUsageHelpWidth(96)
                .setColorScheme(CommandLine.Help.defaultColorScheme(
                        session.outIsTerminal ? Ansi.ON : Ansi.OFF))
                .setParameterExceptionHandler((e, unused) -> wrong(e, session))
                .setExecutionExceptionHandler((e, unused, result) -> broken(e, session));
    }

    /** Where -h has another meaning, as in ls(1), help is --help alone. */
    private static void addHelp(CommandLine line) {
        CommandLine.Model.CommandSpec spec = line.getCommandSpec();
        if (spec.findOption("--help") == null) {
            String[] names = spec.findOption("-h") == null ? new String[] {"-h", "--help"}
                    : new String[] {"--help"};
            spec.addOption(CommandLine.Model.OptionSpec.builder(names).usageHelp(true)
                    .description("Show this help.").build());
        }
        line.getSubcommands().values().forEach(Zolt::addHelp);
    }

    private static int wrong(CommandLine.ParameterException e, Session session) {
        session.fail(Exit.USAGE, whatIsWrong(e) + " (see " + e.getCommandLine().getCommandSpec()
                .qualifiedName() + " --help)");
        return Exit.USAGE;
    }

    /** The parser counts arguments; people have written a word that is no command, or one word too many. */
    private static String whatIsWrong(CommandLine.ParameterException e) {
        CommandLine.UnmatchedArgumentException unmatched =
                e instanceof CommandLine.UnmatchedArgumentException ? (CommandLine.UnmatchedArgumentException) e : null;
        if (unmatched == null || unmatched.isUnknownOption()) {
            return e.getMessage();
        }
        String word = unmatched.getUnmatched().get(0);
        if (e.getCommandLine().getSubcommands().isEmpty()) {
            return "one argument too many: " + word;
        }
        List<String> similar = unmatched.getSuggestions();
        return "no such command: " + word + (similar.isEmpty() ? "" : "; did you mean "
                + String.join(" or ", similar) + "?");
    }

    private static int broken(Exception e, Session session) {
        if (e instanceof Output.Lost) {
            return lost((Output.Lost) e, session);
        }
        session.fail(Exit.FAILED, String.valueOf(e.getMessage()));
        return Exit.FAILED;
    }

    @Override
    public void run() {
        throw new CommandLine.ParameterException(line, "Missing command");
    }
}
