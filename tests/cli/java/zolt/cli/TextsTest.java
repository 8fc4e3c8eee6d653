package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;

/** What is said of a wrong call, and the form of every complaint. */
class TextsTest extends CliFixture {
    /** A run that must fail, with one object on standard error. */
    private static Map<String, Object> error(int code, String... arguments) {
        Cli run = Cli.run(arguments);
        assertEquals(code, run.code, run.err);
        assertEquals(1, run.err.lines().count(), run.err);
        Map<String, Object> error = Value.object(run.err.trim());
        assertEquals((long) code, error.get("exit"));
        return error;
    }

    @Test
    void wordsThatAreNoCommandsAreNamed() {
        Cli.fails(Exit.USAGE, "no such command: foo (see zolt --help)", "foo");
        Cli.fails(Exit.USAGE, "no such command: foo (see zolt --help)", "help", "foo");
        Cli.fails(Exit.USAGE, "no such command: foo (see zolt --help)", "foo", "--help");
        Cli.fails(Exit.USAGE, "no such command: foo (see zolt acl --help)", "acl", "foo");
        Cli run = Cli.run("blokcs", path("file"));
        assertEquals("zolt: no such command: blokcs; did you mean blocks?", run.err.replaceFirst(" or .*\\?|\\? .*", "?")
                .trim());
        Cli.fails(Exit.USAGE, "one argument too many: x (see zolt whoami --help)", "whoami", "x");
        Cli.fails(Exit.USAGE, "no entries are given", "acl", "modify", " ", path("file"));
    }

    @Test
    void failuresUnderJsonAreJson() throws Exception {
        String path = path("none \u202e\033");
        Map<String, Object> error = error(Exit.NOT_FOUND, "stat", "--json", path);
        assertEquals(path, error.get("path"));
        assertEquals("No such file or directory", error.get("error"));
        assertEquals("Missing required parameter: 'PATH' (see zolt stat --help)",
                error(Exit.USAGE, "stat", "--json").get("error"));
        assertEquals("no such command: foo (see zolt --help)", error(Exit.USAGE, "foo", "--json").get("error"));
        assertEquals("no-such-user: unknown user",
                error(Exit.NOT_FOUND, "whoami", "--json", "--as", "no-such-user").get("error"));
        Cli run = Cli.run("stat", "--json", file("a"), path("no"), path("no"));
        assertEquals(1, run.lines().size());
        assertEquals(2, run.err.lines().peek(Value::object).count());
        Cli.fails(Exit.NOT_FOUND, "--json: No such file or directory", "stat", "--", "--json");
    }

    @Test
    void commandsWithoutJsonSaySo() {
        for (String command : List.of("tour", "completion")) {
            assertEquals("there is no JSON of this command", error(Exit.USAGE, command, "--json").get("error"));
        }
    }

    @Test
    void whyDoesNotDenyWhatItCannotReach() throws Exception {
        for (String path : List.of(file("\ud83d\ude00"), path("no\ud83d\ude00"), file("\ud83d\ude00") + "/deeper")) {
            Cli.fails(Exit.FAILED, path + ": " + Names.UNREACHABLE, "why", path);
        }
        assertTrue(Cli.run("why", path("none")).text().endsWith("none does not exist\n"));
    }
}
