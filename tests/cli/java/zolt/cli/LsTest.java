package zolt.cli;

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
        assertEquals("zolt: " + dir + "/\ufffd: " + Names.UNREACHABLE + "\n", run.err);
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
}
