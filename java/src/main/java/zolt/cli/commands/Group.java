package zolt.cli.commands;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;

/** A command that only has verbs: "zolt acl". By itself it says which. */
@Command(synopsisSubcommandLabel = "COMMAND")
abstract class Group implements Runnable {
    private final CommandLine line;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    boolean help;

    Group(String name, String description, Action... verbs) {
        line = new CommandLine(this);
        CommandSpec spec = line.getCommandSpec().name(name);
        spec.usageMessage().description(description);
        for (Action verb : verbs) {
            line.addSubcommand(verb);
        }
    }

    final CommandLine line() {
        return line;
    }

    @Override
    public void run() {
        throw new CommandLine.ParameterException(line, "Missing command: one of "
                + String.join(", ", line.getSubcommands().keySet()));
    }
}
