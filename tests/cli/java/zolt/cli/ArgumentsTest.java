package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import zolt.cli.output.Exit;

class ArgumentsTest extends CliFixture {
    @ParameterizedTest
    @CsvSource({"--as a --json ls -l x, ls --as a --json -l x", "--as=a ls, ls --as=a",
        "--json acl -0 get x, acl get --json -0 x", "ls --json acl, ls --json acl", "help, --help",
        "help acl get, acl get --help", "--json acl, acl", "--json --version, --version",
        "ls --as, ls --as", "--as, --as"})
    void optionsOfAllCommandsMoveBehindTheCommand(String given, String ordered) {
        assertArrayEquals(ordered.split(" "), Arguments.ordered(given.split(" ")));
    }

    @Test
    void whatMovedIsObeyed() throws Exception {
        assertEquals(Cli.done("acl", "get", "--json", "/").text(), Cli.done("--json", "acl", "get", "/").text());
        assertTrue(Cli.done("--as", "nobody", "whoami").text().contains("(nobody)"));
        assertEquals(Cli.done("acl", "modify", "--help").text(), Cli.done("help", "acl", "modify").text());
        assertTrue(Cli.done("help").text().contains("Usage: zolt"));
        assertEquals(Exit.USAGE, Cli.run("-l", "ls", "/").code);
        assertEquals(Exit.USAGE, Cli.run("--json").code);
    }

    @Test
    void pathsComeFromStandardInput() throws Exception {
        Tool.sh(HARD_NAMES, dir.toString());
        String names = Tool.raw("find", dir.toString(), "-type", "f", "-print0");
        Cli run = Cli.fed(names, "chmod", "-0", "600", "-");
        assertEquals(3, run.err.split("\n").length, run.err);
        for (String line : run.err.split("\n")) {
            assertTrue(line.contains(dir.toString()), line);
        }
        assertEquals(10, Tool.lines("find", dir.toString(), "-perm", "600", "-printf", "x\\n").size());
        String file = path("plain");
        assertEquals(Cli.done("stat", file, "/", file).text(),
                Cli.fed(file + "\n/\n" + file, "stat", "-").text());
        assertEquals(dir + ":\n", Cli.fed(dir + "\n", "ls", "-").lines().get(0) + "\n");
        Cli.fails(Exit.NOT_FOUND, "./-: No such file or directory", "stat", "./-");
    }

    @Test
    void namesEndInNul() throws Exception {
        Tool.sh(HARD_NAMES + "; ln -s a l", dir.toString());
        String names = Tool.raw("ls", "-AU1", "--zero", dir.toString());
        assertEquals(names, Cli.done("ls", "-0", dir.toString()).raw());
        assertEquals("a\0", Cli.done("link", "-0", path("l")).raw());
        List<String> lines = Arrays.asList(Cli.run("ls", "-l0", dir.toString()).raw().split("\0"));
        assertEquals(Arrays.asList(names.split("\0")).size(), lines.size());
    }
}
