package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import zolt.cli.commands.Commands;
import zolt.cli.output.Exit;
import zolt.cli.output.Session;

class IdentityTest extends CliFixture {
    @Test
    void whoamiIsWhatIdSays() throws Exception {
        for (String user : List.of("nobody", "daemon", "www-data", "man")) {
            String groups = Tool.text("id", user);
            assertEquals(groups, Cli.done("whoami", "--as", user).text());
            Map<String, Object> json =
                    Value.object(Cli.done("whoami", "--json", "--as", user).text().trim());
            assertEquals(Tool.text("id", "-u", user).trim(), json.get("uid").toString());
            List<String> gids = new ArrayList<>();
            for (Object group : (List<?>) json.get("groups")) {
                gids.add(((Map<?, ?>) group).get("gid").toString());
            }
            assertEquals(Tool.text("id", "-G", user).trim(), String.join(" ", gids));
        }
    }

    @Test
    void theIdentityEndsWithTheCommand() throws Exception {
        Cli.done("whoami", "--as", "nobody"); // its groups stay with the thread
        String before = Cli.done("whoami").text();
        Cli.done("whoami", "--as", "nobody");
        Cli.run("stat", "--as", "nobody", path("no"));
        Cli.run("ls", "--as", "nobody", "--no-such-option");
        assertEquals(before, Cli.done("whoami").text());
    }

    @Test
    void anUnknownUserIsRefused() throws Exception {
        Cli.fails(Exit.NOT_FOUND, "no-such-user: unknown user", "whoami", "--as", "no-such-user");
        String file = file("file");
        Tool.raw("chmod", "666", file);
        Cli.fails(Exit.NOT_FOUND, "no-such-user: unknown user", "chmod", "--as", "no-such-user", "600",
                file);
        assertEquals("666\n", Tool.text("stat", "-c", "%a", file));
        Cli.fails(Exit.NOT_FOUND, "\\012: unknown user", "whoami", "--as", "\n");
    }

    @Test
    void wrongCallsSayWhatToRead() {
        Cli.fails(Exit.USAGE, "Unknown option: '--no' (see zolt ls --help)", "ls", "--no");
        Cli.fails(Exit.USAGE, "Missing required parameter: 'PATH' (see zolt stat --help)", "stat");
        Cli.fails(Exit.USAGE, "Missing command (see zolt --help)");
        assertEquals(Exit.USAGE, Cli.run("frobnicate").code);
        assertEquals(Exit.USAGE, Cli.run("acl", "frobnicate").code);
    }

    @Test
    void everyCommandHasHelpWithAnExample() {
        int commands = helped(Commands.tree(new Session(System.out, System.err, "")), new ArrayList<>());
        assertTrue(commands > 20, "commands: " + commands);
    }

    private static int helped(picocli.CommandLine line, List<String> command) {
        int count = 0;
        for (Map.Entry<String, picocli.CommandLine> each : line.getSubcommands().entrySet()) {
            if (each.getKey().equals("help")) {
                continue; // it shows the help of others
            }
            List<String> name = new ArrayList<>(command);
            name.add(each.getKey());
            List<String> call = new ArrayList<>(name);
            call.add("--help");
            String help = Cli.done(call.toArray(new String[0])).text();
            assertTrue(help.startsWith("Usage: zolt " + String.join(" ", name)), help);
            assertTrue(!each.getValue().getSubcommands().isEmpty() || help.contains("Example"), help);
            count += 1 + helped(each.getValue(), name);
        }
        return count;
    }

    @Test
    void versionAndHelpAreAnswers() {
        assertTrue(Cli.done("--version").text().startsWith("zolt "));
        assertTrue(Cli.done("--help").text().contains("Exit codes: 0 done;"));
    }
}
