package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.TreeSet;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;

class LsTest extends CliFixture {
    @ParameterizedTest
    @ValueSource(strings = {"/usr/bin", "/usr/share/doc", "/var", "/dev", "/"})
    void namesAreThoseOfLsInTheSameOrder(String path) throws Exception {
        assertEquals(Tool.raw("ls", "-AU1", path), Cli.done("ls", path).raw());
    }

    @ParameterizedTest
    @ValueSource(strings = {"/usr/lib/jvm", "/usr/share/bash-completion", "/var/lib/dpkg", "/etc"})
    void treesAreThoseOfLsInTheSameOrder(String path) throws Exception {
        assertEquals(Tool.raw("ls", "-AU1R", path), Cli.done("ls", "-R", path).raw());
    }

    @Test
    void directoriesAreThoseOfFind() throws Exception {
        assertEquals(new TreeSet<>(Tool.lines("find", "/usr/share", "-maxdepth", "1", "-mindepth", "1",
                "-type", "d", "-printf", "%f\\n")), new TreeSet<>(Cli.done("ls", "--dirs",
                        "/usr/share").lines()));
        assertEquals(Tool.lines("find", "/etc", "-mindepth", "1", "-type", "d").size(),
                Cli.done("ls", "-R", "--dirs", "--json", "/etc").lines().size());
    }

    @ParameterizedTest
    @ValueSource(strings = {"/usr/bin", "/var", "/dev"})
    void linesSayWhatStatSays(String path) throws Exception {
        // Of the attributes of a device that the record has no place for, the size is 0 as in stat.
        List<String> expected = Tool.lines("bash", "-c", "cd $1; ls -AU1 | while read -r f; do stat -c"
                + " '%A %U %G %s %y' -- \"$f\"; done", "bash", path);
        List<String> found = Cli.done("ls", "-l", path).lines();
        assertEquals(expected.size(), found.size());
        for (int at = 0; at < found.size(); at++) {
            if (found.get(at).endsWith(" shm")) {
                continue; // its size is that of what others make there meanwhile
            }
            String[] want = expected.get(at).split(" ");
            String[] have = found.get(at).split(" +");
            assertEquals(String.join(" ", want[0], want[1], want[2], want[3], want[4],
                    want[5].substring(0, 5)), String.join(" ", have[0].replace("+", ""), have[1],
                            have[2], have[3], have[4], have[5]), found.get(at));
        }
    }

    @Test
    void hardNamesKeepTheirBytes() throws Exception {
        Tool.sh(HARD_NAMES, dir.toString());
        assertEquals(Tool.raw("ls", "-AU1", dir.toString()), Cli.done("ls", dir.toString()).raw());
    }

    @Test
    void hardNamesCanBeHadBackFromJson() throws Exception {
        Tool.sh(HARD_NAMES, dir.toString());
        StringBuilder names = new StringBuilder();
        for (String line : Cli.done("ls", "--json", dir.toString()).lines()) {
            Map<String, Object> entry = Value.object(line);
            Object bytes = entry.get("nameBase64");
            names.append(new String(bytes == null
                    ? ((String) entry.get("name")).getBytes(StandardCharsets.UTF_8)
                    : Base64.getDecoder().decode((String) bytes), StandardCharsets.ISO_8859_1))
                    .append('\n');
        }
        assertEquals(Tool.raw("ls", "-AU1", dir.toString()), names.toString());
    }

    @Test
    void whatCannotBeReachedIsSaidAndTheRestIsShown() throws Exception {
        Tool.sh(HARD_NAMES, dir.toString());
        Cli run = Cli.run("ls", "-l", dir.toString());
        assertEquals(Exit.FAILED, run.code);
        assertEquals(3, run.err.split("\n").length, run.err);
        for (String line : run.err.split("\n")) {
            assertTrue(line.startsWith("zolt: " + dir + "/") && line.endsWith(Names.UNREACHABLE), line);
        }
        assertEquals(3, run.raw().split("-\\?{9} ", -1).length - 1, run.raw());
        assertEquals(10, run.raw().split("-rw-r--r-- ", -1).length - 1, run.raw());
    }

    @Test
    void directoriesThatCannotBeReachedAreSaidToo() throws Exception {
        Tool.sh("mkdir $1/$'\\xff' $1/fine; touch $1/fine/inner", dir.toString());
        Cli run = Cli.run("ls", "-R", dir.toString());
        assertEquals(Exit.FAILED, run.code);
        assertEquals("zolt: " + dir + "/\\377: " + Names.UNREACHABLE + "\n", run.err);
        assertTrue(run.raw().endsWith(dir + "/fine:\ninner\n"), run.raw());
    }

    @Test
    void linksShowTheirTargetsAndArguments() throws Exception {
        Tool.sh("cd $1; ln -s no/where dangling; ln -s . here; ln -s $'\\xff' odd", dir.toString());
        List<String> ends = new ArrayList<>();
        for (String line : Cli.done("ls", "-l", dir.toString()).raw().split("\n")) {
            ends.add(line.replaceFirst(".* (\\S+ -> \\S+)$", "$1"));
        }
        ends.sort(null);
        assertEquals(List.of("dangling -> no/where", "here -> .", "odd -> \u00ff"), ends);
        assertEquals(path("dangling") + "\n", Cli.done("ls", path("dangling")).text());
        assertEquals(Tool.raw("ls", "-AU1", path("here") + "/"), Cli.done("ls", path("here")).raw());
    }

    @Test
    void filesAreShownAndSeveralDirectoriesHaveTitles() throws Exception {
        String file = file("file");
        String one = Files.createDirectory(dir.resolve("one")).toString();
        file("one/x");
        assertEquals(file + "\n", Cli.done("ls", file).text());
        assertEquals(one + ":\nx\n\n" + one + ":\nx\n", Cli.done("ls", one, one).text());
        assertEquals("", Cli.done("ls", "--dirs", one).text());
    }

    @Test
    void failuresAreOneLineAndTheOthersFollow() throws Exception {
        String one = Files.createDirectory(dir.resolve("one")).toString();
        file("one/x");
        Cli run = Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory", "ls", path("no"),
                one);
        assertEquals(one + ":\nx\n", run.text());
        Tool.raw("chmod", "700", one);
        Cli.fails(Exit.DENIED, one + ": Permission denied: failed to open directory", "ls", "--as", "nobody", one);
        run = Cli.fails(Exit.DENIED, one + ": Permission denied: failed to open directory", "ls", "-R", "--as", "nobody",
                dir.toString());
        assertEquals(dir + ":\none\n", run.text());
    }

    private void makeTree() throws Exception {
        Tool.sh("cd \"$1\"; mkdir sub .dot; touch sub/x .hidden; for s in 0 1 5 999 1023 1024 1025 10240 1048576 5000000;"
                + " do truncate -s $s f$s; touch -d @$((s % 7 * 1000)) f$s; done; touch -d @900000 sub; ln -s f1 link;"
                + " touch -h -d @5 link; touch 'A a' ä $'\\xff'", dir.toString());
    }

    @ParameterizedTest
    @ValueSource(strings = {"-At", "-AtR", "-AS", "-ASr", "-Atr", "-ArR", "-Ar", "-A1 --sort=name", "-a --sort=name",
        "-at", "-aS", "-A --sort=time -R", "-A --sort=size", "-AR --sort=name"})
    void sortedNamesAreThoseOfLs(String options) throws Exception {
        makeTree();
        Tool.sh("rm \"$1\"/$'\\xff'", dir.toString());
        String[] words = options.split(" ");
        // Of ls(1), no word means by name, and these are its names for the orders.
        String[] theirs = options.replace("--sort=name", "").trim().split(" ");
        assertEquals(Tool.raw(Tool.with(List.of(dir.toString()), Tool.with(List.of(theirs), "env", "LC_ALL=C", "ls"))),
                Cli.done(Tool.with(List.of(dir.toString()), Tool.with(List.of(words), "ls"))).raw());
    }

    @Test
    void pathsThemselvesAreListedAndSorted() throws Exception {
        makeTree();
        List<String> paths = List.of(path("f5"), path("sub"), path("f0"), path(".dot"), path("link"));
        for (String options : List.of("-d", "-dt", "-dS", "-dr")) {
            String theirs = options.equals("-d") ? "-dU" : options;
            assertEquals(Tool.raw(Tool.with(paths, "env", "LC_ALL=C", "ls", theirs)),
                    Cli.done(Tool.with(paths, "ls", options)).raw());
        }
        assertEquals(Tool.raw(Tool.with(paths, "env", "LC_ALL=C", "ls", "-tA")),
                Cli.done(Tool.with(paths, "ls", "-t")).raw());
        assertEquals(Exit.USAGE, Cli.run("ls", "-t", "-S", "/").code);
        assertEquals(Exit.USAGE, Cli.run("ls", "--sort", "colour", "/").code);
    }

    @Test
    void sizesForPeopleAreThoseOfLs() throws Exception {
        makeTree();
        List<String> theirs = new ArrayList<>();
        Tool.lines("bash", "-c", "ls -lhAGo --time-style=+ --sort=none \"$1\" | awk 'NR > 1 {print $4}'", "bash",
                dir.toString()).forEach(theirs::add);
        List<String> ours = new ArrayList<>();
        for (String line : Cli.run("ls", "-lh", dir.toString()).lines()) {
            ours.add(line.split(" +")[3]);
        }
        assertEquals(theirs.size(), ours.size());
        theirs.removeIf(size -> ours.contains("?") && size.equals("?"));
        for (int at = 0; at < ours.size(); at++) {
            assertTrue(ours.get(at).equals(theirs.get(at)) || ours.get(at).equals("?"), ours + " " + theirs);
        }
    }

    @Test
    void dotsAreShownWithTheirStatus() throws Exception {
        makeTree();
        List<String> lines = Cli.run("ls", "-la", dir.toString()).lines();
        assertTrue(lines.get(0).startsWith("drwxr-xr-x") && lines.get(0).endsWith(" ."), lines.get(0));
        assertTrue(lines.get(1).endsWith(" .."), lines.get(1));
        assertEquals(Tool.text("stat", "-c", "%i", "/etc/..").trim(), Value.object(Cli.done("ls", "-a", "--json",
                "/etc").lines().get(1)).get("inode").toString());
    }
}
