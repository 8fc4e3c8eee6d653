package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import picocli.CommandLine;
import zolt.cli.commands.Commands;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;
import zolt.cli.output.Session;

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

    /** Of a value of another type, what the option or argument takes, and not what Java calls that. */
    @Test
    void valuesOfAnotherTypeAreNamed() {
        String number = " takes a whole number";
        String many = number + ", and none of so many digits";
        for (String[] call : new String[][] {{"x: --maxdepth" + number, "find", "--maxdepth", "x", "."},
            {"99999999999: --mindepth" + many, "find", "--mindepth", "99999999999", "."},
            {"-99999999999: --max-depth" + many, "du", "-d", "-99999999999", "."},
            {"x: --offset" + number, "blocks", "--offset", "x", "."}, {"1.5: --pid" + number, "doctor", "--pid", "1.5"},
            {"x: COPIES" + number, "replication", "x", "."}, {"x: FACTOR" + number, "bgf", "x", "."},
            {"q: --for takes look, r, w, x or d", "why", "--for", "q", "."},
            {"q: --form takes ranked, hdfs or fs", "blocks", "--form", "q", "."},
            {"q: --encoding takes text, hex or base64", "xattr", "get", "-e", "q", "user.a", "."},
            {"q: SHELL takes bash, zsh or fish", "completion", "q"}, {"x: --long takes no value", "ls", "--long=x"}}) {
            String[] words = Arrays.copyOfRange(call, 1, call.length);
            String command = "zolt " + words[0] + (words[0].equals("xattr") ? " get" : "");
            Cli.fails(Exit.USAGE, call[0] + " (see " + command + " --help)", words);
        }
        Cli.fails(Exit.USAGE, "-1: --maxdepth takes a whole number, 0 or more", "find", "--maxdepth", "-1", ".");
        Cli.fails(Exit.USAGE, "-1: --mindepth takes a whole number, 0 or more", "find", "--mindepth", "-1", ".");
        Cli.fails(Exit.USAGE, "-1: --max-depth takes a whole number, 0 or more", "du", "-d", "-1", ".");
    }

    /** What has a "/" behind it is a directory, to every command; a link to one is followed, as by the kernel. */
    @Test
    void pathsThroughFilesAreSaidToBe() throws Exception {
        Tool.sh("cd $1; touch f; mkdir d; touch d/x; ln -s f lf; ln -s d ld; touch -d @1 f", dir.toString());
        List<String> calls = List.of("stat", "ls", "ls -d", "ls -l", "link", "xattr list", "xattr get user.a",
                "xattr set user.a b", "xattr remove user.a", "acl get", "acl clear", "acl modify u:1:r", "chmod 600",
                "touch", "lease get", "lease set h", "lease renew", "blocks", "bgf 2", "replication 2", "tour", "find",
                "du", "count", "leases");
        for (String call : calls) {
            for (String end : List.of("f/", "f/x", "lf/", "lf/x")) {
                Cli run = Cli.run((call + " " + dir + "/" + end).split(" "));
                assertTrue(run.err.startsWith("zolt: " + dir + "/" + end + ": Not a directory"), call + " " + run.err);
                assertEquals(Exit.FAILED, run.code, call);
            }
            assertTrue(call.startsWith("tour") || Cli.run((call + " " + path("none")).split(" ")).err
                    .startsWith("zolt: " + path("none") + ": No such file or directory"), call);
        }
        assertEquals("1\n", Tool.text("stat", "-c", "%Y", path("f")));
        Cli doctor = Cli.run("doctor", dir + "/f/");
        assertTrue(doctor.text().contains("status           " + dir + "/f/: Not a directory\n"), doctor.text());
        for (String call : List.of("stat --format %i", "find --maxdepth 0", "du -s", "ls -d", "xattr list")) {
            assertEquals(Cli.done((call + " " + dir + "/d/").split(" ")).text().replace(dir + "/d/", dir + "/ld/"),
                    Cli.done((call + " " + dir + "/ld/").split(" ")).text(), call);
        }
        Cli.fails(Exit.FAILED, dir + "/ld/" + ": no symbolic link", "link", dir + "/ld/");
        assertEquals(path("f") + " is no directory\n", Cli.run("why", dir + "/f/x").text());
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

    /** Each name of each option, as the commands have them. */
    @Test
    void everyOptionIsCompleted() throws Exception {
        Session session = new Session(new ByteArrayOutputStream(), System.err, "");
        String script = Cli.done("completion").text();
        String zsh = Cli.done("completion", "zsh").text();
        List<String> calls = new ArrayList<>();
        List<String> wanted = new ArrayList<>();
        for (CommandLine command : Commands.tree(session).getSubcommands().values()) {
            List<CommandLine> lines = new ArrayList<>(command.getSubcommands().values());
            lines.add(command);
            for (CommandLine line : lines) {
                if (line.getCommandName().equals("help")) {
                    continue;
                }
                String words = line.getCommandSpec().qualifiedName(" ");
                String own = zsh.lines().filter(each -> each.startsWith("    ('" + words.substring("zolt ".length()) + "')"))
                        .findFirst().get();
                line.getCommandSpec().options().stream().filter(option -> !option.hidden())
                        .flatMap(option -> Arrays.stream(option.names())).forEach(name -> {
                            calls.add(words + " " + name);
                            wanted.add(name);
                            assertTrue(own.contains("'" + name + ":"), words + " " + name);
                        });
            }
        }
        assertTrue(wanted.size() > 100, wanted.toString());
        assertEquals(wanted, Tool.lines(Tool.with(calls, "bash", "-c", "eval \"$1\"; shift; for call; do COMP_WORDS=($call);"
                + " COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zolt; printf '%s\\n' \"${COMPREPLY[@]}\" | grep -xFe"
                + " \"${COMP_WORDS[-1]}\" || echo \"no $call\"; done", "bash", script)));
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
        // Where a link leads there, the kernel goes that way.
        Tool.sh("cd $1; for each in 'd\ud83d\ude00' $'f\\xff'; do"
                + " mkdir -m 750 \"$each\"; touch \"$each/in\"; ln -sfn \"$each\" ld;"
                + " cp -P ld ld$((++count)); chown root:daemon \"$each\"; ln -s \"no$each\" no$count; done", dir.toString());
        for (String link : List.of(path("ld1"), path("ld2"))) {
            String refusal = " (drwxr-x--- root daemon): nobody is neither the owner nor in the group, and the mode gives"
                    + " others ---\n  to permit it: zolt acl modify u:nobody:--x " + link + "\n";
            Cli run = Cli.run("why", "--as", "nobody", "--for", "x", link);
            assertEquals("nobody may not search " + link + refusal, run.text());
            assertEquals(Exit.DENIED, run.code);
            assertEquals("nobody may not search " + link + refusal,
                    Cli.run("why", "--as", "nobody", link + "/in").text());
            assertEquals("daemon may read " + link + "\n", Cli.done("why", "--as", "daemon", link).text());
            run = Cli.run("why", "--for", "w", link);
            assertTrue(run.text().startsWith("it is not known whether root may write " + link + ": "), run.text());
            assertEquals(Exit.FAILED, run.code);
            run = Cli.run("why", link.replace("ld", "no"));
            assertEquals("what " + link.replace("ld", "no") + " leads to does not exist\n", run.text());
            assertEquals(Exit.NOT_FOUND, run.code);
        }
        assertTrue(Cli.run("why", path("none")).text().endsWith("none does not exist\n"));
    }
}
