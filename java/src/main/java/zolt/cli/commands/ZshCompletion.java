package zolt.cli.commands;

import java.util.Map;
import java.util.TreeMap;
import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;
import zolt.cli.output.Output;

/** What zsh completes: a function for a folder of fpath, or to be sourced. */
final class ZshCompletion {
    private final Output out;

    ZshCompletion(Output out) {
        this.out = out;
    }

    void print(CommandLine tree) {
        StringBuilder words = new StringBuilder();
        Map<String, String> values = new TreeMap<>();
        describe("", tree, words, values);
        StringBuilder cases = new StringBuilder();
        values.forEach((names, each) -> cases.append("    (").append(names).append(") compadd -- ").append(each)
                .append("; return ;;\n"));
        for (String line : new String[] {
            "#compdef zolt",
            "# zsh completion for zolt: commands, options, users after --as, files.",
            "_zolt() {",
            "  local command= word",
            "  local -a found",
            "  for word in \"${(@)words[2,CURRENT-1]}\"; do",
            "    case \"$command $word\" in",
            "      (" + CompletionCommand.groups(tree) + ") command=${command:+$command }$word ;;",
            "    esac",
            "  done",
            "  case ${words[CURRENT-1]} in",
            "    (--as) _users; return ;;",
            cases + "  esac",
            "  case $command in",
            words + "  esac",
            "  if [[ ${words[CURRENT]} == -* || \" " + CompletionCommand.wordless(tree)
                + " \" == *\" ${command:-zolt} \"* ]]; then",
            "    _describe -t words zolt found",
            "  else",
            "    _files",
            "  fi",
            "}",
            "if [[ ${funcstack[1]-} == _zolt ]]; then _zolt \"$@\"; elif (( $+functions[compdef] )); then"
                + " compdef _zolt zolt; fi",
        }) {
            out.line(line);
        }
    }

    private static void describe(String command, CommandLine line, StringBuilder words,
            Map<String, String> values) {
        Map<String, String> next = new TreeMap<>();
        CompletionCommand.next(line).forEach((name, each) -> next.put(name, CompletionCommand.summary(
                each.getCommandSpec().usageMessage().description())));
        for (OptionSpec option : line.getCommandSpec().options()) {
            if (!option.hidden()) {
                for (String name : option.names()) {
                    next.put(name, CompletionCommand.summary(option.description()));
                }
            }
            if (option.typeInfo().isEnum()) {
                values.put(String.join("|", option.names()),
                        String.join(" ", option.typeInfo().getEnumConstantNames()));
            }
        }
        words.append("    ('").append(command).append("') found=(");
        next.forEach((name, text) -> words.append(CompletionCommand.quoted(name + ":" + text)).append(' '));
        words.append(") ;;\n");
        line.getSubcommands().forEach((name, each) ->
                describe(command.isEmpty() ? name : command + " " + name, each, words, values));
    }
}
