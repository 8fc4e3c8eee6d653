package zolt.cli.commands;

import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;
import zolt.cli.output.Output;

/** What fish completes. */
final class FishCompletion {
    private final Output out;

    FishCompletion(Output out) {
        this.out = out;
    }

    void print(CommandLine tree) {
        for (String line : new String[] {
            "# fish completion for zolt: commands, options, users after --as, files.",
            "function __zolt_command",
            "  set -l command ''",
            "  for word in (commandline -opc)[2..]",
            "    switch \"$command $word\"",
            "      case " + CompletionCommand.groups(tree).replace(" | ", " "),
            "        set command (string trim -- \"$command $word\")",
            "    end",
            "  end",
            "  test -n \"$command\"; or set command zolt",
            "  echo $command",
            "end",
            "complete -c zolt -n 'contains -- (__zolt_command) " + CompletionCommand.wordless(tree) + "' -f",
        }) {
            out.line(line);
        }
        describe("zolt", tree);
    }

    private void describe(String command, CommandLine line) {
        String where = "complete -c zolt -n 'test (__zolt_command) = \"" + command + "\"' ";
        CompletionCommand.next(line).forEach((name, each) -> out.line(where + "-a " + name + described(
                each.getCommandSpec().usageMessage().description())));
        for (OptionSpec option : line.getCommandSpec().options()) {
            if (!option.hidden()) {
                out.line(where + names(option) + values(option) + described(option.description()));
            }
        }
        line.getSubcommands().forEach((name, each) ->
                describe(command.equals("zolt") ? name : command + " " + name, each));
    }

    private static String described(String[] description) {
        return " -d " + CompletionCommand.quoted(CompletionCommand.summary(description)).replace("'\\''", "\\'");
    }

    private static String names(OptionSpec option) {
        StringBuilder names = new StringBuilder();
        for (String name : option.names()) {
            names.append(name.startsWith("--") ? " -l " + name.substring(2)
                    : name.length() == 2 ? " -s " + name.substring(1) : " -o " + name.substring(1));
        }
        return names.substring(1);
    }

    private static String values(OptionSpec option) {
        return option.longestName().equals("--as") ? " -x -a '(__fish_complete_users)'"
                : option.typeInfo().isEnum() ? " -x -a '" + String.join(" ",
                        option.typeInfo().getEnumConstantNames()) + "'"
                : option.arity().max() > 0 ? " -r" : "";
    }
}
