package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;
import zolt.cli.output.Session;
import zolt.cli.output.Sizes;

/** What looks into trees, beside find(1), du(1) and numfmt(1). */
class FindTest extends CliFixture {
    private void makeTree() throws Exception {
        Tool.sh("cd \"$1\"; mkdir -p a/b/c d '.hidden' 'e f'; for s in 0 1 511 512 513 1024 1025 1048576 3000000; do"
                + " truncate -s $s a/s$s; done; for age in 10 59 61 86000 86401 172799 172801 700000; do"
                + " touch -d \"-$age seconds\" d/t$age; done;"
                + " touch -d @14831769600 d/late; touch 'e f/[x]' a/b/ab.c a/b/.ab.c a/b/aB.c .hidden/h;"
                + " mkfifo d/pipe; ln -s ../d a/link; ln -s no a/dangling; ln a/s1 a/b/same; chown nobody a/b/c a/s1024;"
                + " chgrp 5 d d/t10; chown 4321 a/s0; setfacl -m u:1:r a/s513 d", dir.toString());
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "-type f", "-type d", "-type l", "-type p", "-type f,d", "-name *.c", "-name ?B.c",
        "-name [!.]*.c", "-name \\[x]", "-name [[]x[]]", "-name [a-c]", "-name [[:upper:]]*", "-name s*[05]", "-name .*",
        "-user nobody", "-user 4321", "-user 0 -type d", "-group 5", "-size 0", "-size 1", "-size +1 -type f",
        "-size -2", "-size 1k -type f", "-size +1k", "-size -1M -type f", "-size 513c", "-size +511c -size -1026c",
        "-size 1M", "-size 3M", "-size -1G -type f", "-mtime 0", "-mtime 1", "-mtime +1", "-mtime -1", "-mtime -2",
        "-mtime +7", "-mmin 1", "-mmin -1", "-mmin +1", "-mmin 2", "-mmin +1500",
        "-mmin +999999999999999999", "-mmin -999999999999999999", "-maxdepth 0", "-maxdepth 1",
        "-mindepth 2", "-mindepth 1 -maxdepth 1 -type d", "-type f -name t* -mmin -2000 -size -1"})
    void findsAreThoseOfFindInTheSameOrder(String conditions) throws Exception {
        makeTree();
        String[] words = conditions.isEmpty() ? new String[0] : conditions.split(" ");
        if (conditions.contains("-size +511c")) {
            words = new String[] {"-size", "+511c"}; // each option once
        }
        List<String> theirs = new ArrayList<>(List.of("find", dir.toString()));
        theirs.addAll(List.of(words));
        List<String> ours = new ArrayList<>(List.of("find", dir.toString()));
        ours.addAll(List.of(words));
        assertEquals(Tool.raw(theirs.toArray(new String[0])), Cli.done(ours.toArray(new String[0])).raw());
        ours.add("-0");
        theirs.add("-print0");
        assertEquals(Tool.raw(theirs.toArray(new String[0])), Cli.done(ours.toArray(new String[0])).raw());
    }

    @ParameterizedTest
    @ValueSource(strings = {"/usr/share/bash-completion", "/etc", "/var/lib/dpkg", "/dev"})
    void treesOfTheSystemAreThoseOfFind(String tree) throws Exception {
        assertEquals(Tool.raw("find", tree), Cli.done("find", tree).raw());
        assertEquals(Tool.raw("find", tree, "-type", "f", "-newer", "/etc/passwd"),
                Cli.done("find", tree, "-type", "f", "-newer", "/etc/passwd").raw());
    }

    /** A pattern is compared byte by byte where a name is no UTF-8. */
    @Test
    void patternsHaveBytes() throws Exception {
        Tool.sh("cd $1; touch $'a\\377b' $'a\\376b'", dir.toString());
        assertEquals(dir + "/a\u00ffb\n", Cli.run("find", dir.toString(), "-name", "a\udcffb").raw());
        assertEquals(2, Cli.run("find", dir.toString(), "-name", "a?b").raw().split("\n").length);
    }

    @Test
    void conditionsOfTheFileSystemAreFound() throws Exception {
        makeTree();
        assertEquals(Set.of(path("d"), path("a/s513")), new HashSet<>(Cli.done("find", "-acl", dir.toString()).lines()));
        Cli.done("replication", "2", path("a/s1024"), path("d/t10"));
        assertEquals(Set.of(path("a/s1024"), path("d/t10")),
                new HashSet<>(Cli.done("find", "-replication", "-3", dir.toString()).lines()));
        Cli.done("lease", "set", "writer-1", path("a/s1"));
        Cli.done("lease", "set", "writer-2", path("d/t10"));
        assertEquals(3, Cli.done("find", dir.toString(), "-lease").lines().size()); // one has two names
        assertEquals(List.of(path("d/t10")), Cli.done("find", dir.toString(), "-holder", "writer-2").lines());
        Map<String, Object> object = Value.object(Cli.done("find", "--json", path("d"), "-holder", "writer-2")
                .text().trim());
        assertEquals(path("d/t10"), object.get("path"));
        for (String wrong : List.of("-size x", "-size +", "-type q", "-mtime 1d", "-replication many",
            "-size +1 -size -9")) {
            assertEquals(Exit.USAGE, Cli.run(("find " + wrong + " /dev").split(" ")).code, wrong);
        }
        assertEquals(Exit.NOT_FOUND, Cli.run("find", "-user", "no-such-user", "/dev").code);
        Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory", "find", "-newer", path("no"), "/dev");
    }

    @Test
    void hardNamesAreFoundByTheirBytes() throws Exception {
        Tool.sh(HARD_NAMES, dir.toString());
        assertEquals(Tool.raw("find", dir.toString(), "-type", "f", "-print0"),
                Cli.done("find", "-0", "-type", "f", dir.toString()).raw());
        Cli run = Cli.run("find", "-0", "-size", "0", dir.toString());
        assertEquals(Exit.FAILED, run.code);
        assertTrue(run.err.endsWith("zolt: 3 failed\n"), run.err);
        run = Cli.run("count", dir.toString());
        assertEquals(3, run.err.split(java.util.regex.Pattern.quote(Names.UNREACHABLE), -1).length - 1, run.err);
    }

    @Test
    void whatCannotBeReadIsSaidAndTheRestIsFound() throws Exception {
        Tool.sh("mkdir -p $1/closed/in $1/open/in; chmod 700 $1/closed", dir.toString());
        Cli run = Cli.run("find", "--as", "nobody", dir.toString());
        assertEquals(Exit.DENIED, run.code);
        assertEquals("zolt: " + path("closed") + ": Permission denied: failed to open directory\nzolt: 1 failed\n",
                run.err);
        assertEquals(Tool.lines("find", dir.toString(), "-not", "-path", "*/closed/*"), run.lines());
        Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory\nzolt: 1 failed", "find",
                path("no"));
    }

    /** The one that removes runs while the walk is at what it removes. */
    @Test
    void whatVanishesIsPassedOver() throws Exception {
        Tool.sh("cd \"$1\"; for d in a b c; do mkdir $d; (cd $d; seq 2000 | xargs touch; seq -f d%g 500 | xargs mkdir);"
                + " done", dir.toString());
        Process remover = new ProcessBuilder("bash", "-c", "find \"$1\" -mindepth 2 -delete", "bash", dir.toString())
                .start();
        while (remover.isAlive()) {
            for (String[] command : new String[][] {{"find", "-size", "0"}, {"du", "-s"}, {"count"}, {"leases"}}) {
                Cli run = Cli.run(Tool.with(List.of(dir.toString()), command));
                assertEquals("", run.err);
                assertEquals(Exit.OK, run.code);
            }
            Cli run = Cli.run("chmod", "-R", "u+rw", dir.toString());
            assertEquals(Exit.OK, run.code, run.err);
        }
        assertEquals(0, remover.waitFor());
    }

    /** The names of a wide directory do not lie in memory: they are more than the stack keeps there. */
    @Test
    void aWideDirectoryIsWalkedInItsOrder() throws Exception {
        Tool.sh("mkdir \"$1/wide\"; cd \"$1/wide\"; seq -f \"%06.0f-$(printf 'x%.0s' {1..180})\" 30000 | xargs touch;"
                + " mkdir sub; touch sub/in", dir.toString());
        // find(1) itself sorts so many by inode.
        List<String> names = Tool.lines("ls", "-AU1", path("wide"));
        List<String> found = new ArrayList<>(Cli.done("find", path("wide")).lines());
        assertTrue(found.remove(path("wide/sub/in")));
        names = new ArrayList<>(names);
        names.replaceAll(name -> path("wide") + "/" + name);
        names.add(0, path("wide"));
        assertEquals(names, found);
    }

    @Test
    void aWalkThatIsAskedToStopSaysSo() throws Exception {
        makeTree();
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ByteArrayOutputStream err = new ByteArrayOutputStream();
        Session session = new Session(out, new PrintStream(err, true, StandardCharsets.UTF_8), "");
        long[] visited = new long[1];
        try (TreeWalk walk = new TreeWalk(session, node -> {
            if (++visited[0] == 5) {
                Thread signal = new Thread(session.stop::ask);
                signal.start();
                while (!session.stop.isAsked()) {
                    Thread.onSpinWait();
                }
            }
            return true;
        })) {
            walk.walk(dir.toString(), true);
            walk.walk(dir.toString(), true);
            walk.summary(visited[0] + " changed");
            walk.summary(null); // of who says nothing else
        }
        session.stop.end();
        assertEquals(5, visited[0]);
        assertEquals("zolt: 5 changed, 0 failed, and then stopped by a signal\n"
                + "zolt: stopped by a signal before the end\n", err.toString(StandardCharsets.UTF_8));
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "-s", "-a", "-h", "-c", "-d 1", "-ah", "-sc", "-ad 1"})
    void sumsAreThoseOfDu(String options) throws Exception {
        makeTree();
        String[] words = options.isEmpty() ? new String[0] : options.split(" ");
        List<String> roots = List.of(path("a"), path("d"), path("e f"), path(".hidden/h"));
        String[] theirs = options.contains("h") ? new String[] {"du", "--apparent-size"} : new String[] {"du", "-b"};
        assertEquals(Tool.raw(Tool.with(roots, Tool.with(List.of(words), theirs))),
                Cli.done(Tool.with(roots, Tool.with(List.of(words), "du"))).raw());
    }

    @ParameterizedTest
    @ValueSource(strings = {"a a/b", "a/b a", "a a/s0", "a/s0 a", "a/s0 a/s0", "a a", "a/b/../s0 a d a", ". a"})
    void whatLiesInAnotherPathCountsOnce(String trees) throws Exception {
        makeTree();
        List<String> roots = new ArrayList<>();
        for (String tree : trees.split(" ")) {
            roots.add(path(tree));
        }
        for (String options : List.of("-c", "-ac", "-sc", "-c0")) {
            assertEquals(Tool.raw(Tool.with(roots, "du", "-b", options)),
                    Cli.done(Tool.with(roots, "du", options)).raw(), options);
            assertEquals(Tool.raw(Tool.with(roots, "du", "-b", options)), Cli.fed(String.join(options.endsWith("0")
                    ? "\0" : "\n", roots), "du", options, "-").raw(), options);
        }
    }

    @Test
    void copiesCountInSums() throws Exception {
        Tool.sh("mkdir \"$1/t\"; truncate -s 1000 \"$1/t/two\" \"$1/t/three\"", dir.toString());
        long itself = Files.size(dir.resolve("t"));
        Cli.done("replication", "2", path("t/two"));
        assertEquals(itself + 5000 + "\t" + path("t") + "\n", Cli.done("du", "-s", "--copies", path("t")).text());
        assertEquals(itself + 2000, Value.object(Cli.done("du", "--json", path("t")).text().trim()).get("bytes"));
    }

    @Test
    void sizesForPeopleAreThoseOfNumfmt() throws Exception {
        List<String> numbers = new ArrayList<>();
        Random random = new Random(1);
        for (int bits = 0; bits < 59; bits++) {
            for (long each : new long[] {(1L << bits) - 1, 1L << bits, (1L << bits) + 1,
                random.nextLong() >>> 63 - bits, (1L << bits) / 10 * 99}) {
                numbers.add(Long.toString(each));
            }
        }
        List<String> expected = Tool.lines(Tool.with(numbers, "numfmt", "--to=iec", "--round=up"));
        for (int at = 0; at < numbers.size(); at++) {
            assertEquals(expected.get(at), Sizes.human(Long.parseLong(numbers.get(at))), numbers.get(at));
        }
    }

    @Test
    void countsAreThoseOfFind() throws Exception {
        makeTree();
        for (String tree : List.of(dir.toString(), "/etc", "/usr/share/bash-completion")) {
            long directories = Tool.lines("find", tree, "-type", "d").size();
            List<String> sizes = Tool.lines("find", tree, "-type", "f", "-printf", "%s\\n");
            long bytes = sizes.stream().mapToLong(Long::parseLong).sum();
            assertEquals(String.format("%12d %12d %20d %s\n", directories, sizes.size(), bytes, tree),
                    Cli.done("count", tree).text());
            assertEquals((long) sizes.size(), Value.object(Cli.done("count", "--json", tree).text().trim()).get("files"));
        }
        assertTrue(Cli.done("count", "-v", path("a")).lines().get(0).endsWith(" BYTES PATH"));
        Cli run = Cli.run("count", path("no"), path("d"));
        assertEquals(Exit.NOT_FOUND, run.code);
        assertEquals(1, run.lines().size()); // no row of zeros for what is not there
    }

    @Test
    void leasesAreListedAndThoseOfDeadClientsEnd() throws Exception {
        makeTree();
        Cli.done("lease", "set", "dead", path("a/s0"), path("a/s512"));
        Cli.done("lease", "set", "alive", path("d/t10"));
        Tool.raw("setfattr", "-n", "user.lease.holder", "-v", "crashed", path("d/t59"));
        List<String> found = new ArrayList<>();
        Cli.done("leases", dir.toString()).lines().forEach(line -> found.add(line.replaceFirst("^\\d+\t", "")));
        Collections.sort(found);
        assertEquals(List.of("\t" + path("d/t59"), "alive\t" + path("d/t10"), "dead\t" + path("a/s0"),
                "dead\t" + path("a/s512")), found);
        assertEquals(2, Cli.done("leases", "--holder", "dead", dir.toString()).lines().size());
        assertEquals(Cli.done("leases", dir.toString()).raw().replace('\n', '\0'),
                Cli.done("leases", "-0", dir.toString()).raw());
        assertEquals(0, Cli.done("leases", "--older", "1h", dir.toString()).lines().size());
        Map<String, Object> object = Value.object(Cli.done("leases", "--json", path("d/t10")).text().trim());
        assertEquals("alive", object.get("holder"));
        assertEquals(false, object.get("removed"));
        Thread.sleep(1200);
        Cli run = Cli.run("leases", "--holder", "dead", "--expire", "0s", dir.toString());
        assertEquals(Exit.OK, run.code);
        assertEquals("zolt: 2 removed, 0 still held, 0 failed\n", run.err);
        assertEquals(2, run.lines().size());
        assertEquals("zolt: 0 removed, 2 still held, 0 failed\n", Cli.run("leases", "--expire", "1h", dir.toString()).err);
        Cli.run("leases", "--expire", "0s", dir.toString());
        assertEquals("", Cli.done("leases", dir.toString()).text());
        assertEquals(Exit.USAGE, Cli.run("leases", "--older", "1h", "--expire", "1h", dir.toString()).code);
    }

    /** What changes a file moves its change time, and not the clock of its lease: both count to list as to remove. */
    @Test
    void whatIsListedAsOldIsWhatIsRemoved() throws Exception {
        String file = file("old");
        Cli.done("lease", "set", "w", file);
        long then = (Instant.now().getEpochSecond() - 6000) * 1000;
        Tool.raw("setfattr", "-n", "user.lease.update", "-v",
                String.format("0x%016x", Long.reverseBytes(then)), file); // the tests run on little-endian machines
        List<String> listed = Cli.done("leases", "--older", "60s", dir.toString()).lines();
        assertEquals(1, listed.size());
        // The clock says no more than that it is 5000 to 6000 seconds.
        assertEquals(5500, Long.parseLong(listed.get(0).split("\t")[0]), 510.0);
        Object shown = Value.object(Cli.done("lease", "get", "--json", file).text().trim()).get("age");
        assertEquals(5500, Double.parseDouble(shown.toString()), 510.0);
        assertEquals(List.of(), Cli.done("leases", "--older", "6000s", dir.toString()).lines());
        assertEquals(List.of(), Cli.run("leases", "--expire", "6000s", dir.toString()).lines());
        Cli run = Cli.run("leases", "--expire", "60s", dir.toString());
        assertEquals("zolt: 1 removed, 0 still held, 0 failed\n", run.err);
        assertEquals(5500, Long.parseLong(run.text().split("\t")[0]), 510.0);
    }
}
