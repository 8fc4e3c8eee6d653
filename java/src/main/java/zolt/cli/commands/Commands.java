package zolt.cli.commands;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Locale;
import java.util.stream.Collectors;
import picocli.CommandLine;
import picocli.CommandLine.Help.Ansi;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;
import zolt.cli.output.Session;

/**
 * All commands. To add one is to write its class, "LsCommand" for "ls", and to name it here: the parser, the
 * help, the completions and the tests that look at every command follow.
 */
public final class Commands {
    /** In the order of the help. */
    private static final List<String> NAMES = Arrays.asList("ls", "stat", "find", "du", "count", "blocks", "acl",
            "xattr", "lease", "leases", "link", "chmod", "touch", "replication", "bgf", "whoami", "why", "doctor",
            "tour", "completion");
    /** Those that only have verbs. */
    private static final List<String> GROUPS = Arrays.asList("acl", "xattr", "lease");

    /** Arguments, by their labels, that may have bytes that are no UTF-8. */
    private static final List<String> TAKE_BYTES = Arrays.asList("PATH", "PATTERN");

    private Commands() {}

    /** Whether there is a command of this name. */
    public static boolean has(String name) {
        return NAMES.contains(name);
    }

    /** Whether a verb follows the command. */
    public static boolean isGroup(String name) {
        return GROUPS.contains(name);
    }

    /** One command alone, which is quicker to set up than all of them. */
    public static CommandLine alone(String name, Session session) {
        return configured(make(name, session).setCommandName("zolt " + name), session);
    }

    /** The whole tree of commands, for help and completion. */
    public static CommandLine tree(Session session) {
        CommandLine all = new CommandLine(new RootCommand());
        for (String name : NAMES) {
            all.addSubcommand(name, make(name, session));
        }
        all.addSubcommand(new CommandLine.HelpCommand());
        return configured(all, session);
    }

    /** Lists a directory by its name and nothing else, without the parser. */
    public static int list(String path, Session session) throws IOException {
        LsCommand command = new LsCommand(session);
        command.paths = Collections.singletonList(path);
        return command.call();
    }

    /** By reflection: only the class of the command that runs is to be loaded. */
    private static CommandLine make(String name, Session session) {
        String type = Commands.class.getPackage().getName() + "." + name.substring(0, 1).toUpperCase(Locale.ROOT)
                + name.substring(1) + "Command";
        try {
            Object command = Class.forName(type).getDeclaredConstructor(Session.class).newInstance(session);
            return isGroup(name) ? ((Group) command).line() : new CommandLine(command);
        } catch (ReflectiveOperationException e) {
            throw new LinkageError(type + " cannot be made", e);
        }
    }

    private static CommandLine configured(CommandLine line, Session session) {
        addHelp(line);
        // The last one counts, as with the system's tools; but two conditions of a search are not one.
        line.setOverwrittenOptionsAllowed(true);
        CommandLine search = line.getCommand() instanceof FindCommand ? line : line.getSubcommands().get("find");
        if (search != null) {
            search.setOverwrittenOptionsAllowed(false);
        }
        return line.registerConverter(String.class, Values::plain).setCaseInsensitiveEnumValuesAllowed(true)
                .setUnmatchedOptionsArePositionalParams(false)
                .setExpandAtFiles(false).setUsageHelpAutoWidth(false).setUsageHelpWidth(96)
                .setColorScheme(CommandLine.Help.defaultColorScheme(
                        session.outIsTerminal ? Ansi.ON : Ansi.OFF))
                .setExecutionStrategy(parsed -> executed(parsed, session))
                .setParameterExceptionHandler((e, unused) -> wrong(e, session))
                .setExecutionExceptionHandler((e, unused, result) -> session.broken(e));
    }

    /** The parser takes a version for a format, in which "%" and "@|" of a path would be more than letters. */
    private static int executed(CommandLine.ParseResult parsed, Session session) {
        String unfit = inexpressible(parsed);
        if (unfit != null) {
            session.fail(Exit.USAGE, unfit);
            return Exit.USAGE;
        }
        if (!parsed.isVersionHelpRequested() || parsed.isUsageHelpRequested()) {
            return new CommandLine.RunLast().execute(parsed);
        }
        try {
            for (String line : Version.lines()) {
                session.out.line(line);
            }
            return Exit.OK;
        } catch (IOException e) {
            return session.broken(e);
        }
    }

    /**
     * An argument with a byte that is no UTF-8 would become another one on its way into the library. Of paths, each
     * has its own failure, and a pattern is compared here, with names that have such bytes, too.
     */
    private static String inexpressible(CommandLine.ParseResult parsed) {
        for (CommandLine.ParseResult each : parsed.asCommandLineList().stream().map(CommandLine::getParseResult)
                .collect(Collectors.toList())) {
            List<CommandLine.Model.ArgSpec> given = new ArrayList<>(each.matchedOptions());
            given.addAll(each.matchedPositionals());
            for (CommandLine.Model.ArgSpec argument : given) {
                boolean takesBytes = TAKE_BYTES.contains(argument.paramLabel());
                for (String value : argument.originalStringValues()) {
                    if (Names.hasBytes(value) && !takesBytes) {
                        return Values.plain(value) + ": " + label(argument) + " is no UTF-8, and cannot be expressed";
                    }
                }
            }
        }
        return null;
    }

    private static String label(CommandLine.Model.ArgSpec argument) {
        return argument.isOption() ? ((CommandLine.Model.OptionSpec) argument).longestName() : argument.paramLabel();
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
        line.getSubcommands().values().forEach(Commands::addHelp);
    }

    private static int wrong(CommandLine.ParameterException e, Session session) {
        session.fail(Exit.USAGE, Values.plain(whatIsWrong(e)) + " (see " + e.getCommandLine().getCommandSpec()
                .qualifiedName() + " --help)");
        return Exit.USAGE;
    }

    /** Of a value that is none of its type, the parser names the type as Java does. */
    private static String unfit(CommandLine.Model.ArgSpec argument, String value) {
        String name = label(argument);
        Class<?> type = argument.type();
        String wanted;
        if (type.isEnum()) {
            List<String> words = new ArrayList<>();
            argument.completionCandidates().forEach(words::add);
            wanted = " takes " + String.join(", ", words.subList(0, words.size() - 1)) + " or "
                    + words.get(words.size() - 1);
        } else if (type == boolean.class) {
            wanted = " takes no value";
        } else {
            wanted = " takes a whole number" + (value.matches("[+-]?[0-9]+") ? ", and none of so many digits" : "");
        }
        return value + ": " + name + wanted;
    }

    /** The parser counts arguments; people have written a word that is no command, or one word too many. */
    private static String whatIsWrong(CommandLine.ParameterException e) {
        CommandLine.UnmatchedArgumentException unmatched =
                e instanceof CommandLine.UnmatchedArgumentException ? (CommandLine.UnmatchedArgumentException) e : null;
        if (unmatched == null && e.getArgSpec() != null && e.getValue() != null) {
            return unfit(e.getArgSpec(), e.getValue());
        }
        if (unmatched == null || unmatched.isUnknownOption()) {
            return e.getMessage();
        }
        String word = unmatched.getUnmatched().get(0);
        if (e.getCommandLine().getSubcommands().isEmpty()) {
            return "one argument too many: " + word;
        }
        List<String> similar = new ArrayList<>(unmatched.getSuggestions());
        similar.remove(word); // behind "--" it is none
        return "no such command: " + word + (similar.isEmpty() ? "" : "; did you mean "
                + String.join(" or ", similar) + "?");
    }
}
