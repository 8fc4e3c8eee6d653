package zolt.cli;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;

/** A command that only has verbs: "zolt acl". By itself it says which. */
@Command(synopsisSubcommandLabel = "COMMAND")
final class Group implements Runnable {
    private CommandLine line;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    boolean help;

    private Group() {}

    static CommandLine of(String name, String description) {
        Group group = new Group();
        group.line = new CommandLine(group);
        CommandSpec spec = group.line.getCommandSpec().name(name);
        spec.usageMessage().description(description);
        return group.line;
    }

    @Override
    public void run() {
        throw new CommandLine.ParameterException(line, "Missing command: one of "
                + String.join(", ", line.getSubcommands().keySet()));
    }
}
