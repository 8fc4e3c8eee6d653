package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;
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

    /** A value behind "=" is one whatever it looks like. */
    @ParameterizedTest
    @ValueSource(strings = {"--as", "--json", "--as=nobody", "-0", "-", "--", "--holder"})
    void valuesMayLookLikeOptions(String holder) throws Exception {
        String file = file("f");
        Cli.done("lease", "set", "--", holder, file);
        for (String call : new String[] {"leases --holder", "find --holder", "find -holder"}) {
            String[] words = (call + "=" + holder + " " + dir).split(" ");
            assertTrue(Cli.done(words).text().endsWith(file + "\n"), call);
        }
        Cli.fails(Exit.USAGE, holder + ": --for takes look, r, w, x or d (see zolt why --help)", "why", "--for=" + holder,
                file);
        assertTrue(Cli.done("leases", file).text().endsWith("\t" + holder + "\t" + file + "\n"));
    }

    /** What cannot be handed on as it is is refused, and nothing is done: it would become something else. */
    @ParameterizedTest
    @ValueSource(strings = {"lease set cl\udcff F", "leases --holder cl\udcff --expire 0s D", "find D -holder cl\udcff",
        "xattr set user.v v\udcff F", "xattr set user.n\udcff 1 F", "xattr get user.n\udcff F",
        "xattr remove user.n\udcff F", "acl modify u:\udcff:r F", "acl restore \udcff", "find D -newer \udcff",
        "find D -user \udcff", "stat --as \udcff F", "lease set -- cl\udcff F", "lease set --json cl\udcff F"})
    void bytesThatAreNoTextAreRefused(String line) throws Exception {
        String file = file("f");
        Tool.raw("setfattr", "-n", "user.lease.holder", "-v", "0x636c3f", file);
        String before = Tool.raw("getfattr", "-dm-", "-e", "hex", file) + Tool.raw("getfacl", file);
        Cli run = Cli.run(Arrays.stream(line.split(" ")).map(word -> word.equals("F") ? file : word.equals("D")
                ? dir.toString() : word).toArray(String[]::new));
        assertTrue(run.err.contains("is no UTF-8, and cannot be expressed") && run.err.indexOf('\n') + 1
                == run.err.length(), run.err);
        assertEquals(Exit.USAGE, run.code, run.err);
        assertEquals("", run.text());
        assertEquals(before, Tool.raw("getfattr", "-dm-", "-e", "hex", file) + Tool.raw("getfacl", file));
    }

    /** Nor does a name of an attribute with a character beyond U+FFFF cross as it is; a value and a holder do. */
    @Test
    void charactersBeyondTheBasicPlane() throws Exception {
        String file = file("f");
        String name = "user.\ud83d\ude00";
        Cli.fails(Exit.USAGE, name + " has a character beyond U+FFFF, or U+FFFD, and cannot be expressed",
                "xattr", "set", name, "1", file);
        Cli.done("xattr", "set", "user.v", "\ud83d\ude00", file);
        Cli.done("lease", "set", "\ud83d\ude00", file);
        assertEquals("user.lease.holder=0xf09f9880 user.v=0xf09f9880", Tool.lines("getfattr", "--absolute-names", "-d",
                "-e", "hex", file).stream().filter(line -> line.matches("user.(v|lease.holder)=.*")).sorted()
                .collect(Collectors.joining(" ")));
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
