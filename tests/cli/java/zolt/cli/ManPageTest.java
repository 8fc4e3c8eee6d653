package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Test;
import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;
import zolt.cli.commands.Commands;
import zolt.cli.output.Exit;
import zolt.cli.output.Session;

/** The manual page beside the command's own model: no command and no option is missing in either. */
class ManPageTest {
    private static final Pattern HEADING = Pattern.compile("\\.B[IR]* \"?([a-z]+(?: [a-z]+)?)\\b.*");
    private static final Set<String> EVERYWHERE = Set.of("--as", "--json", "-0", "--help", "--version");
    private static final Pattern OPTION = Pattern.compile("\\\\-(?:\\\\-[a-z][a-z0-9]*|[a-zA-Z0-9])");

    private static List<String> page() throws Exception {
        return Files.readAllLines(Path.of(System.getProperty("zolt.man")));
    }

    private static String heading(List<String> page, String command) {
        return page.stream().filter(line -> {
            Matcher matcher = HEADING.matcher(line);
            return matcher.matches() && matcher.group(1).equals(command);
        }).findFirst().orElseThrow(() -> new AssertionError("the page has no " + command));
    }

    private static void compare(List<String> page, String name, CommandLine command) {
        if (!command.getSubcommands().isEmpty()) {
            command.getSubcommands().forEach((verb, sub) ->
                    compare(page, (name + " " + verb).trim(), sub));
            return;
        }
        String heading = heading(page, name);
        Set<String> shown = new TreeSet<>();
        Matcher option = OPTION.matcher(heading);
        while (option.find()) {
            shown.add(option.group().replace("\\", ""));
        }
        for (OptionSpec each : command.getCommandSpec().options()) {
            List<String> names = Arrays.asList(each.names());
            if (names.stream().noneMatch(EVERYWHERE::contains)) {
                assertTrue(shown.removeAll(names), () -> name + " lacks " + names);
            }
        }
        assertEquals(Set.of(), shown, () -> name + " has no such options");
    }

    @Test
    void thePageHasEachCommandWithItsOptions() throws Exception {
        compare(page(), "", Commands.tree(new Session(new ByteArrayOutputStream(),
                new PrintStream(new ByteArrayOutputStream()), "")));
    }

    /** Beside Java, which decides: check.sh tries it. */
    @Test
    void thePageHasTheSignalThatDoesNotEndIt() throws Exception {
        assertTrue(String.join("\n", page()).contains("\nSIGQUIT (Ctrl\\-\\e) does not: "));
    }

    @Test
    void thePageHasEachExitCode() throws Exception {
        String text = String.join("\n", page());
        for (int code : new int[] {Exit.OK, Exit.FAILED, Exit.USAGE, Exit.DENIED, Exit.NOT_FOUND,
            Exit.BROKEN, Exit.EXISTS, Exit.PIPE}) {
            assertTrue(text.contains("\n.B " + code + "\n"), () -> "exit code " + code);
        }
    }
}
