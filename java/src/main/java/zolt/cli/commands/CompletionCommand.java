package zolt.cli.commands;

import java.util.Arrays;
import java.util.Map;
import java.util.TreeSet;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Session;

@Command(name = "completion", description = "Print the completion for a shell.", footer = {"",
    "Examples: source <(zolt completion)",
    "          zolt completion zsh >~/.zsh/completions/_zolt   # a folder of fpath",
    "          zolt completion fish >~/.config/fish/completions/zolt.fish"})
final class CompletionCommand extends Action {
    /** The shells there is one for. */
    enum Shell {
        bash, zsh, fish
    }

    @Parameters(paramLabel = "SHELL", arity = "0..1", defaultValue = "bash",
            description = "${COMPLETION-CANDIDATES}; bash if omitted.")
    Shell shell;

    CompletionCommand(Session session) {
        super(session);
    }

    @Override
    boolean needsLibrary() {
        return false;
    }

    @Override
    boolean answersInJson() {
        return false;
    }

    @Override
    void run() {
        CommandLine tree = Commands.tree(session);
        if (shell == Shell.zsh) {
            new ZshCompletion(out).print(tree);
        } else if (shell == Shell.fish) {
            new FishCompletion(out).print(tree);
        } else {
            bash(tree);
        }
    }

    private void bash(CommandLine tree) {
        StringBuilder words = new StringBuilder();
        describe("", tree, words);
        for (String line : new String[] {
            "# bash completion for zolt: commands, options, users after --as, files.",
            "_zolt() {",
            "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command= word",
            "  COMPREPLY=()",
            "  case $prev in",
            "    --as) mapfile -t COMPREPLY < <(compgen -u -- \"$cur\"); return ;;",
            values(tree) + "  esac",
            "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do",
            "    case \"$command $word\" in",
            "      " + groups(tree) + ") command=${command:+$command }$word ;;",
            "    esac",
            "  done",
            "  local words=",
            "  case $command in",
            words + "  esac",
            "  if [[ $cur == -* || \" " + wordless(tree) + " \" == *\" ${command:-zolt} \"* ]]; then",
            "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$cur\")",
            "  else",
            "    compopt -o filenames 2>/dev/null",
            "    mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")",
            "  fi",
            "}",
            "complete -F _zolt zolt",
        }) {
            out.line(line);
        }
    }

    /** A case of the shell for each command: what may follow it. */
    private static void describe(String command, CommandLine line, StringBuilder words) {
        TreeSet<String> next = new TreeSet<>(next(line).keySet());
        for (OptionSpec option : line.getCommandSpec().options()) {
            if (!option.hidden()) {
                next.addAll(Arrays.asList(option.names()));
            }
        }
        words.append("    '").append(command).append("') words='").append(String.join(" ", next))
                .append("' ;;\n");
        for (Map.Entry<String, CommandLine> each : line.getSubcommands().entrySet()) {
            describe(command.isEmpty() ? each.getKey() : command + " " + each.getKey(),
                    each.getValue(), words);
        }
    }

    /** Commands that are followed by words and not by files; "zolt" is none at all. */
    static String wordless(CommandLine tree) {
        StringBuilder words = new StringBuilder("zolt help");
        tree.getSubcommands().forEach((name, command) ->
                words.append(command.getSubcommands().isEmpty() ? "" : " " + name));
        return words.toString();
    }

    /** The words that may follow a command: verbs, or what there is help of. */
    static Map<String, CommandLine> next(CommandLine line) {
        CommandLine parent = line.getParent();
        return line.getCommandName().equals("help") && parent != null ? parent.getSubcommands()
                : line.getSubcommands();
    }

    /** The first sentence of what is said of something. */
    static String summary(String[] description) {
        String text = description.length == 0 ? "" : description[0].replace("%%", "%");
        return text.split("(?<=[^.])[.:;](?: |$)")[0].replaceAll("\\$\\{.*", "").trim();
    }

    /** A word of a shell. */
    static String quoted(String text) {
        return "'" + text.replace("'", "'\\''") + "'";
    }

    /** The commands, as they stand behind what is already known of the line. */
    static String groups(CommandLine tree) {
        StringBuilder patterns = new StringBuilder();
        tree.getSubcommands().forEach((name, command) -> {
            patterns.append(patterns.length() == 0 ? "" : " | ").append("' ").append(name).append('\'');
            command.getSubcommands().keySet().forEach(verb -> patterns.append(" | '").append(name)
                    .append(' ').append(verb).append('\''));
        });
        return patterns.toString();
    }

    /** Options with a few values of their own. */
    private static String values(CommandLine line) {
        StringBuilder cases = new StringBuilder();
        for (OptionSpec option : line.getCommandSpec().options()) {
            if (option.typeInfo().isEnum()) {
                cases.append("    ").append(String.join(" | ", option.names()))
                        .append(") mapfile -t COMPREPLY < <(compgen -W '")
                        .append(String.join(" ", option.typeInfo().getEnumConstantNames()))
                        .append("' -- \"$cur\"); return ;;\n");
            }
        }
        for (CommandLine each : line.getSubcommands().values()) {
            String more = values(each);
            cases.append(cases.indexOf(more) < 0 ? more : "");
        }
        return cases.toString();
    }
}
