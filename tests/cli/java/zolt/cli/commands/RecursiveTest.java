package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;

/** Changes of whole trees, beside those of the system's tools. */
class RecursiveTest extends CliFixture {
    private static final long SEED = 20261122;
    private static final String TREE = "mkdir -p \"$1\" && cd \"$1\" && mkdir -p a/b/c d 'e f' && touch a/1 a/b/2 a/b/c/3"
            + " d/4 'e f/5' top && chmod +x a/1 d/4 && mkfifo d/pipe && chmod 750 d && ln -s ../../outside a/link"
            + " && ln -s nowhere d/dangling && ln -s . a/loop";

    private String tree(String name) throws Exception {
        Tool.sh("mkdir -p \"$1/outside\"; touch \"$1/outside/o\"; chmod 640 \"$1/outside/o\"", dir.toString());
        Tool.sh(TREE, path(name));
        return path(name);
    }

    private static List<String> sorted(String lines) {
        List<String> list = new ArrayList<>(List.of(lines.split("\n")));
        Collections.sort(list);
        return list;
    }

    private static String modes(String tree) throws Exception {
        return String.join("\n", sorted(Tool.sh("cd \"$1\" && find . ../outside -printf '%P %y %m\\n'", tree)));
    }

    /** A path that cannot be expressed has failed, wherever it was met. */
    @Test
    void failuresAreCounted() throws Exception {
        Cli run = Cli.run("chmod", "-R", "600", dir + "/\udcff", path("none"));
        assertTrue(run.err.endsWith("\nzolt: 0 changed, 2 failed\n"), run.err);
    }

    /** Runs on a tree, and gives back the summary; nothing else may be complained of. */
    private static String summary(String... arguments) {
        Cli run = Cli.run(arguments);
        assertEquals(Exit.OK, run.code, run.err);
        assertEquals(1, run.err.split("\n").length, run.err);
        return run.err.trim();
    }

    @ParameterizedTest
    @ValueSource(strings = {"640", "u+rwX,go-w", "a=r,u+w", "go=u", "+x", "-w", "a-x,a+X", "o+t", "u=rw,g=u,o=",
        "=r", "+", "a+rwx-w", "1755"})
    void modesBecomeThoseOfChmod(String mode) throws Exception {
        String ours = tree("ours");
        String theirs = tree("theirs");
        Tool.sh("chmod -R -- \"$1\" \"$2\" 2>/dev/null; true", mode, theirs); // -w complains of the umask
        assertEquals("zolt: 13 changed, 3 left alone, 0 failed", summary("chmod", "-R", mode, ours));
        assertEquals(modes(theirs), modes(ours));
    }

    @Test
    void everyModeBecomesThatOfChmod() throws Exception {
        Random random = new Random(SEED);
        String ours = file("ours");
        String theirs = file("theirs");
        for (int round = 0; round < 60; round++) {
            StringBuilder mode = new StringBuilder();
            for (int clause = random.nextInt(3); clause >= 0; clause--) {
                mode.append("ugoa".repeat(2), 0, random.nextInt(4)).append("+-=".charAt(random.nextInt(3)))
                        .append(random.nextBoolean() ? "ugo".substring(random.nextInt(3)).substring(0, 1)
                                : "rwxXt".substring(random.nextInt(5)))
                        .append(clause > 0 ? "," : "");
            }
            Tool.sh("chmod \"$1\" \"$3\"; chmod \"$1\" \"$4\"; chmod -- \"$2\" \"$4\" 2>/dev/null; true",
                    Integer.toOctalString(random.nextInt(01000)), mode.toString(), ours, theirs);
            Cli.done("chmod", "--", mode.toString(), ours);
            assertEquals(Tool.text("stat", "-c", "%a", theirs), Tool.text("stat", "-c", "%a", ours),
                    mode.toString());
        }
        for (String mode : List.of("u+s", "u+q", "u", "", ",", "u+x,", "z+x", "8", "4755")) {
            assertEquals(Exit.USAGE, Cli.run("chmod", mode, ours).code, mode);
        }
        Tool.raw("chmod", "2755", ours);
        assertEquals(Exit.FAILED, Cli.run("chmod", "u+x", ours).code);
        assertEquals("2755\n", Tool.text("stat", "-c", "%a", ours));
        Cli.done("chmod", "g-s", ours);
        assertEquals("755\n", Tool.text("stat", "-c", "%a", ours));
    }

    @ParameterizedTest
    @ValueSource(strings = {"modify -m u:1:rwX,g:2:r", "modify -m u:1:rX,d:u:1:rX", "modify -m d:g:2:rwx",
        "set --set u::rwx,g::rx,o::-,u:3:r,m::rwx", "remove -x u:7,d:u:7"})
    void listsBecomeThoseOfSetfacl(String what) throws Exception {
        String[] words = what.split(" ");
        for (String name : List.of("ours", "theirs")) {
            Tool.sh("setfacl -R -m u:6:rwx,u:7:rwx,d:u:6:rx,d:u:7:rx \"$1\"", tree(name));
        }
        Tool.raw("setfacl", "-R", words[1], words[2], path("theirs"));
        assertTrue(summary("acl", words[0], "-R", words[2], path("ours")).endsWith(" 0 failed"));
        assertEquals(acls("theirs"), acls("ours"));
        Files.writeString(dir.resolve("entries"), words[2].replace(",", "\n") + "\n# a remark\n");
        tree("file");
        Tool.sh("setfacl -R -m u:6:rwx,u:7:rwx,d:u:6:rx,d:u:7:rx \"$1\"", path("file"));
        Cli.run("acl", words[0], "-R", "--file", path("entries"), path("file"));
        assertEquals(acls("theirs"), acls("file"));
    }

    private String acls(String tree) throws Exception {
        return Tool.sh("cd \"$1\" && find . ../outside -not -type l -print0 | sort -z | xargs -0 getfacl -pn", path(tree));
    }

    @Test
    void listsAreSavedAndRestored() throws Exception {
        String tree = tree("tree");
        Tool.sh("cd \"$1\"; setfacl -m u:1:rw,g:2:r 'e f/5'; setfacl -m d:u:3:rwx a; chmod 2770 d; chown 2:3 top;"
                + " touch $'a/odd\\n\\\\name' ä", tree);
        String saved = Cli.done("acl", "get", "-R", tree).text();
        assertEquals(sorted(Tool.text("getfacl", "-Rp", tree).replace("\n\n", "\f").replace('\n', ' ')
                .replace('\f', '\n')), sorted(saved.replace("\n\n", "\f").replace('\n', ' ').replace('\f', '\n')));
        String before = acls("tree");
        for (String ways : List.of("file", "-", "setfacl")) {
            Tool.sh("cd \"$1\"; setfacl -Rb .; setfacl -R -m d:u:9:x,u:8:r .; chown -R 5:6 .; chmod -R u+x .", tree);
            Files.writeString(dir.resolve("lists"), ways.equals("setfacl")
                    ? Tool.text("getfacl", "-Rp", tree) : saved);
            if (ways.equals("setfacl")) { // what setfacl(1) restores from ours
                Files.writeString(dir.resolve("lists"), saved);
                Tool.raw("setfacl", "--restore=" + path("lists"));
            } else if (ways.equals("file")) {
                Cli.done("acl", "restore", path("lists"));
            } else {
                Cli.fed(new String(saved.getBytes("UTF-8"), "ISO-8859-1"), "acl", "restore", "-");
            }
            assertEquals(before, acls("tree"), ways);
        }
    }

    @Test
    void whatCannotBeRestoredIsSaidAndTheRestIs() throws Exception {
        String file = file("file");
        Files.writeString(dir.resolve("lists"), "# file: " + path("no") + "\nuser::rw-\ngroup::r--\nother::---\n\n"
                + "# file: " + file + "\nuser::r--\ngroup::---\nother::---\n");
        Cli run = Cli.run("acl", "restore", path("lists"));
        assertEquals(Exit.NOT_FOUND, run.code);
        assertEquals("zolt: " + path("no") + ": No such file or directory\nzolt: 1 restored\n", run.err);
        assertEquals("400\n", Tool.text("stat", "-c", "%a", file));
        Files.writeString(dir.resolve("lists"), "user::rw-\n");
        assertEquals(Exit.USAGE, Cli.run("acl", "restore", path("lists")).code);
        Files.writeString(dir.resolve("lists"), "# file: " + file + "\nuser::zzz\n");
        assertEquals(Exit.USAGE, Cli.run("acl", "restore", path("lists")).code);
        assertEquals(Exit.NOT_FOUND, Cli.run("acl", "restore", path("none")).code);
    }

    @Test
    void aRestoringThatIsInterruptedEndsAfterAPath() throws Exception {
        String form = "# file: %s\nuser::r--\ngroup::---\nother::---\n\n";
        String first = file("first");
        String second = file("second");
        Tool.raw("chmod", "644", first, second);
        Cli run = Cli.stopped(String.format(form, first), String.format(form, second), "acl", "restore", "-");
        assertEquals("zolt: 1 restored, and then stopped by a signal\n", run.err);
        assertEquals("400\n644\n", Tool.text("stat", "-c", "%a", first, second));
    }

    @Test
    void attributesAndCopiesReachAllFilesOfATree() throws Exception {
        String tree = tree("tree");
        assertEquals("zolt: 12 changed, 4 left alone, 0 failed",
                summary("xattr", "set", "-R", "user.colour", "green", tree));
        assertEquals(sorted(Tool.sh("find \"$1\" -type f -o -type d", tree)), sorted(Tool.sh(
                "getfattr -RPh --absolute-names -n user.colour \"$1\" 2>/dev/null | sed -n 's/^# file: //p'", tree)));
        assertEquals("", Tool.sh("getfattr -d \"$1\"", path("outside/o")));
        assertEquals(12, Cli.done("xattr", "get", "-R", "--json", "user.colour", tree).lines().size());
        assertEquals(sorted(Tool.raw("getfattr", "-RPhd", "--absolute-names", tree)),
                sorted(Cli.done("xattr", "list", "-R", tree).raw()));
        Cli.done("xattr", "remove", "user.colour", tree + "/top");
        assertEquals("zolt: 11 changed, 5 left alone, 0 failed",
                summary("xattr", "remove", "-R", "user.colour", tree));
        assertEquals("zolt: 6 changed, 10 left alone, 0 failed", summary("replication", "-R", "2", tree));
        for (String file : Tool.lines("find", tree, "-type", "f")) {
            Map<String, Object> stat = Value.object(Cli.done("stat", "--json", file).text().trim());
            assertEquals(2L, stat.get("replication"), file);
        }
    }

    @Test
    void failuresAreCountedAndTheRestIsDone() throws Exception {
        String tree = tree("tree");
        Tool.sh("chown -R nobody \"$1\"; chown root \"$1/a/b/2\"; chmod 700 \"$1/d\"; chown root \"$1/d\"", tree);
        Cli run = Cli.run("chmod", "-R", "--as", "nobody", "a+r", tree);
        assertEquals(Exit.DENIED, run.code);
        assertTrue(run.err.contains("zolt: " + tree + "/a/b/2: Operation not permitted\n"), run.err);
        assertTrue(run.err.contains("zolt: " + tree + "/d: Operation not permitted\n"), run.err);
        assertTrue(run.err.endsWith("zolt: 9 changed, 2 left alone, 3 failed\n"), run.err);
        Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory\nzolt: 0 changed, 1 failed",
                "chmod", "-R", "644", path("no"));
        assertFalse(Cli.run("chmod", "-R", "--as", "nobody", "a+r", tree).err.contains("loop"));
    }
}
